package com.morvantix.doe;

import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;

/**
 * A design: what a search found, what a file holds, or numbers of any origin.
 *
 * <p>It keeps its levels and the text of its file. What else is asked for is computed from that text by the native
 * library, each time.
 */
public final class LatinHypercubeDesign {
    private final int runs;
    private final List<Factor> factors;
    private final int[] levelCounts;
    private final int[] levels;
    private final String noLevels;
    private final Outcome outcome;
    private final String provenance;
    private final String history;
    private final String csv;

    /** Keeps the arrays. levels is null where noLevels says why, outcome where nothing was searched. */
    LatinHypercubeDesign(int runs, List<Factor> factors, int[] levelCounts, int[] levels, String noLevels,
                         Outcome outcome, String provenance, String history, String csv) {
        this.runs = runs;
        this.factors = factors;
        this.levelCounts = levelCounts;
        this.levels = levels;
        this.noLevels = noLevels;
        this.outcome = outcome;
        this.provenance = provenance;
        this.history = history;
        this.csv = csv;
    }

    /**
     * Reads a design file, CSV or JSON, ours or another program's.
     *
     * @param file its name
     * @return the design
     * @throws DesignException if it cannot be read or holds no design; the message begins with file:line:column
     */
    public static LatinHypercubeDesign read(Path file) {
        return Native.read(file);
    }

    /**
     * Reads the text of a design file.
     *
     * @param text CSV or JSON
     * @return the design
     * @throws DesignException if it holds no design
     */
    public static LatinHypercubeDesign parse(String text) {
        return Native.parse(text);
    }

    /**
     * Takes numbers as the file of another program holds them; {@link #interpreted} tells what they mean.
     *
     * @param values finite numbers: a row for each run, all of one length
     * @return the design
     * @throws IllegalArgumentException if the rows have several lengths, or there are none
     * @throws DesignException if the numbers are no design
     */
    public static LatinHypercubeDesign of(double[][] values) {
        if (values.length == 0 || values[0].length == 0)
            throw new IllegalArgumentException("values: empty; there must be a run and a factor at least");
        int count = values[0].length;
        double[] flat = new double[Math.multiplyExact(values.length, count)];
        for (int run = 0; run < values.length; ++run) {
            if (values[run].length != count)
                throw new IllegalArgumentException("values: " + values[run].length + " in row " + run + "; row 0 has "
                    + count);
            System.arraycopy(values[run], 0, flat, run * count, count);
        }
        return Native.of(flat, values.length);
    }

    /**
     * Takes the best of the results files of one problem, or of parts of it.
     *
     * @param files files of {@link LatinHypercube#results}
     * @return the design that a single campaign of all searches would have given
     * @throws IllegalArgumentException if there are no files
     * @throws DesignException if a file cannot be read, the files do not belong together, or starts are missing
     */
    public static LatinHypercubeDesign merge(List<Path> files) {
        return Native.merge(files, false);
    }

    /**
     * Takes the best of the results files of one problem also where starts that were asked for are missing.
     *
     * @param files files of {@link LatinHypercube#results}
     * @return the best design there is
     * @throws IllegalArgumentException if there are no files
     * @throws DesignException if a file cannot be read, or the files do not belong together
     */
    public static LatinHypercubeDesign mergeIncomplete(List<Path> files) {
        return Native.merge(files, true);
    }

    /**
     * This design with what its numbers mean, where it does not know that itself.
     *
     * @param coding what its numbers are
     * @param factors names, ranges and units: one for each column, or none
     * @return a changed copy
     * @throws IllegalArgumentException if the factors do not fit together
     * @throws DesignException if this contradicts what the design knows
     */
    public LatinHypercubeDesign interpreted(Coding coding, Factor... factors) {
        Native.Request request = new Native.Request().set("coding", coding.text);
        for (Factor factor : factors)
            request.factor(factor);
        return Native.interpret(this, request);
    }

    /**
     * The number of runs.
     *
     * @return at least 1
     */
    public int runs() {
        return runs;
    }

    /**
     * The factors, in the order of the columns.
     *
     * @return at least one
     */
    public List<Factor> factors() {
        return factors;
    }

    /**
     * The number of levels of a factor; where no level is known, that of its distinct values.
     *
     * @param factor its column, from 0
     * @return its levels are 1 .. this number
     * @throws IndexOutOfBoundsException if there is no such column
     */
    public int levelCount(int factor) {
        return levelCounts[Objects.checkIndex(factor, levelCounts.length)];
    }

    /**
     * The exact levels.
     *
     * @return a row for each run
     * @throws DesignException if no level is known, or added runs stand between levels; {@link #values} then tells them
     */
    public int[][] levels() {
        if (levels == null)
            throw new DesignException(noLevels);
        int[][] rows = new int[runs][];
        for (int run = 0; run < runs; ++run)
            rows[run] = Arrays.copyOfRange(levels, run * factors.size(), (run + 1) * factors.size());
        return rows;
    }

