package com.morvantix.doe;

import com.morvantix.plugin.doe.optimallatinhypercube.Jvm;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Collectors;

/** The native program, whose designs the library's must be. */
final class Program {
    private Program() { }

    /** What it writes for these words of a shell. */
    static String design(Path directory, String words) throws Exception {
        String program = System.getProperty("tests.program");
        List<String> command = List.of("bash", "-c", "optdoe() { '" + program + "' \"$@\"; }; " + words);
        Jvm.Result result = Jvm.start(directory, command).await();
        if (result.code != 0)
            throw new AssertionError(words + ": " + result);
        return result.out;
    }

    /** A design file without the command that it names: program and library are told in different words. */
    static String withoutCommand(String csv) {
        return csv.lines().filter(line -> !line.startsWith("# command:")).collect(Collectors.joining("\n"));
    }
}
