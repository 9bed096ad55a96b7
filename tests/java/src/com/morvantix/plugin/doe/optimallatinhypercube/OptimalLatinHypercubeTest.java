package com.morvantix.plugin.doe.optimallatinhypercube;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** The native method, called from a virtual machine. */
@Timeout(60)
class OptimalLatinHypercubeTest {
    @ParameterizedTest
    @ValueSource(strings = {
        "n10_k1_seed0", "n10_k2_seed5", "n7_k5_seed1234567", "n20_k5_seed_wide", "n23_k2_seed5",
        "n6_k4_seed5_three_calls", "n10_k3_seed5_stop_at_poll_1", "n10_k3_seed5_stop_at_poll_11"})
    void known_seeds_give_the_recorded_lines_and_designs(String name) throws Exception {
        Recorded recorded = new Recorded(name);
        assertFalse(recorded.calls.isEmpty());
        try (FreshLibrary library = new FreshLibrary()) {
            for (String expected : recorded.calls) {
                FreshLibrary.Result result = library.call(recorded.nsamples, recorded.nfactors, recorded.minutes,
                    recorded.seed, recorded.pollsBeforeStop);
                assertEquals(expected, Recorded.format(result.levels, result.lines, recorded.nfactors));
            }
        }
    }

    @Test
    void lines_go_to_the_listener_and_a_request_stops_the_run() {
        OptimalLatinHypercube host = new OptimalLatinHypercube();
        List<String> lines = new ArrayList<>();
        host.setStatusListener(lines::add);
        host.requestStop();
        int[] levels = host.optdoe(12, 3, 0.5, 5);
        assertLatin(levels, 12, 3);
        assertEquals("Maximum time to optimize matrix      = 0.50 minutes", lines.get(0));
        assertTrue(lines.get(1).startsWith("Initial Criterion Objective          = "), lines.get(1));
        assertTrue(lines.get(2).startsWith("Final Criterion Objective            = "), lines.get(2));
        assertTrue(lines.get(3).startsWith("Computation time                     = "), lines.get(3));
        assertEquals(4, lines.size());
    }

    @Test
    void a_stop_request_holds_until_it_is_cleared() {
        OptimalLatinHypercube host = new OptimalLatinHypercube();
        assertEquals(0, host.getStopFlag());
        host.requestStop();
        assertEquals(1, host.getStopFlag());
        host.optdoe(6, 2, 1, 5);
        assertEquals(1, host.getStopFlag());
        host.clearStop();
        assertEquals(0, host.getStopFlag());
    }

    @Test
    void without_a_listener_the_lines_are_dropped() {
        OptimalLatinHypercube host = new OptimalLatinHypercube();
        assertLatin(host.optdoe(5, 1, 1, 3), 5, 1);
        host.setStatusListener(null);
        assertLatin(host.optdoe(5, 1, 1, 3), 5, 1);
    }

    @Test
    void another_thread_stops_a_long_run() throws Exception {
        OptimalLatinHypercube host = new OptimalLatinHypercube();
        List<String> lines = new ArrayList<>();
        host.setStatusListener(line -> {
            lines.add(line);
            if (line.startsWith("Initial"))
                new Thread(host::requestStop).start();
        });
        assertNotNull(host.optdoe(300, 6, 0.5, 5));
        assertTrue(lines.get(lines.size() - 1).startsWith("Computation time"), lines.toString());
    }

    @Test
    void a_subclass_gets_the_lines_and_one_poll_a_round() {
        RecordingHost host = new RecordingHost(4);
        assertLatin(host.optdoe(8, 3, 2, 11), 8, 3);
        assertEquals(5, host.polls);
        assertEquals(4, host.lines.size());
    }

    @ParameterizedTest
    @CsvSource({
        "1, 0, -1.0, 'Must have at least 1 factor.'",
        "5, -3, 1.0, 'Must have at least 1 factor.'",
        "1, 2, -1.0, 'Must have at least 2 sample points.'",
        "-7, 1, 1.0, 'Must have at least 2 sample points.'",
        "5, 2, -0.5, 'Maxtime must be a positive number.'",
        "5, 2, -Infinity, 'Maxtime must be a positive number.'",
    })
    void refused_arguments_give_null_and_one_line(int nsamples, int nfactors, double minutes, String line) {
        RecordingHost host = new RecordingHost();
        assertNull(host.optdoe(nsamples, nfactors, minutes, 5));
        assertEquals(List.of(line + "\n"), host.lines);
        assertEquals(0, host.polls);
    }

    @Test
    void zero_and_nan_minutes_are_accepted() {
        RecordingHost host = new RecordingHost(0);
        assertLatin(host.optdoe(6, 2, 0.0, 5), 6, 2);
        assertLatin(host.optdoe(6, 2, Double.NaN, 5), 6, 2);
        assertEquals("Maximum time to optimize matrix      = 0.00 minutes", host.lines.get(0));
    }

    @Test
    void a_design_beyond_a_java_array_is_an_error_of_storage() {
        RecordingHost host = new RecordingHost();
        OutOfMemoryError error = assertThrows(OutOfMemoryError.class, () -> host.optdoe(1 << 16, 1 << 16, 1, 5));
        assertEquals("Storage exhausted by malloc() in Optimal Latin Hypercube plugin.", error.getMessage());
    }

    @Test
    void only_the_low_32_bits_of_the_seed_count() {
        OptimalLatinHypercube host = new OptimalLatinHypercube();
        assertArrayEquals(host.optdoe(40, 1, 1, 5), host.optdoe(40, 1, 1, 0x1_0000_0005L));
        assertArrayEquals(host.optdoe(40, 1, 1, -6), host.optdoe(40, 1, 1, 0xFFFF_FFFAL));
    }

