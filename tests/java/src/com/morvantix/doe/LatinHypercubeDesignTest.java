package com.morvantix.doe;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/** Designs: their numbers, files, pictures and scores. */
@Timeout(60)
class LatinHypercubeDesignTest {
    @TempDir
    Path directory;

    private static LatinHypercubeDesign physical() {
        return LatinHypercube.of(10).factor("Temp", 20, 80, "°C").factor("Flow", 1, 5, "l/h").seed(5).run();
    }

    @Test
    void levels_unit_and_physical_values_agree() {
        LatinHypercubeDesign design = physical();
        int[][] levels = design.levels();
        double[][] asNumbers = design.values(Coding.LEVELS);
        double[][] unit = design.unit();
        double[][] physical = design.physical();
        for (int run = 0; run < 10; ++run) {
            assertEquals(levels[run][0], asNumbers[run][0]);
            assertEquals((levels[run][0] - 0.5) / 10, unit[run][0], 1e-15);
            assertEquals(20 + 60 * unit[run][0], physical[run][0], 1e-13);
            assertEquals(1 + 4 * unit[run][1], physical[run][1], 1e-14);
        }
        assertTrue(Arrays.deepEquals(physical, design.written()));
        levels[0][0] = 99;
        assertNotEquals(99, design.levels()[0][0], "an array that comes out is a copy");
    }

    @Test
    void factors_are_told_with_range_and_unit() {
        LatinHypercubeDesign design = physical();
        assertEquals(List.of(Factor.of("Temp", 20, 80, "°C"), Factor.of("Flow", 1, 5, "l/h")), design.factors());
        assertEquals("°C", design.factors().get(0).unit());
        Factor plain = LatinHypercubeTest.small().run().factors().get(0);
        assertEquals("x1", plain.name());
        assertFalse(plain.hasRange());
        assertEquals("", plain.unit());
        assertThrows(IndexOutOfBoundsException.class, () -> design.levelCount(2));
    }

    @Test
    void a_design_is_the_same_after_writing_and_reading() throws Exception {
        LatinHypercubeDesign design = physical();
        for (String name : List.of("design.csv", "design.json", "Grüße.csv")) {
            Path file = directory.resolve(name);
            design.write(file);
            assertEquals(name.endsWith("csv") ? design.csv() : design.json(), Files.readString(file));
            LatinHypercubeDesign read = LatinHypercubeDesign.read(file);
            assertTrue(Arrays.deepEquals(design.levels(), read.levels()));
            assertTrue(Arrays.deepEquals(design.physical(), read.physical()));
            assertEquals(design.factors(), read.factors());
            assertEquals(design.provenance(), read.provenance());
            assertEquals(Optional.empty(), read.outcome());
        }
        assertEquals(design, LatinHypercubeDesign.parse(design.csv()));
        assertEquals(design.hashCode(), LatinHypercubeDesign.parse(design.csv()).hashCode());
        assertNotEquals(design, LatinHypercubeTest.small().run());
    }

    @Test
    void the_provenance_repeats_the_run() {
        String provenance = physical().provenance();
        for (String key : List.of("program", "version", "command", "seed", "settings", "objective"))
            assertTrue(provenance.contains("\"" + key + "\""), key + " in " + provenance);
        assertEquals("{}", LatinHypercubeDesign.of(new double[][] {{1, 2}, {2, 1}}).provenance());
    }

    @Test
    void the_history_has_a_line_a_round() {
        List<String> lines = Arrays.asList(LatinHypercubeTest.small().run().history().split("\n"));
        assertEquals("round,seconds,objective", lines.get(0));
        assertTrue(lines.size() > 50, lines.size() + " lines");
    }

