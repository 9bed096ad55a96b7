package com.morvantix.doe;

import java.util.List;

/** What came of the search that made a design. */
public final class Outcome {
    private final double[] numbers;
    private final List<String> remarks;

    /** Keeps the array: objective, initial, seconds, searches, rounds, seed, stopped. */
    Outcome(double[] numbers, List<String> remarks) {
        this.numbers = numbers;
        this.remarks = remarks;
    }

    /**
     * Objective of the design as it is written.
     *
     * @return NaN where the criterion does not apply
     */
    public double objective() {
        return numbers[0];
    }

    /**
     * Objective of the start of the search that found the design.
     *
     * @return NaN where it is not known
     */
    public double initial() {
        return numbers[1];
    }

    /**
     * Time that everything took.
     *
     * @return in seconds
     */
    public double seconds() {
        return numbers[2];
    }

    /**
     * Searches that were made.
     *
     * @return their number
     */
    public long searches() {
        return (long) numbers[3];
    }

    /**
     * Rounds of the search that found the design.
     *
     * @return their number
     */
    public long rounds() {
        return (long) numbers[4];
    }

    /**
     * Seed of the search that found the design, which repeats it.
     *
     * @return 0 .. 4294967294
     */
    public long seed() {
        return (long) numbers[5];
    }

    /**
     * Says whether an interrupt, a token or a failed listener ended the search.
     *
     * @return whether it was ended from outside
     */
    public boolean stopped() {
        return numbers[6] != 0;
    }

    /**
     * Remarks of the search that are no errors, for one that no round improved the start.
     *
     * @return a line each; empty if there are none
     */
    public List<String> remarks() {
        return remarks;
    }

    @Override
    public String toString() {
        return "objective " + objective() + ", seed " + seed() + ", " + searches() + " searches in " + seconds() + " s";
    }
}
