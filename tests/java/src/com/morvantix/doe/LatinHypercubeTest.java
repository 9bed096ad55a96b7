package com.morvantix.doe;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.function.Supplier;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/** Requests and what they give. */
@Timeout(60)
class LatinHypercubeTest {
    @TempDir
    Path directory;

    static LatinHypercube small() {
        return LatinHypercube.of(10).factors(2).seed(5);
    }

    static void assertLatin(LatinHypercubeDesign design) {
        int[][] levels = design.levels();
        for (int column = 0; column < design.factors().size(); ++column) {
            Set<Integer> seen = new HashSet<>();
            for (int[] run : levels)
                assertTrue(seen.add(run[column]) && run[column] >= 1 && run[column] <= design.runs(),
                    "column " + column + ": " + run[column]);
        }
    }

    static Stream<Arguments> requests_and_words() {
        return Stream.of(
            Arguments.of("10 2 --seed 5", small()),
            Arguments.of("6 3 --seed 7", LatinHypercube.of(6).factors(3).seed(7)),
            Arguments.of("23 4 --seed 0", LatinHypercube.of(23).factors(4).seed(0)),
            Arguments.of("15 3 --seed 4294967294", LatinHypercube.of(15).factors(3).seed(4294967294L)),
            Arguments.of("20 --factor Temp=20:80:C --factor Flow=1:5:l/h --criterion cd2 --seed 5",
                LatinHypercube.of(20).factor("Temp", 20, 80, "C").factor("Flow", 1, 5, "l/h")
                    .criterion(Criterion.centeredL2()).seed(5)),
            Arguments.of("12 3 --criterion entropy --theta 2 --distance rectangular --seed 5",
                LatinHypercube.of(12).factors(3).criterion(Criterion.entropy(2).rectangular()).seed(5)),
            Arguments.of("12 3 --p 0 --seed 5",
                LatinHypercube.of(12).factors(3).criterion(Criterion.maximin()).seed(5)),
            Arguments.of("12 3 --p 15 --weights 1,0.5,0.25 --seed 5",
                LatinHypercube.of(12).factors(3).criterion(Criterion.phiP(15)).weights(1, 0.5, 0.25).seed(5)),
            Arguments.of("12 6 --balanced 2,2,2,2,2,3 --criterion a2 --seed 5",
                LatinHypercube.of(12).factors(6).balanced(2, 2, 2, 2, 2, 3).criterion(Criterion.a2()).seed(5)),
            Arguments.of("12 3 --levels 3 --seed 5", LatinHypercube.of(12).factors(3).groups(3).seed(5)),
            Arguments.of("12 3 --symmetric --seed 5", LatinHypercube.of(12).factors(3).symmetric().seed(5)),
            Arguments.of("12 3 --method annealing --iterations 500 --threshold 0.1 --cooling 0.95 --seed 5",
                LatinHypercube.of(12).factors(3).method(LatinHypercube.Method.ANNEALING).iterations(500)
                    .threshold(0.1).cooling(0.95).seed(5)),
            Arguments.of("12 3 --method greedy --restarts 3 --seed 5",
                LatinHypercube.of(12).factors(3).method(LatinHypercube.Method.GREEDY).restarts(3).seed(5)),
            Arguments.of("12 3 --moves 7 --pairs 9 --iterations 20 --tolerance 1e-6 --shares 1,1,0.5 --weighted-choice "
                    + "--no-pre-improvement --seed 5",
                LatinHypercube.of(12).factors(3).moves(7).pairs(9).iterations(20).tolerance(1e-6).shares(1, 1, 0.5)
                    .weightedChoice().noPreImprovement().seed(5)),
            Arguments.of("12 3 --all-pairs --target 1.5 --scaling centres --seed 5",
                LatinHypercube.of(12).factors(3).allPairs().target(1.5).scaling(LatinHypercube.Scaling.CENTRES)
                    .seed(5)),
            Arguments.of("12 --factor a=0:1 --factor b=2:3 --coding unit --placement ends --seed 5",
                LatinHypercube.of(12).factor("a", 0, 1).factor("b", 2, 3).coding(Coding.UNIT)
                    .placement(LatinHypercube.Placement.ENDS).seed(5)),
            Arguments.of("23 2 --entry-levels --seed 5", LatinHypercube.of(23).factors(2).entryLevels().seed(5)),
            Arguments.of("20 3 --starts 5 --seed 5 --jobs 2",
                LatinHypercube.of(20).factors(3).starts(5).seed(5).jobs(2)),
            Arguments.of("20 3 --effort 5000 --seed 5", LatinHypercube.of(20).factors(3).effort(5000).seed(5)),
            Arguments.of("20 3 --stop-after 7 --seed 5", LatinHypercube.of(20).factors(3).stopAfter(7).seed(5)));
    }