    /**
     * The numbers of the design.
     *
     * @param coding what is asked for; levels are not whole for runs that were added between levels
     * @return a row for each run
     * @throws DesignException if no level or no range is known
     */
    public double[][] values(Coding coding) {
        return rows(Native.values(this, coding.text));
    }

    /**
     * The numbers on the unit scale.
     *
     * @return a row for each run, 0 .. 1
     * @throws DesignException if no level or no range is known
     */
    public double[][] unit() {
        return values(Coding.UNIT);
    }

    /**
     * The numbers in the factors' ranges.
     *
     * @return a row for each run
     * @throws DesignException if no level or no range is known
     */
    public double[][] physical() {
        return values(Coding.PHYSICAL);
    }

    /**
     * The numbers as they stand in the design's file.
     *
     * @return a row for each run
     */
    public double[][] written() {
        return rows(Native.values(this, "written"));
    }

    private double[][] rows(double[] values) {
        double[][] rows = new double[runs][];
        for (int run = 0; run < runs; ++run)
            rows[run] = Arrays.copyOfRange(values, run * factors.size(), (run + 1) * factors.size());
        return rows;
    }

    /**
     * The outcome of the search that made this object.
     *
     * @return empty for a design that was read, parsed, given by its numbers or interpreted
     */
    public Optional<Outcome> outcome() {
        return Optional.ofNullable(outcome);
    }

    /**
     * How the design came about: program, version, command, seed, end, rounds, settings, coding, factors, objective.
     * The command repeats the design without a clock, on one core; a start or an old design stands in it as "-",
     * standard input.
     *
     * @return a JSON object; {} where nothing is known
     */
    public String provenance() {
        return provenance;
    }

    /**
     * The course of the search.
     *
     * @return CSV with the columns seed (of several searches), round, seconds, objective; a header alone or nothing for
     *        a design that was not searched for
     */
    public String history() {
        return history;
    }

    /** The history where there is a course to draw: at least two points below the header. */
    String course() {
        return history.lines().count() > 2 ? history : "";
    }

    /**
     * The design file as CSV.
     *
     * @return its text
     */
    public String csv() {
        return csv;
    }

    /**
     * The design file as JSON.
     *
     * @return its text
     */
    public String json() {
        return Native.json(this);
    }

    /**
     * Writes the design file, JSON where the name ends in .json, else CSV. It appears whole or not at all.
     *
     * @param file its name
     * @throws DesignException if it cannot be written
     */
    public void write(Path file) {
        Native.write(this, file);
    }

    /**
     * Writes a page about the design, HTML, with the course of its search and 200 random designs beside it.
     *
     * @param file its name
     * @throws DesignException if it cannot be written
     */
    public void report(Path file) {
        report(file, 200);
    }

    /**
     * Writes a page about the design, HTML, with the course of its search where it has one.
     *
     * @param file its name
     * @param randomDesigns random designs beside it, 0 .. 100000
     * @throws IllegalArgumentException if their number is out of its range
     * @throws DesignException if the page cannot be written
     */
    public void report(Path file, int randomDesigns) {
        Native.report(this, file, checked(randomDesigns));
    }

    /**
     * Draws the design with gnuplot, which must be installed.
     *
     * @param file a name that ends in .svg, .png or .pdf
     * @throws IllegalArgumentException if the name has another end
     * @throws DesignException if it cannot be drawn or written
     */
    public void plot(Path file) {
        Native.plot(this, file);
    }

    /**
     * Scores the design by all measures, with the settings that it records and 200 random designs beside it.
     *
     * @return the scores
     * @throws DesignException if it has a single run
     */
    public Scores scores() {
        return Native.scores(this, new Native.Request(), 200);
    }

    /**
     * Scores the design by all measures.
     *
     * @param randomDesigns random Latin hypercubes to compare with, 0 .. 100000
     * @param overrides its settings p, distance, theta, weights and scaling go before those that the design records
     * @return the scores
     * @throws IllegalArgumentException if the number or a setting is out of its range or does not fit the design
     * @throws DesignException if the design has a single run
     */
    public Scores scores(int randomDesigns, LatinHypercube overrides) {
        return Native.scores(this, overrides.measureSettings(), checked(randomDesigns));
    }

    private static int checked(int randomDesigns) {
        if (randomDesigns < 0 || randomDesigns > 100_000)
            throw new IllegalArgumentException("randomDesigns: " + randomDesigns + " is not in 0 .. 100000");
        return randomDesigns;
    }

    /** Designs are equal if their files are. */
    @Override
    public boolean equals(Object other) {
        return other instanceof LatinHypercubeDesign && csv.equals(((LatinHypercubeDesign) other).csv);
    }

    @Override
    public int hashCode() {
        return csv.hashCode();
    }

    @Override
    public String toString() {
        return runs + " runs of " + factors + (outcome != null ? ", " + outcome : "");
    }
}
