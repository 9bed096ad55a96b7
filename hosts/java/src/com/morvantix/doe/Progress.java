package com.morvantix.doe;

/** How things stand in a search. */
public final class Progress {
    private final double seconds;
    private final long searches;
    private final long running;
    private final long rounds;
    private final double initial;
    private final double best;
    private final long bestSeed;
    private final double bestSeconds;

    Progress(double seconds, long searches, long running, long rounds, double initial, double best, long bestSeed,
             double bestSeconds) {
        this.seconds = seconds;
        this.searches = searches;
        this.running = running;
        this.rounds = rounds;
        this.initial = initial;
        this.best = best;
        this.bestSeed = bestSeed;
        this.bestSeconds = bestSeconds;
    }

    /**
     * Time since the search began.
     *
     * @return in seconds
     */
    public double seconds() {
        return seconds;
    }

    /**
     * Searches of the campaign that are finished or cut.
     *
     * @return their number
     */
    public long searches() {
        return searches;
    }

    /**
     * Searches at work.
     *
     * @return their number
     */
    public long running() {
        return running;
    }

    /**
     * Rounds of the searches at work.
     *
     * @return their number
     */
    public long rounds() {
        return rounds;
    }

    /**
     * Objective of a start.
     *
     * @return NaN while none is known
     */
    public double initial() {
        return initial;
    }

    /**
     * Lowest objective so far.
     *
     * @return NaN while there is none
     */
    public double best() {
        return best;
    }

    /**
     * Seed of the search that found the best.
     *
     * @return 0 .. 4294967294
     */
    public long bestSeed() {
        return bestSeed;
    }

    /**
     * When the best was found.
     *
     * @return in seconds since the search began
     */
    public double bestSeconds() {
        return bestSeconds;
    }

    @Override
    public String toString() {
        return "best " + best + " after " + seconds + " s, " + searches + " searches";
    }
}
