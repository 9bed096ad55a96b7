package com.morvantix.plugin.doe.optimallatinhypercube;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** 10,000 short calls of every kind: searched, not searched, refused, thrown out of. Run in a small heap. */
final class ManyCalls {
    private static final int CALLS = 10_000;
    private static final long ALLOWED_GROWTH_KIB = 8 << 10;

    private ManyCalls() { }

    public static void main(String[] arguments) throws IOException {
        long warm = 0;
        for (int call = 0; call < CALLS; ++call) {
            if (call == CALLS / 5)
                warm = residentKib();
            oneCall(call);
        }
        // What one call in four leaves behind, a block of the list of storage (8 KiB) for one, would be 16 MiB here.
        long growth = residentKib() - warm;
        if (growth > ALLOWED_GROWTH_KIB)
            throw new AssertionError("resident set grew by " + growth + " KiB");
        System.out.println(CALLS + " calls, resident set grew by " + growth + " KiB");
    }

    private static void oneCall(int call) {
        RecordingHost host = new RecordingHost(1);
        int nfactors = new int[] {2, 1, 0, 2}[call % 4];
        if (call % 4 == 3) {
            host.throwAtPoll = 1;
            host.thrown = new IllegalStateException();
        }
        try {
            int[] levels = host.optdoe(5, nfactors, 1, call);
            if (levels == null ? nfactors != 0 : levels.length != 5 * nfactors)
                throw new AssertionError("call " + call);
        } catch (IllegalStateException thrown) {
            if (thrown != host.thrown)
                throw thrown;
        }
    }

    private static long residentKib() throws IOException {
        System.gc();
        return Files.readAllLines(Path.of("/proc/self/status")).stream().filter(line -> line.startsWith("VmRSS:"))
            .mapToLong(line -> Long.parseLong(line.replaceAll("\\D", ""))).findFirst().orElseThrow();
    }
}
