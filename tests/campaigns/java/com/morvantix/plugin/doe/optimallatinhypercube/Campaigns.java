package com.morvantix.plugin.doe.optimallatinhypercube;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.ByteOrder;
import java.nio.LongBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

/**
 * What a virtual machine has to bear, one campaign a process: {@code Campaigns NAME [ARGUMENT...]}. Prints the number
 * of cases; ends with an AssertionError at the first fault.
 */
final class Campaigns {
    private Campaigns() { }

    public static void main(String[] arguments) throws Exception {
        switch (arguments[0]) {
        case "failing_storage": failingStorage(Path.of(arguments[1])); break;
        case "hosts": hosts(); break;
        case "threads": threads(Integer.parseInt(arguments[1]), Double.parseDouble(arguments[2])); break;
        case "full_heap": fullHeap(); break;
        case "long_lived": longLived(Integer.parseInt(arguments[1]), Path.of(arguments[2])); break;
        default: throw new IllegalArgumentException(arguments[0]);
        }
    }

    /** A host that does something at each of its callbacks, counted from 0 over lines and polls together. */
    private abstract static class Busy extends OptimalLatinHypercube {
        int callbacks;
        final int polls;
        private int poll;

        Busy(int pollsBeforeStop) {
            polls = pollsBeforeStop;
        }

        abstract void at(int callback);

        @Override
        public int getStopFlag() {
            at(callbacks++);
            return poll++ < polls ? 0 : 1;
        }

        @Override
        public void addStatusMessage(String line) {
            at(callbacks++);
        }
    }

    private static void check(boolean holds, String what) {
        if (!holds)
            throw new AssertionError(what);
    }

    /** A design that does not depend on what the process did before: no factor is chosen before the first poll. */
    private static int[] design(long seed) {
        return new RecordingHost(0).optdoe(7, 3, 100, seed);
    }

    /** The allocator that is preloaded is steered through a file: see failing_allocator.c. */
    private static void failingStorage(Path file) throws IOException {
        LongBuffer control;
        try (FileChannel channel = FileChannel.open(file, StandardOpenOption.READ, StandardOpenOption.WRITE)) {
            control = channel.map(FileChannel.MapMode.READ_WRITE, 0, 40).order(ByteOrder.nativeOrder()).asLongBuffer();
        }
        int[] expected = design(5);
        int cases = 0;
        for (long fromThenOn = 0; fromThenOn < 2; ++fromThenOn) {
            long at = 0;
            for (boolean failed = true; failed; ++at) {
                RecordingHost host = new RecordingHost(2);
                for (int i = 3; i < 5; ++i)
                    control.put(i, 0);
                control.put(1, at).put(2, fromThenOn);
                int[] result = null;
                OutOfMemoryError thrown = null;
                control.put(0, 1);
                try {
                    result = host.optdoe(7, 3, 100, 5);
                } catch (OutOfMemoryError error) {
                    thrown = error;
                } finally {
                    control.put(0, 0);
                }
                check(control.get(3) > 0, "the preloaded allocator saw no request of the library");
                check(control.get(4) == 0, "blocks left after a failure at " + at + ": " + control.get(4));
                failed = control.get(3) > at;
                check(failed == (thrown != null) && failed == (result == null), "result of a failure at " + at);
                if (failed) {
                    String how = at < 14 ? "on entry" : "by malloc()";
                    String message = "Storage exhausted " + how + " in Optimal Latin Hypercube plugin.";
                    check(message.equals(thrown.getMessage()), "a failure at " + at + " says " + thrown.getMessage());
                    ++cases;
                }
                check(Arrays.equals(design(5), expected), "the call after a failure at " + at);
            }
            check(at > 50, "only " + at + " requests");
        }
        System.out.println(cases + " cases");
    }

    /** Exceptions and errors at every callback in turn; calls from inside every callback; stops at every poll. */
    private static void hosts() {
        int[] expected = design(5);
        int cases = 0;
        List<Throwable> kinds = List.of(new IllegalStateException("a"), new Error("b"), new StackOverflowError("c"),
            new OutOfMemoryError("d"), new IOException("e"));
        for (Throwable kind : kinds) {
            boolean ended = false;
            for (int where = 0; !ended; ++where) {
                int wanted = where;
                Busy host = new Busy(12) {
                    @Override
                    void at(int callback) {
                        if (callback == wanted)
                            Campaigns.<RuntimeException>sneak(kind);
                    }
                };
                try {
                    ended = host.optdoe(7, 3, 100, 5) != null;
                } catch (Throwable thrown) {
                    check(thrown == kind, "thrown " + kind + ", arrived " + thrown);
                    check(host.callbacks == where + 1, "callbacks after one threw");
                    ++cases;
                }
                check(Arrays.equals(design(5), expected), "the call after a throw at callback " + where);
            }
        }
        Busy nesting = new Busy(12) {
            @Override
            void at(int callback) {
                check(Arrays.equals(design(5), expected), "a call inside callback " + callback);
                RecordingHost failing = new RecordingHost(3);
                failing.throwAtPoll = 2;
                failing.thrown = new IllegalStateException();
                try {
                    failing.optdoe(5, 2, 1, 5);
                    throw new AssertionError("the inner call swallowed its exception");
                } catch (IllegalStateException arrived) {
                    check(arrived == failing.thrown, "the inner call's exception");
                }
            }
        };
        OptimalLatinHypercubeTest.assertLatin(nesting.optdoe(7, 3, 100, 5), 7, 3);
        cases += 2 * nesting.callbacks;
        for (int polls = 0; polls < 100; ++polls, ++cases) {
            RecordingHost stopping = new RecordingHost(polls);
            OptimalLatinHypercubeTest.assertLatin(stopping.optdoe(9, 4, 100, 5), 9, 4);
            check(stopping.polls <= polls + 1, "polls after a stop");
        }
        System.out.println(cases + " cases");
    }