    @Test
    void files_that_are_no_designs_are_refused_with_their_place() throws Exception {
        Path file = Files.writeString(directory.resolve("broken.csv"), "a,b\n1,2\n3,x\n");
        DesignException refused = assertThrows(DesignException.class, () -> LatinHypercubeDesign.read(file));
        assertTrue(refused.getMessage().startsWith(file + ":3:"), refused.getMessage());
        assertThrows(DesignException.class, () -> LatinHypercubeDesign.read(directory.resolve("none.csv")));
        assertThrows(DesignException.class, () -> LatinHypercubeDesign.parse(""));
        assertThrows(DesignException.class, () -> physical().write(directory.resolve("none/design.csv")));
        assertThrows(IllegalArgumentException.class, () -> physical().plot(directory.resolve("picture.txt")));
        assertThrows(IllegalArgumentException.class, () -> LatinHypercubeDesign.of(new double[][] {{Double.NaN}, {1}}));
    }

    @Test
    void numbers_of_another_program_are_interpreted() {
        LatinHypercubeDesign raw = LatinHypercubeDesign.of(
            new double[][] {{0.125, 0.875}, {0.375, 0.125}, {0.625, 0.625}, {0.875, 0.375}});
        assertThrows(DesignException.class, raw::physical);
        LatinHypercubeDesign known = raw.interpreted(Coding.UNIT, Factor.of("a", 0, 8), Factor.of("b", 0, 16));
        assertEquals(1, known.physical()[0][0], 1e-15);
        assertEquals(14, known.physical()[0][1], 1e-15);
        assertEquals("b", known.factors().get(1).name());
        LatinHypercubeTest.small().run();
        LatinHypercubeDesign better = LatinHypercube.from(known).seed(5).run();
        assertEquals(4, better.runs());
    }

    @Test
    void a_design_is_improved_from_where_it_is() {
        LatinHypercubeDesign start = LatinHypercube.of(12).factors(3).seed(5).stopAfter(0).run();
        LatinHypercubeDesign better = LatinHypercube.from(start).seed(5).noPreImprovement().run();
        assertEquals(start.outcome().orElseThrow().objective(), better.outcome().orElseThrow().initial(), 1e-12);
        assertTrue(better.outcome().orElseThrow().objective() < start.outcome().orElseThrow().objective());
    }

    @Test
    void runs_are_added_and_old_ones_stay() throws Exception {
        LatinHypercubeDesign old = physical();
        LatinHypercubeDesign all = LatinHypercube.augment(old, 5).seed(5).run();
        assertEquals(15, all.runs());
        assertArrayEquals(old.physical(), Arrays.copyOf(all.physical(), 10));
        assertThrows(DesignException.class, all::levels, "new runs stand between levels");
        Path file = directory.resolve("old.csv");
        old.write(file);
        String program = Program.design(directory, "optdoe augment " + file + " --add 5 --seed 5 -q");
        assertTrue(Arrays.deepEquals(LatinHypercubeDesign.parse(program).written(), all.written()));
    }

    @Test
    void scores_stand_beside_those_of_random_designs() {
        LatinHypercubeDesign design = physical();
        Scores scores = design.scores();
        Scores.Measure phip = scores.measure("objective_phip");
        assertEquals(design.outcome().orElseThrow().objective(), phip.value(), 1e-12);
        assertTrue(phip.value() < phip.randomMean(), phip.toString());
        assertTrue(scores.measures().size() >= 8, scores.measures().toString());
        assertTrue(scores.toString().contains(phip.label()));
        assertTrue(scores.json().contains("\"" + phip.key() + "\""));
        assertTrue(scores.measures().stream().anyMatch(measure -> !measure.where().isEmpty()));
        Scores alone = design.scores(0, LatinHypercubeTest.small().criterion(Criterion.phiP(2)));
        assertTrue(Double.isNaN(alone.measure("objective_phip").randomMean()));
        assertNotEquals(phip.value(), alone.measure("objective_phip").value());
    }

    @Test
    void a_report_and_a_picture_are_written() throws Exception {
        LatinHypercubeDesign design = physical();
        Path report = directory.resolve("report.html");
        design.report(report, 20);
        String page = Files.readString(report);
        assertTrue(page.contains("Temp"));
        LatinHypercubeDesign.parse(design.csv()).report(report, 20);
        assertTrue(Files.readString(report).length() < page.length(), "a design that was read has no course to draw");
        Path picture = directory.resolve("picture.svg");
        design.plot(picture);
        assertTrue(Files.readString(picture).contains("<svg"));
    }
}
