package com.morvantix.plugin.doe.optimallatinhypercube;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** A virtual machine in a process of its own. */
public final class Jvm {
    public final Process process;
    private final Path out;
    private final Path err;

    /** Exit code and both streams of an ended process. */
    public static final class Result {
        public final int code;
        public final String out;
        public final String err;

        Result(int code, String out, String err) {
            this.code = code;
            this.out = out;
            this.err = err;
        }

        @Override
        public String toString() {
            return "exit " + code + "\nstdout: " + out + "\nstderr: " + err;
        }
    }

    private Jvm(Path directory, List<String> command) throws IOException {
        out = Files.createTempFile(directory, "out", "");
        err = Files.createTempFile(directory, "err", "");
        process = new ProcessBuilder(command).redirectOutput(out.toFile()).redirectError(err.toFile()).start();
    }

    /** Starts a command; its streams are kept in files of the directory. */
    public static Jvm start(Path directory, List<String> command) throws IOException {
        return new Jvm(directory, command);
    }

    /** Runs a virtual machine with these arguments to its end. */
    public static Result run(Path directory, String... arguments) throws Exception {
        return start(directory, java(arguments)).await();
    }

    public static List<String> java(String... arguments) {
        List<String> command = new ArrayList<>();
        command.add(System.getProperty("java.home") + "/bin/java");
        command.addAll(List.of("-XX:TieredStopAtLevel=1", "-Xshare:auto"));
        command.addAll(List.of(arguments));
        return command;
    }

    /** The jar, and the classes of the tests, as a class path. */
    public static String classPath() {
        return Stream.of(OptimalLatinHypercube.class, RecordingHost.class)
            .map(type -> FreshLibrary.placeOf(type).getPath()).collect(Collectors.joining(File.pathSeparator));
    }

    /** The library's jar. */
    public static String jar() {
        return FreshLibrary.placeOf(OptimalLatinHypercube.class).getPath();
    }

    /** The command line's jar, beside the library's. */
    static String cliJar() {
        return jar().replace(".jar", "-cli.jar");
    }

    public Result await() throws Exception {
        if (!process.waitFor(60, TimeUnit.SECONDS)) {
            process.destroyForcibly();
            throw new AssertionError("still running; so far " + new Result(-1, Files.readString(out), errorSoFar()));
        }
        return new Result(process.exitValue(), Files.readString(out), errorSoFar());
    }

    public String errorSoFar() throws IOException {
        return Files.readString(err);
    }
}