    @ParameterizedTest
    @MethodSource("requests_and_words")
    void a_request_gives_the_design_of_the_program(String words, LatinHypercube request) throws Exception {
        LatinHypercubeDesign design = request.run();
        assertEquals(Program.withoutCommand(Program.design(directory, "optdoe " + words + " -q")),
            Program.withoutCommand(design.csv()));
    }

    @Test
    void the_recorded_command_makes_the_design_again() throws Exception {
        LatinHypercubeDesign design = LatinHypercube.of(20).factor("a b", 0, 1).factor("c", 1, 2, "l/h")
            .time(Duration.ofMillis(300)).seed(5).run();
        String command = design.csv().lines().filter(line -> line.startsWith("# command:")).findFirst().orElseThrow();
        String words = command.substring(command.indexOf('"') + 1, command.lastIndexOf('"')).replace("\\\"", "\"");
        LatinHypercubeDesign again = LatinHypercubeDesign.parse(Program.design(directory, words));
        assertArrayEquals(design.levels(), again.levels(), words);
    }

    @Test
    void forty_eight_runs_have_forty_eight_levels_in_each_column() {
        LatinHypercubeDesign design =
            LatinHypercube.of(48).factors(4).criterion(Criterion.centeredL2()).seed(5).run();
        assertEquals(48, design.runs());
        assertEquals(48, design.levelCount(3));
        assertLatin(design);
    }

    @Test
    void equal_requests_give_equal_designs_whatever_runs_beside_them() throws Exception {
        LatinHypercube request = LatinHypercube.of(10).factors(3).seed(5);
        LatinHypercubeDesign alone = request.run();
        Callable<Set<LatinHypercubeDesign>> calls = () -> {
            Set<LatinHypercubeDesign> designs = new HashSet<>();
            for (int call = 0; call < 100; ++call)
                designs.add(LatinHypercube.of(10).seed(5).factors(3).run());
            return designs;
        };
        ExecutorService threads = Executors.newFixedThreadPool(2);
        try {
            Future<Set<LatinHypercubeDesign>> one = threads.submit(calls);
            Future<Set<LatinHypercubeDesign>> other = threads.submit(calls);
            LatinHypercube.of(7).factors(3).seed(1).run();
            assertEquals(Set.of(alone), one.get());
            assertEquals(Set.of(alone), other.get());
        } finally {
            threads.shutdown();
        }
    }

    @Test
    void a_request_never_changes() {
        LatinHypercube request = small();
        String before = request.toString();
        assertNotEquals(request, request.seed(6));
        assertNotEquals(request, request.factor("more"));
        assertNotEquals(request, request.criterion(Criterion.maximin()));
        assertEquals(before, request.toString());
        assertEquals(request, LatinHypercube.of(10).seed(5).factors(2));
        assertEquals(request.hashCode(), LatinHypercube.of(10).seed(5).factors(2).hashCode());
        assertEquals(request.criterion(Criterion.entropy(3)).criterion(Criterion.centeredL2()),
            request.criterion(Criterion.centeredL2()), "settings of a criterion go with it");
    }

    @Test
    void the_outcome_tells_of_the_search() {
        Outcome outcome = small().run().outcome().orElseThrow();
        assertEquals(5, outcome.seed());
        assertEquals(1, outcome.searches());
        assertEquals(100, outcome.rounds());
        assertTrue(outcome.objective() < outcome.initial(), outcome.toString());
        assertTrue(outcome.seconds() >= 0 && outcome.seconds() < 60);
        assertFalse(outcome.stopped());
        assertEquals(List.of(), outcome.remarks());
        long clock = LatinHypercube.of(5).factors(2).run().outcome().orElseThrow().seed();
        assertTrue(clock >= 0 && clock <= 4294967294L);
        assertEquals(3, LatinHypercube.of(8).factors(2).starts(3).run().outcome().orElseThrow().searches());
    }

