package com.morvantix.plugin.doe.optimallatinhypercube;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The command line in its jar, each time in a new process. */
@Tag("command_line")
@Timeout(60)
class CommandLineTest {
    private static final String EXPLANATION = "The design is the exact return value of optdoe";

    @TempDir
    Path directory;

    private static String[] command(String... arguments) {
        return Stream.of(new String[] {"-jar", Jvm.cliJar()}, arguments).flatMap(Stream::of).toArray(String[]::new);
    }

    private Jvm.Result run(String... arguments) throws Exception {
        return Jvm.run(directory, command(arguments));
    }

    /** Runs a shell line in which "$@" is the command line of the jar. */
    private Jvm.Result shell(String line, String... arguments) throws Exception {
        List<String> command = new ArrayList<>(List.of("bash", "-c", line, "bash"));
        command.addAll(Jvm.java(command(arguments)));
        return Jvm.start(directory, command).await();
    }

    /** The rows of a recorded design as CSV. */
    private static String csv(String recorded) throws Exception {
        Recorded run = new Recorded(recorded);
        String header = "x1" + (run.nfactors > 1 ? ",x2" : "");
        return header + "\n" + run.calls.get(0).lines().filter(line -> !line.startsWith(">"))
            .map(line -> line.replace(' ', ',') + "\n").collect(Collectors.joining());
    }

    private static int[] levels(String csv) {
        return csv.lines().skip(1).flatMap(row -> Arrays.stream(row.split(",")))
            .mapToInt(Integer::parseInt).toArray();
    }

    @Test
    void a_known_seed_gives_the_recorded_design_as_csv_and_its_lines_on_stderr() throws Exception {
        Jvm.Result result = run("10", "2", "--seed", "5", "--minutes", "100");
        assertEquals(0, result.code, result::toString);
        assertEquals(csv("n10_k2_seed5"), result.out);
        List<String> lines = result.err.lines().collect(Collectors.toList());
        assertEquals("Seed in force                        = 5", lines.get(0));
        String recorded = new Recorded("n10_k2_seed5").calls.get(0);
        assertEquals(recorded.lines().filter(line -> line.startsWith("> M") || line.contains("Criterion"))
            .map(line -> line.substring(2)).collect(Collectors.toList()), lines.subList(1, lines.size() - 1));
        assertTrue(lines.get(lines.size() - 1).startsWith("Computation time"), result::toString);
    }

    @Test
    void levels_lost_to_truncation_are_named() throws Exception {
        Jvm.Result result = run("23", "2", "--seed=5");
        assertEquals(0, result.code, result::toString);
        assertEquals(csv("n23_k2_seed5"), result.out);
        assertTrue(result.err.contains("\nMissing levels in column x1: 16\nMissing levels in column x2: 16\n"
            + EXPLANATION), result::toString);
    }

    @ParameterizedTest
    @CsvSource({"''", "--seed=-1", "--seed=4294967295"})
    void a_seed_from_the_clock_is_printed_and_repeats_the_design(String option) throws Exception {
        Jvm.Result first = option.isEmpty() ? run("20", "1") : run("20", "1", option);
        assertEquals(0, first.code, first::toString);
        String line = first.err.lines().findFirst().orElseThrow();
        assertTrue(line.matches("Seed in force {24}= \\d+ \\(from the clock\\)"), line);
        Jvm.Result second = run("20", "1", "--seed", line.replaceAll("\\D", ""));
        assertEquals(first.out, second.out);
        OptimalLatinHypercubeTest.assertLatin(levels(first.out), 20, 1);
    }

    @Test
    void other_seeds_give_other_designs() throws Exception {
        assertNotEquals(run("20", "1", "--seed", "5").out, run("20", "1", "--seed", "6").out);
    }

    @ParameterizedTest
    @CsvSource({
        "'10 2 --seed x', --seed",
        "'10 2 --minutes soon', --minutes",
        "'10 2 --minutes NaN', --minutes",
        "'10 2 --colour', --colour",
        "'10', FACTORS",
        "'ten 2', SAMPLES",
        "'10 2 3', 3",
        "'10 2 --output /nowhere/design.csv', --output",
        "'10 2 --output /dev/null', --output",
    })
    void usage_errors_name_the_option_and_exit_2(String arguments, String named) throws Exception {
        Jvm.Result result = run(arguments.split(" "));
        assertEquals(2, result.code, result::toString);
        assertEquals("", result.out);
        assertTrue(result.err.lines().findFirst().orElse("").contains(named), result::toString);
    }

