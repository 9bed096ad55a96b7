package com.morvantix.doe;

import java.util.Map;
import java.util.Objects;
import java.util.TreeMap;

/** What a search minimises, with its own settings. */
public final class Criterion {
    /** The names of a criterion's settings, all of which a request replaces when it gets another criterion. */
    static final String[] SETTINGS = {"criterion", "p", "distance", "theta"};

    private final Map<String, Object> settings;

    private Criterion(Map<String, Object> settings) {
        this.settings = settings;
    }

    private static Criterion named(String name) {
        return new Criterion(Map.of("criterion", name));
    }

    private Criterion with(String name, Object value) {
        Native.check(new Native.Request().set(name, value), false);
        Map<String, Object> more = new TreeMap<>(settings);
        more.put(name, value);
        return new Criterion(more);
    }

    /**
     * Phi-p with the exponent 20: the p-th root of the sum of the inverse p-th powers of the distances of all pairs of
     * runs.
     *
     * @return the criterion that requests have by default
     */
    public static Criterion phiP() {
        return named("phip");
    }

    /**
     * Phi-p with another exponent. Powers are built by squaring over the bits of the exponent from the low end, which
     * applies 18 for 20, 41 for 50 and 73 for 100.
     *
     * @param p 0 .. 100; 0 is {@link #maximin}
     * @return the criterion
     * @throws IllegalArgumentException if p is out of its range
     */
    public static Criterion phiP(int p) {
        return named("phip").with("p", Native.numbers(p));
    }

    /**
     * The inverse of the least distance of two runs.
     *
     * @return the criterion
     */
    public static Criterion maximin() {
        return phiP(0);
    }

    /**
     * Minus the logarithm of the determinant of the runs' correlation matrix, with the parameter 5, or 3 with
     * rectangular distances.
     *
     * @return the criterion
     */
    public static Criterion entropy() {
        return named("entropy");
    }

    /**
     * Entropy with other parameters.
     *
     * @param theta correlation parameters, 1e-40 .. 1000: one for all factors, or one for each
     * @return the criterion
     * @throws IllegalArgumentException if there is none, or one is out of its range
     */
    public static Criterion entropy(double... theta) {
        return entropy().with("theta", Native.numbers(theta));
    }

    /**
     * The centered L2 discrepancy, squared.
     *
     * @return the criterion
     */
    public static Criterion centeredL2() {
        return named("cd2");
    }

    /**
     * Departure from orthogonality, for balanced designs: it is the same for all Latin hypercubes. A request with it
     * also needs {@link LatinHypercube#balanced} or a start.
     *
     * @return the criterion
     */
    public static Criterion a2() {
        return named("a2");
    }

    /**
     * This criterion with rectangular distances (sums of absolute differences) instead of Euclidean ones; for phi-p,
     * maximin and entropy.
     *
     * @return a changed copy
     */
    public Criterion rectangular() {
        return with("distance", "rectangular");
    }

    Map<String, Object> settings() {
        return settings;
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof Criterion && settings.equals(((Criterion) other).settings);
    }

    @Override
    public int hashCode() {
        return Objects.hash(settings);
    }

    @Override
    public String toString() {
        return settings.toString();
    }
}