    @Test
    void a_listener_hears_of_a_long_search() {
        List<Progress> heard = new ArrayList<>();
        LatinHypercubeDesign design =
            LatinHypercube.of(30).factors(4).seed(5).time(Duration.ofMillis(500)).run(heard::add);
        assertTrue(heard.size() >= 4 && heard.size() <= 20, heard.size() + " times");
        Progress last = heard.get(heard.size() - 1);
        assertTrue(last.seconds() > heard.get(0).seconds());
        // The search keeps its objective in parts; the design's is computed afresh.
        assertEquals(design.outcome().orElseThrow().objective(), last.best(), 1e-6);
        assertTrue(last.initial() >= last.best());
        assertTrue(last.running() >= 0 && last.searches() >= 0 && last.rounds() >= 0);
        assertTrue(last.bestSeconds() <= last.seconds());
        assertTrue(last.bestSeed() >= 5);
    }

    @Test
    void settings_can_be_set_by_name() {
        assertEquals(small().iterations(30).run(), small().set("iterations", 30).run());
        assertEquals(small().criterion(Criterion.centeredL2()).run(), small().set("criterion", "cd2").run());
        assertEquals(small().noPreImprovement().run(), small().set("no_pre_improvement", "true").run());
        assertEquals(small().run(), small().allPairs().set("all-pairs", 0).run());
    }

    @Test
    void every_setting_is_listed_with_its_range() {
        List<Setting> settings = Setting.all();
        assertTrue(settings.size() >= 20, settings.toString());
        for (Setting setting : settings) {
            assertFalse(setting.name().isEmpty());
            assertFalse(setting.help().isEmpty());
            assertFalse(setting.low() > setting.high(), setting.toString());
        }
        Setting cooling = settings.stream().filter(s -> s.name().equals("cooling")).findFirst().orElseThrow();
        assertEquals(0.5, cooling.low());
        assertEquals(0.999, cooling.high());
    }

    private static Arguments bad(String name, String value, String range, Supplier<?> call) {
        return Arguments.of(name, value, range, call);
    }

    static Stream<Arguments> bad_values() {
        LatinHypercube r = LatinHypercube.of(12).factors(3);
        return Stream.of(
            bad("runs", "1", "2 .. ", () -> LatinHypercube.of(1)),
            bad("runs", "-5", "2 .. ", () -> LatinHypercube.of(-5)),
            bad("factors", "0", "1 .. ", () -> LatinHypercube.of(12).factors(0)),
            bad("factor", "", "", () -> Factor.of("")),
            bad("factor", "7", "", () -> r.factor("7")),
            bad("factor a", "2 .. 1", "low", () -> r.factor("a", 2, 1)),
            bad("factor a", "NaN", "low", () -> r.factor("a", Double.NaN, 1)),
            bad("factor a", "Infinity", "low", () -> r.factor("a", 0, Double.POSITIVE_INFINITY)),
            bad("factor", "a", "another", () -> r.factor("a").factor("a", 0, 1)),
            bad("p", "101", "0 .. 100", () -> Criterion.phiP(101)),
            bad("p", "-1", "0 .. 100", () -> Criterion.phiP(-1)),
            bad("theta", "0", "1e-40 .. 1000", () -> Criterion.entropy(0)),
            bad("theta", "empty", "one for each", () -> Criterion.entropy(new double[0])),
            bad("weights", "1.5", "1e-40 .. 1", () -> r.weights(1, 1.5, 1)),
            bad("target", "nan", "finite", () -> r.target(Double.NaN)),
            bad("target", "1e21", "-1e20 .. 1e20", () -> r.target(1e21)),
            bad("time", "0", "0.0001 .. ", () -> r.time(Duration.ZERO)),
            bad("time", "-", "0.0001 .. ", () -> r.time(Duration.ofSeconds(-1))),
            bad("iterations", "0", "1 .. 1", () -> r.iterations(0)),
            bad("moves", "-3", "1 .. 1", () -> r.moves(-3)),
            bad("pairs", "0", "1 .. ", () -> r.pairs(0)),
            bad("pairs", "67", "1 .. 66", () -> r.pairs(67).check()),
            bad("restarts", "500001", "0 .. 5", () -> r.restarts(500001)),
            bad("threshold", "-1", "0 .. 1e200", () -> r.threshold(-1)),
            bad("cooling", "1", "0.5 .. 0.999", () -> r.cooling(1)),
            bad("tolerance", "0.2", "1e-15 .. 0.1", () -> r.tolerance(0.2)),
            bad("shares", "2", "0 .. 1", () -> r.shares(2)),
            bad("levels", "0", "1 .. ", () -> r.groups(0)),
            bad("levels", "5", "divi", () -> r.groups(5).check()),
            bad("auxiliary", "3", "0 .. 2", () -> r.auxiliary(3)),
            bad("seed", "-1", "0 .. 4294967294", () -> r.seed(-1)),
            bad("seed", "4294967295", "0 .. 4294967294", () -> r.seed(4294967295L)),
            bad("balanced", "5", "", () -> r.balanced(5).check()),
            bad("starts", "0", "1 .. ", () -> r.starts(0)),
            bad("jobs", "5000", "1 .. 4096", () -> r.jobs(5000)),
            bad("effort", "0", "1 .. ", () -> r.effort(0)),
            bad("stop-after", "-1", "0 .. ", () -> r.stopAfter(-1)),
            bad("shard", "3/2", "", () -> r.shard(3, 2)),
            bad("added", "0", "at least 1", () -> LatinHypercube.augment(small().run(), 0)),
            bad("colour", "colour", "", () -> r.set("colour", "red")),
            bad("criterion", "best", "cd2", () -> r.set("criterion", "best")),
            bad("factor", "", "", () -> r.set("factor", "a=0:1")),
            bad("zero", "\\0", "", () -> r.set("criterion", "c\0")),
            bad("theta", "", "", () -> r.criterion(Criterion.entropy(1, 2)).check()),
            bad("distance", "", "", () -> r.criterion(Criterion.centeredL2().rectangular()).check()),
            bad("restarts", "", "", () -> r.restarts(3).run()),
            bad("runs", "", "", () -> LatinHypercube.from(small().run()).set("runs", 7).run()),
            bad("factors", "", "", () -> LatinHypercube.of(5).run()),
            bad("values", "2 in row 1", "", () -> LatinHypercubeDesign.of(new double[][] {{1}, {1, 2}})),
            bad("values", "empty", "", () -> LatinHypercubeDesign.of(new double[0][])),
            bad("randomDesigns", "100001", "0 .. 100000", () -> small().run().scores(100001, small())),
            bad("randomDesigns", "-1", "0 .. 100000", () -> small().run().scores(-1, small())),
            bad("randomDesigns", "-1", "0 .. 100000", () -> {
                small().run().report(Path.of("unwritten.html"), -1);
                return null;
            }),
            bad("measure", "beauty", "", () -> small().run().scores(0, small()).measure("beauty")));
    }