    @SuppressWarnings("unchecked")
    private static <E extends Throwable> void sneak(Throwable thrown) throws E {
        throw (E) thrown;
    }

    private static void threads(int count, double seconds) throws Exception {
        int[][] expected = new int[10][];
        for (int seed = 0; seed < expected.length; ++seed)
            expected[seed] = design(seed);
        long end = System.nanoTime() + (long) (seconds * 1e9);
        Callable<Integer> work = () -> {
            int calls = 0;
            for (; System.nanoTime() < end; ++calls) {
                int seed = calls % expected.length;
                check(Arrays.equals(design(seed), expected[seed]), "a design while others call");
                OptimalLatinHypercubeTest.assertLatin(new RecordingHost(5).optdoe(10, 4, 1, calls), 10, 4);
                check(new RecordingHost().optdoe(1, 1, 1, 1) == null, "a refusal while others call");
            }
            return 3 * calls;
        };
        ExecutorService pool = Executors.newFixedThreadPool(count);
        try {
            List<Future<Integer>> results = new ArrayList<>();
            for (int thread = 0; thread < count; ++thread)
                results.add(pool.submit(work));
            int cases = 0;
            for (Future<Integer> result : results)
                cases += result.get();
            System.out.println(count + " threads: " + cases + " cases");
        } finally {
            pool.shutdown();
        }
    }

    /** A design that the machine can make and the heap cannot take. */
    private static void fullHeap() {
        long heap = Runtime.getRuntime().maxMemory();
        int rows = 5_000_000;
        check(heap < 4L * rows, "the heap is too large for this campaign: start with -Xmx16m");
        try {
            new RecordingHost().optdoe(rows, 1, 1, 5);
            throw new AssertionError("a result larger than the heap");
        } catch (OutOfMemoryError expected) {
            check(!expected.getMessage().contains("plugin"), "the host's own exception was replaced: " + expected);
        }
        OptimalLatinHypercubeTest.assertLatin(new RecordingHost(3).optdoe(10, 3, 1, 5), 10, 3);
        System.out.println("1 cases");
    }

    /** Calls of mixed sizes and ends; writes "calls KiB" lines. The resident set of the second half does not grow. */
    private static void longLived(int calls, Path figures) throws IOException {
        final int[][] sizes = {{5, 2}, {10, 3}, {3, 1}, {25, 4}, {50, 2}, {8, 20}, {2, 2}, {80, 3}};
        long atHalf = 0;
        long most = 0;
        try (PrintWriter out = new PrintWriter(Files.newBufferedWriter(figures))) {
            for (int call = 0; call <= calls; ++call) {
                if (call % Math.max(1, calls / 200) == 0) {
                    long kib = residentKib();
                    out.println(call + " " + kib);
                    if (call <= calls / 2)
                        atHalf = Math.max(atHalf, kib);
                    most = Math.max(most, kib);
                }
                int[] size = sizes[call % sizes.length];
                RecordingHost host = new RecordingHost(call % 3);
                if (call % 17 == 16) {
                    host.throwAtPoll = 1;
                    host.thrown = new IllegalStateException();
                }
                try {
                    int[] levels = host.optdoe(call % 23 == 22 ? 1 : size[0], size[1], 1, call);
                    check(levels != null == (call % 23 != 22), "call " + call);
                } catch (IllegalStateException thrown) {
                    check(thrown == host.thrown, "call " + call);
                }
            }
        }
        System.out.println(calls + " cases, resident set: most in the first half " + atHalf + " KiB, overall " + most
            + " KiB");
        check(most <= atHalf + 2048, "the resident set grew");
    }

    private static long residentKib() throws IOException {
        System.gc();
        return Files.readAllLines(Path.of("/proc/self/status")).stream().filter(line -> line.startsWith("VmRSS:"))
            .mapToLong(line -> Long.parseLong(line.replaceAll("\\D", ""))).findFirst().orElseThrow();
    }
}