    /** Throws at: the first line, one in the middle, the last one (all 14 lines of a search of 100 rounds). */
    @ParameterizedTest
    @ValueSource(ints = {1, 2, 7, 14})
    void what_a_line_throws_arrives_as_thrown(int line) {
        RecordingHost host = new RecordingHost();
        host.throwAtLine = line;
        host.thrown = new IllegalStateException("at line " + line);
        assertSame(host.thrown, assertThrows(Throwable.class, () -> host.optdoe(7, 3, 5, 5)));
        assertEquals(line, host.lines.size());
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 15})
    void what_a_poll_throws_arrives_as_thrown(int poll) {
        RecordingHost host = new RecordingHost();
        host.throwAtPoll = poll;
        host.thrown = new IOException("checked, at poll " + poll);
        assertSame(host.thrown, assertThrows(Throwable.class, () -> host.optdoe(7, 3, 5, 5)));
        assertEquals(poll, host.polls);
    }

    @Test
    void a_throwing_line_of_a_refused_call_arrives_and_the_next_call_works() {
        RecordingHost host = new RecordingHost();
        host.throwAtLine = 1;
        host.thrown = new StackOverflowError("an error, not an exception");
        assertSame(host.thrown, assertThrows(Throwable.class, () -> host.optdoe(1, 1, 1, 5)));
        assertLatin(host.optdoe(7, 1, 1, 5), 7, 1);
    }

    /** The variant of the class comes from another class path and loads a copy of the library itself. */
    @Test
    void a_host_without_get_stop_flag_gets_the_error_of_the_look_up(@TempDir Path directory) throws Exception {
        Path copy = Files.copy(Path.of(System.getProperty("tests.library")), directory.resolve("copy.so"));
        URL variant = Path.of(System.getProperty("tests.without_stop_flag")).toUri().toURL();
        try (URLClassLoader loader = new URLClassLoader(new URL[] {variant}, ClassLoader.getPlatformClassLoader())) {
            Class<?> type = loader.loadClass(OptimalLatinHypercube.class.getName());
            Object host = type.getConstructor(String.class).newInstance(copy.toString());
            Method optdoe = type.getMethod("optdoe", int.class, int.class, double.class, long.class);
            InvocationTargetException thrown =
                assertThrows(InvocationTargetException.class, () -> optdoe.invoke(host, 10, 2, 1.0, 5L));
            assertEquals(NoSuchMethodError.class, thrown.getCause().getClass());
            assertTrue(thrown.getCause().getMessage().contains("getStopFlag"), thrown.getCause().getMessage());
            // One factor is not searched, so nothing is polled.
            assertLatin((int[]) optdoe.invoke(host, 10, 1, 1.0, 5L), 10, 1);
        }
    }

    @Test
    void a_spent_budget_ends_the_run_with_the_warning() {
        RecordingHost host = new RecordingHost();
        assertNotNull(host.optdoe(300, 8, 0.001, 5));
        int count = host.lines.size();
        assertEquals("WARNING: Time-limit exceeded - design matrix may not be optimal", host.lines.get(count - 1));
        assertTrue(host.lines.get(count - 2).matches("Computation time {21}= \\d\\.\\d{3} seconds"),
            host.lines.get(count - 2));
    }

    @Test
    void two_threads_call_at_once() throws Exception {
        CyclicBarrier start = new CyclicBarrier(2);
        Callable<List<RecordingHost>> calls = () -> {
            List<RecordingHost> hosts = new ArrayList<>();
            start.await();
            for (int call = 0; call < 20; ++call) {
                RecordingHost host = new RecordingHost();
                assertLatin(host.optdoe(10, 3, 1, call), 10, 3);
                hosts.add(host);
            }
            return hosts;
        };
        ExecutorService threads = Executors.newFixedThreadPool(2);
        try {
            for (Future<List<RecordingHost>> thread : List.of(threads.submit(calls), threads.submit(calls)))
                for (RecordingHost host : thread.get())
                    assertWholeRun(host.lines);
        } finally {
            threads.shutdown();
        }
    }

    /** The lines of one search of 100 rounds, none from elsewhere. */
    private static void assertWholeRun(List<String> lines) {
        assertEquals(14, lines.size(), lines.toString());
        assertTrue(lines.get(0).startsWith("Maximum time"), lines.get(0));
        assertTrue(lines.get(1).startsWith("Initial Criterion"), lines.get(1));
        for (int tens = 1; tens <= 10; ++tens) {
            String start = String.format("Criterion Objective at iteration %3d  = ", tens * 10);
            assertTrue(lines.get(tens + 1).startsWith(start), lines.get(tens + 1));
        }
        assertTrue(lines.get(12).startsWith("Final Criterion"), lines.get(12));
        assertTrue(lines.get(13).startsWith("Computation time"), lines.get(13));
    }

    /** Each column is a permutation of 1..nsamples; holds for sizes where no level is lost to truncation. */
    static void assertLatin(int[] levels, int nsamples, int nfactors) {
        assertEquals(nsamples * nfactors, levels.length);
        for (int column = 0; column < nfactors; ++column) {
            boolean[] seen = new boolean[nsamples + 1];
            for (int i = column; i < levels.length; i += nfactors) {
                assertFalse(seen[levels[i]], "level " + levels[i] + " twice in column " + column);
                seen[levels[i]] = true;
            }
            assertFalse(seen[0], "level 0 in column " + column);
        }
    }
}
