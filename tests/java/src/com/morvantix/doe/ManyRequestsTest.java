package com.morvantix.doe;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import com.morvantix.plugin.doe.optimallatinhypercube.Jvm;
import java.lang.management.ManagementFactory;
import java.nio.file.Path;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/** What a single process must bear over many calls. */
@Timeout(120)
class ManyRequestsTest {
    @Test
    void ten_thousand_short_calls_fit_a_small_heap(@TempDir Path directory) throws Exception {
        boolean checked = ManagementFactory.getRuntimeMXBean().getInputArguments().contains("-Xcheck:jni");
        Jvm.Result result = Jvm.run(directory, "-Xmx16m", "-XX:+UseSerialGC", checked ? "-Xcheck:jni" : "-ea",
            "-cp", Jvm.classPath(), ManyRequests.class.getName());
        assertEquals(0, result.code, result::toString);
        // The whole of it: of this package's calls the checks have nothing to remark.
        assertFalse(result.out.contains("JNI"), result::toString);
        assertFalse(result.out.contains("in native method"), result::toString);
    }
}
