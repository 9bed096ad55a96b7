package com.morvantix.doe;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** 10,000 short calls of every kind: searched, refused, stopped, scored, thrown out of. Run in a small heap. */
final class ManyRequests {
    private static final int CALLS = 10_000;
    private static final long ALLOWED_GROWTH_KIB = 8 << 10;

    private ManyRequests() { }

    public static void main(String[] arguments) throws IOException {
        CancellationToken cancelled = new CancellationToken();
        cancelled.cancel();
        LatinHypercube request = LatinHypercube.of(5).factors(2).iterations(2).seed(5);
        LatinHypercubeDesign design = request.run();
        long warm = 0;
        for (int call = 0; call < CALLS; ++call) {
            if (call == CALLS / 5)
                warm = residentKib();
            switch (call % 5) {
                case 0:
                    if (!request.run().equals(design))
                        throw new AssertionError("call " + call);
                    break;
                case 1:
                    try {
                        request.restarts(3).run();
                        throw new AssertionError("call " + call);
                    } catch (IllegalArgumentException refused) {
                        break;
                    }
                case 2:
                    request.run(cancelled);
                    break;
                case 3:
                    design.scores(2, request).measure("objective_phip");
                    break;
                default:
                    LatinHypercube.from(LatinHypercubeDesign.parse(design.json())).iterations(2).run().unit();
            }
        }
        // What one call in five leaves behind, a design or a request of some KiB, would be more here.
        long growth = residentKib() - warm;
        if (growth > ALLOWED_GROWTH_KIB)
            throw new AssertionError("resident set grew by " + growth + " KiB");
        System.out.println(CALLS + " calls, resident set grew by " + growth + " KiB");
    }

    private static long residentKib() throws IOException {
        System.gc();
        return Files.readAllLines(Path.of("/proc/self/status")).stream().filter(line -> line.startsWith("VmRSS:"))
            .mapToLong(line -> Long.parseLong(line.replaceAll("\\D", ""))).findFirst().orElseThrow();
    }
}
