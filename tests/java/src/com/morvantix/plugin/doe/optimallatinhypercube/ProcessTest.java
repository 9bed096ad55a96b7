package com.morvantix.plugin.doe.optimallatinhypercube;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import java.lang.management.ManagementFactory;
import java.nio.file.Path;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/** What a single process must bear over many calls. */
@Timeout(120)
class ProcessTest {
    @Test
    void ten_thousand_short_calls_fit_a_small_heap(@TempDir Path directory) throws Exception {
        boolean checked = ManagementFactory.getRuntimeMXBean().getInputArguments().contains("-Xcheck:jni");
        Jvm.Result result = Jvm.run(directory, "-Xmx16m", "-XX:+UseSerialGC", checked ? "-Xcheck:jni" : "-ea",
            "-cp", Jvm.classPath(), ManyCalls.class.getName());
        assertEquals(0, result.code, result::toString);
        assertFalse(result.out.contains("in native method"), result::toString);
    }
}
