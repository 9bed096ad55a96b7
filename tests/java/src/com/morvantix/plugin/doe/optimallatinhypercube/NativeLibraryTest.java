package com.morvantix.plugin.doe.optimallatinhypercube;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.morvantix.doe.LatinHypercube;
import com.morvantix.doe.internal.NativeLibrary;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
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
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Loading the libraries: each case in a virtual machine of its own, as a process loads only once. */
@Tag("command_line")
@Timeout(60)
class NativeLibraryTest {
    @TempDir
    Path directory;

    private Path temporary;
    private String classPath = Jvm.classPath();

    @BeforeEach
    void make_the_directory_of_extraction() throws Exception {
        temporary = Files.createDirectory(directory.resolve("tmp"));
    }

    /** Two attempts from two threads and one after them; prints each outcome. "request": of the other package. */
    static final class Attempts {
        private static boolean request;

        public static void main(String[] arguments) throws Exception {
            request = arguments.length > 0;
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
                return "design of " + (request ? LatinHypercube.of(4).factors(1).run().runs()
                    : new OptimalLatinHypercube().optdoe(4, 1, 1, 5).length);
            } catch (UnsatisfiedLinkError error) {
                return error.toString();
            }
        }
    }

    private List<String> attempts(String... options) throws Exception {
        List<String> outcomes = attemptsBy("exec \"$@\"", "", options);
        try (Stream<Path> left = Files.walk(temporary)) {
            assertEquals(List.of(temporary), left.collect(Collectors.toList()), "left in the temporary directory");
        }
        return outcomes;
    }

    /** Of a virtual machine that a shell line starts as "$@", with one argument unless it is empty. */
    private List<String> attemptsBy(String line, String argument, String... options) throws Exception {
        List<String> command = new ArrayList<>(List.of("bash", "-c", line, "bash"));
        command.addAll(Jvm.java(options));
        command.addAll(List.of("-Djava.io.tmpdir=" + temporary, "-cp", classPath, Attempts.class.getName()));
        if (!argument.isEmpty())
            command.add(argument);
        Jvm.Result result = Jvm.start(directory, command).await();
        assertEquals(0, result.code, result::toString);
        return result.out.lines().collect(Collectors.toList());
    }

    /** The same where the temporary directory is mounted noexec, in a mount namespace that goes with the process. */
    private List<String> attemptsWithNoexec(String argument, String... options) throws Exception {
        String mount = "mount -t tmpfs -o noexec tmpfs '" + temporary + "'";
        String namespace = "unshare " + (new ProcessBuilder("bash", "-c", "unshare -m true").start().waitFor() == 0
            ? "-m" : "-rm");
        assumeTrue(new ProcessBuilder("bash", "-c", namespace + " " + mount).start().waitFor() == 0,
            "this process may not mount a file system");
        String line = "export XDG_CACHE_HOME='" + directory + "/cache'; exec " + namespace + " bash -c \"" + mount
            + " && exec \\\"\\$@\\\"\" bash \"$@\"";
        return attemptsBy(line, argument, options);
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
            " on Linux amd64 with glibc.", "/nowhere/lib.so", "system property optimallatinhypercube.library");
    }

    @Test
    void a_file_that_is_no_library_is_an_error() throws Exception {
        Path file = Files.writeString(directory.resolve("text.so"), "no library");
        assertOneError(attempts("-Doptimallatinhypercube.library=" + file), file.toString());
    }

    @Test
    void an_unsupported_platform_is_an_error_that_names_it() throws Exception {
        assertOneError(attempts("-Dos.arch=riscv64"),
            " on Linux riscv64 with glibc.", "linux-x86_64 only", "system property optimallatinhypercube.library");
    }

    @Test
    void a_directory_that_is_missing_is_an_error_that_names_it() throws Exception {
        assertOneError(attempts("-Doptdoe.directory=" + directory + "/none"),
            "META-INF/native/linux-x86_64/", directory + "/none");
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "request"})
    void where_programs_may_not_be_loaded_from_the_cache_directory_serves(String argument) throws Exception {
        assertEquals(List.of("design of 4"), attemptsWithNoexec(argument));
        assertArrayEquals(new String[0], directory.resolve("cache").toFile().list(), "nothing is left");
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "request"})
    void where_there_is_no_cache_either_the_folder_of_the_jar_serves(String argument) throws Exception {
        Files.writeString(directory.resolve("cache"), "a file, not a directory");
        Path folder = Files.createDirectory(directory.resolve("jars"));
        Path jar = Files.copy(Path.of(Jvm.jar()), folder.resolve("library.jar"));
        classPath = jar + classPath.substring(Jvm.jar().length());
        assertEquals(List.of("design of 4"), attemptsWithNoexec(argument));
        assertArrayEquals(new String[] {"library.jar"}, folder.toFile().list(), "nothing is left");
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "request"})
    void a_directory_that_is_mounted_noexec_is_an_error_that_says_so(String argument) throws Exception {
        assertOneError(attemptsWithNoexec(argument, "-Doptdoe.directory=" + temporary),
            temporary + ", which is mounted noexec (", " on Linux amd64 with glibc.", "system property opt",
            "optdoe.directory");
    }

    @Test
    void only_64_bit_x86_linux_is_bundled() {
        String bundled = "/META-INF/native/linux-x86_64/libZORBEXdoe_optimallatinhypercubeC.so";
        assertEquals(bundled, NativeLibrary.ENTRY.bundledResource("Linux", "amd64"));
        assertEquals(bundled, NativeLibrary.ENTRY.bundledResource("Linux", "x86_64"));
        assertNull(NativeLibrary.ENTRY.bundledResource("Linux", "aarch64"));
        assertNull(NativeLibrary.ENTRY.bundledResource("Mac OS X", "x86_64"));
        assertNull(NativeLibrary.ENTRY.bundledResource("Windows 10", "amd64"));
    }
}
