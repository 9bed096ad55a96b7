package com.morvantix.plugin.doe.optimallatinhypercube;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** One file of recorded calls; the head of each file says how it is written. */
final class Recorded {
    final int nsamples;
    final int nfactors;
    final double minutes;
    final long seed;
    final int pollsBeforeStop;
    /** For each call: its status lines, then its rows, as in the file. */
    final List<String> calls;

    Recorded(String name) throws IOException {
        String text = Files.readAllLines(Path.of(System.getProperty("tests.recorded"), name + ".txt")).stream()
            .filter(line -> !line.startsWith("#")).collect(Collectors.joining("\n"));
        List<String> blocks = List.of(text.split("\n\n"));
        String[] arguments = blocks.get(0).split(" ");
        nsamples = Integer.parseInt(arguments[0]);
        nfactors = Integer.parseInt(arguments[1]);
        minutes = Double.parseDouble(arguments[2]);
        seed = Long.parseLong(arguments[3]);
        pollsBeforeStop = Integer.parseInt(arguments[4]);
        calls = blocks.subList(1, blocks.size());
    }

    /** A call's result in the form of the files. */
    static String format(int[] levels, List<String> lines, int nfactors) {
        List<String> text = new ArrayList<>();
        for (String line : lines)
            text.add("> " + line.replaceFirst("^(Computation time) {21}= \\d+\\.\\d{3} seconds$", "$1"));
        text.addAll(rows(levels, nfactors, " "));
        return String.join("\n", text);
    }

    static List<String> rows(int[] levels, int nfactors, String separator) {
        return IntStream.range(0, levels.length / nfactors)
            .mapToObj(row -> IntStream.range(row * nfactors, (row + 1) * nfactors)
                .mapToObj(i -> Integer.toString(levels[i])).collect(Collectors.joining(separator)))
            .collect(Collectors.toList());
    }
}