    @ParameterizedTest
    @MethodSource("bad_values")
    void a_bad_value_is_refused_by_name_value_and_range(String name, String value, String range, Supplier<?> call) {
        IllegalArgumentException refused = assertThrows(IllegalArgumentException.class, call::get);
        for (String part : List.of(name, value, range))
            assertTrue(refused.getMessage().contains(part), part + " in " + refused.getMessage());
    }

    @Test
    void nothing_begins_that_is_refused() throws Exception {
        Path results = directory.resolve("results.jsonl");
        LatinHypercube request = LatinHypercube.of(12).factors(3).starts(2).results(results).restarts(3);
        assertThrows(IllegalArgumentException.class, request::run);
        assertFalse(Files.exists(results));
    }

    @Test
    void null_is_refused_by_name() {
        assertEquals("listener", assertThrows(NullPointerException.class,
            () -> small().run((java.util.function.Consumer<Progress>) null)).getMessage());
        assertEquals("start", assertThrows(NullPointerException.class,
            () -> LatinHypercube.from(null)).getMessage());
    }

    @Test
    void a_campaign_goes_on_from_its_results_and_parts_are_merged() throws Exception {
        LatinHypercube whole = LatinHypercube.of(15).factors(3).seed(5).starts(6);
        Path one = directory.resolve("one.jsonl");
        Path two = directory.resolve("two.jsonl");
        whole.shard(1, 2).results(one).run();
        assertThrows(DesignException.class, () -> LatinHypercubeDesign.merge(List.of(one)));
        LatinHypercubeDesign.mergeIncomplete(List.of(one));
        whole.shard(2, 2).results(two).run();
        LatinHypercubeDesign merged = LatinHypercubeDesign.merge(List.of(one, two));
        assertArrayEquals(whole.run().levels(), merged.levels());
        assertThrows(DesignException.class, () -> whole.shard(1, 2).results(one).run(), "it has content");
        long lines = Files.lines(one).count();
        whole.shard(1, 2).resume(one).run();
        assertEquals(lines, Files.lines(one).count(), "nothing was left to search");
        assertThrows(IllegalArgumentException.class, () -> LatinHypercubeDesign.merge(List.of()));
    }
}
