package com.morvantix.plugin.doe.optimallatinhypercube.cli;

import java.io.BufferedWriter;
import java.io.IOException;
import java.io.OutputStream;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** The levels that one call of optdoe returned. */
final class Design {
    private final int samples;
    private final int factors;
    private final int[] levels;

    /** Keeps the array itself: samples x factors levels, row by row. */
    Design(int samples, int factors, int[] levels) {
        this.samples = samples;
        this.factors = factors;
        this.levels = levels;
    }

    /** Writes the header x1,x2,... and one run a row, and flushes. Leaves the stream open. */
    void writeCsv(OutputStream stream) throws IOException {
        Writer csv = new BufferedWriter(new OutputStreamWriter(stream, StandardCharsets.US_ASCII), 1 << 16);
        for (int column = 0; column < factors; ++column)
            csv.append(column == 0 ? "x" : ",x").append(Integer.toString(column + 1));
        csv.append('\n');
        for (int i = 0; i < levels.length; ++i)
            csv.append(Integer.toString(levels[i])).append((i + 1) % factors == 0 ? '\n' : ',');
        csv.flush();
    }

    /** One line for each column that is no permutation of 1..samples, and one that explains; empty if all are. */
    List<String> missingLevels() {
        List<String> lines = new ArrayList<>();
        for (int column = 0; column < factors; ++column) {
            boolean[] present = new boolean[samples + 1];
            for (int i = column; i < levels.length; i += factors)
                if (levels[i] >= 1 && levels[i] <= samples)
                    present[levels[i]] = true;
            String missing = IntStream.rangeClosed(1, samples).filter(level -> !present[level])
                .mapToObj(Integer::toString).collect(Collectors.joining(", "));
            if (!missing.isEmpty())
                lines.add("Missing levels in column x" + (column + 1) + ": " + missing);
        }
        if (!lines.isEmpty())
            lines.add("The design is the exact return value of optdoe, which truncates levels toward zero: a level "
                + "that rounding left just below a whole number is returned as the level beneath it.");
        return lines;
    }
}