    @Test
    void a_refused_argument_exits_1_after_its_status_line() throws Exception {
        Jvm.Result result = run("10", "2", "--minutes", "-0.5", "--output", directory + "/design.csv");
        assertEquals(1, result.code, result::toString);
        assertEquals("", result.out);
        assertTrue(result.err.endsWith("Maxtime must be a positive number.\n"), result::toString);
        assertFalse(Files.exists(directory.resolve("design.csv")));
    }

    @Test
    void help_and_version_exit_0() throws Exception {
        Jvm.Result help = run("--help");
        assertEquals(0, help.code, help::toString);
        for (String part : List.of("SAMPLES", "FACTORS", "--minutes", "--seed", "--output", "Exit codes"))
            assertTrue(help.out.contains(part), help::toString);
        Jvm.Result version = run("--version");
        assertEquals("optimal-latin-hypercube " + System.getProperty("tests.version") + "\n", version.out);
        assertEquals(0, version.code);
    }

    @Test
    void an_output_file_is_replaced_and_nothing_else_is_left() throws Exception {
        Path place = Files.createDirectory(directory.resolve("place"));
        Path file = Files.writeString(place.resolve("design.csv"), "older");
        Path link = Files.createSymbolicLink(place.resolve("link.csv"), file);
        Jvm.Result result = run("10", "1", "--seed", "0", "--output", link.toString());
        assertEquals(0, result.code, result::toString);
        assertEquals("", result.out);
        assertEquals(csv("n10_k1_seed0"), Files.readString(file));
        assertTrue(Files.isSymbolicLink(link));
        assertEquals(2, place.toFile().list().length);
    }

    @Test
    void a_failed_write_of_a_file_leaves_the_older_one() throws Exception {
        Path place = Files.createDirectory(directory.resolve("place"));
        Path file = Files.writeString(place.resolve("design.csv"), "older");
        // No file may grow: not the design, and so neither files of the virtual machine nor an extracted library.
        String limited = "set -o pipefail; (ulimit -f 0; exec \"$@\") 2>&1 | cat";
        List<String> command = new ArrayList<>(List.of("bash", "-c", limited, "bash"));
        command.addAll(Jvm.java("-XX:-UsePerfData",
            "-Doptimallatinhypercube.library=" + System.getProperty("tests.library")));
        command.addAll(List.of(command("10", "1", "--output", file.toString())));
        Jvm.Result result = Jvm.start(directory, command).await();
        assertEquals(1, result.code, result::toString);
        assertTrue(result.out.contains("cannot write the design"), result::toString);
        assertEquals("older", Files.readString(file));
        assertEquals(1, place.toFile().list().length);
    }

    @Test
    void a_full_disk_and_a_closed_pipe_exit_1() throws Exception {
        Jvm.Result full = shell("\"$@\" > /dev/full", "10", "1");
        assertEquals(1, full.code, full::toString);
        assertTrue(full.err.contains("cannot write the design"), full::toString);
        Jvm.Result closed = shell("\"$@\" | true; exit ${PIPESTATUS[0]}", "10", "1");
        assertEquals(1, closed.code, closed::toString);
        assertTrue(closed.err.contains("cannot write the design"), closed::toString);
    }

    @ParameterizedTest
    @CsvSource({"INT, 130", "TERM, 143"})
    void a_signal_ends_the_search_and_the_design_is_written(String signal, int code) throws Exception {
        // A test started in the background has inherited SIGINT ignored, and so would the virtual machine.
        List<String> command = new ArrayList<>(List.of("env", "--default-signal=INT"));
        command.addAll(Jvm.java(command("200", "7", "--minutes", "10", "--seed", "5")));
        Jvm jvm = Jvm.start(directory, command);
        while (!jvm.errorSoFar().contains("Initial Criterion") && jvm.process.isAlive())
            TimeUnit.MILLISECONDS.sleep(20);
        new ProcessBuilder("kill", "-" + signal, Long.toString(jvm.process.pid())).start().waitFor();
        Jvm.Result result = jvm.await();
        assertEquals(code, result.code, result::toString);
        assertEquals(201, result.out.lines().count(), result::toString);
        assertEquals(1400, levels(result.out).length);
        assertTrue(result.err.contains("Final Criterion"), result::toString);
        assertFalse(result.err.contains("at iteration 100 "), "the search was over before the signal");
    }
}
