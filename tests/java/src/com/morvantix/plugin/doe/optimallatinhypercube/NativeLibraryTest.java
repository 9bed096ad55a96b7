package com.morvantix.plugin.doe.optimallatinhypercube;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.CyclicBarrier;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/** Loading the library: each case in a virtual machine of its own, as a process loads only once. */
@Tag("command_line")
@Timeout(60)
class NativeLibraryTest {
    @TempDir
    Path directory;

    private Path temporary;

    @BeforeEach
    void make_the_directory_of_extraction() throws Exception {
        temporary = Files.createDirectory(directory.resolve("tmp"));
    }

    /** Two attempts from two threads and one after them; prints each outcome. */
    static final class Attempts {
        public static void main(String[] arguments) throws Exception {
            CyclicBarrier start = new CyclicBarrier(2);
            Set<String> outcomes = ConcurrentHashMap.newKeySet();
            Runnable attempt = () -> {
                try {
                    start.await();
                    outcomes.add(attempt());
                } catch (Exception broken) {
                    outcomes.add(broken.toString());
                }
            };
            List<Thread> threads = List.of(new Thread(attempt), new Thread(attempt));
            threads.forEach(Thread::start);
            for (Thread thread : threads)
                thread.join();
            outcomes.add(attempt());
            outcomes.forEach(System.out::println);
        }

        private static String attempt() {
            try {
                return "design of " + new OptimalLatinHypercube().optdoe(4, 1, 1, 5).length;
            } catch (UnsatisfiedLinkError error) {
                return error.toString();
            }
        }
    }

    private List<String> attempts(String... options) throws Exception {
        String[] tail = {"-Djava.io.tmpdir=" + temporary, "-cp", Jvm.classPath(), Attempts.class.getName()};
        Jvm.Result result =
            Jvm.run(directory, Stream.of(options, tail).flatMap(Stream::of).toArray(String[]::new));
        assertEquals(0, result.code, result::toString);
        try (Stream<Path> left = Files.walk(temporary)) {
            assertEquals(List.of(temporary), left.collect(Collectors.toList()), "left in the temporary directory");
        }
        return result.out.lines().collect(Collectors.toList());
    }

    private static void assertOneError(List<String> outcomes, String... parts) {
        assertEquals(1, outcomes.size(), outcomes.toString());
        assertTrue(outcomes.get(0).startsWith("java.lang.UnsatisfiedLinkError: Cannot load the native library on "),
            outcomes.get(0));
        for (String part : parts)
            assertTrue(outcomes.get(0).contains(part), part + " in " + outcomes.get(0));
    }

    @Test
    void the_bundled_copy_loads_and_leaves_no_file() throws Exception {
        assertEquals(List.of("design of 4"), attempts());
    }

    @Test
    void the_property_names_the_file() throws Exception {
        assertEquals(List.of("design of 4"),
            attempts("-Doptimallatinhypercube.library=" + System.getProperty("tests.library"), "-Dos.arch=riscv64"));
    }

    @Test
    void a_missing_file_is_an_error_without_fallback() throws Exception {
        assertOneError(attempts("-Doptimallatinhypercube.library=/nowhere/lib.so"),
            " on Linux amd64.", "/nowhere/lib.so", "system property optimallatinhypercube.library");
    }

    @Test
    void a_file_that_is_no_library_is_an_error() throws Exception {
        Path file = Files.writeString(directory.resolve("text.so"), "no library");
        assertOneError(attempts("-Doptimallatinhypercube.library=" + file), file.toString());
    }

    @Test
    void an_unsupported_platform_is_an_error_that_names_it() throws Exception {
        assertOneError(attempts("-Dos.arch=riscv64"),
            " on Linux riscv64.", "linux-x86_64 only", "system property optimallatinhypercube.library");
    }

    @Test
    void a_temporary_directory_that_is_missing_is_an_error_that_names_it() throws Exception {
        Files.delete(temporary);
        Files.writeString(temporary, "a file, not a directory");
        assertOneError(attempts(), "META-INF/native/linux-x86_64/", temporary.toString());
    }

    @Test
    void only_64_bit_x86_linux_is_bundled() {
        String bundled = "/META-INF/native/linux-x86_64/libZORBEXdoe_optimallatinhypercubeC.so";
        assertEquals(bundled, NativeLibrary.bundledResource("Linux", "amd64"));
        assertEquals(bundled, NativeLibrary.bundledResource("Linux", "x86_64"));
        assertNull(NativeLibrary.bundledResource("Linux", "aarch64"));
        assertNull(NativeLibrary.bundledResource("Mac OS X", "x86_64"));
        assertNull(NativeLibrary.bundledResource("Windows 10", "amd64"));
    }
}
