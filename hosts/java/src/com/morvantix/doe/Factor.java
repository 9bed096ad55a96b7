package com.morvantix.doe;

import java.util.Objects;

/** A factor of a design: a column's name, and the range and unit of its physical values, if it has them. */
public final class Factor {
    private final String name;
    private final double low;
    private final double high;
    private final String unit;

    /** Does not check: for factors that the native library tells. */
    Factor(String name, double low, double high, String unit) {
        this.name = name;
        this.low = low;
        this.high = high;
        this.unit = unit;
    }

    /**
     * A factor without a range.
     *
     * @param name not empty and not a number
     * @return the factor
     * @throws IllegalArgumentException if the name cannot be used
     */
    public static Factor of(String name) {
        return checked(name, Double.NaN, Double.NaN, "");
    }

    /**
     * A factor with a range.
     *
     * @param name not empty and not a number
     * @param low the lower end of its range
     * @param high the upper end, above {@code low}
     * @return the factor
     * @throws IllegalArgumentException if name or range cannot be used
     */
    public static Factor of(String name, double low, double high) {
        return of(name, low, high, "");
    }

    /**
     * A factor with a range and a unit.
     *
     * @param name not empty and not a number
     * @param low the lower end of its range
     * @param high the upper end, above {@code low}
     * @param unit of the physical values; may be empty
     * @return the factor
     * @throws IllegalArgumentException if name or range cannot be used
     */
    public static Factor of(String name, double low, double high, String unit) {
        // The native library takes two NaN for no range.
        if (!Double.isFinite(low) || !Double.isFinite(high))
            throw new IllegalArgumentException("factor " + name + ": range " + low + " .. " + high
                + "; both ends must be finite, low < high");
        return checked(name, low, high, unit);
    }

    private static Factor checked(String name, double low, double high, String unit) {
        Factor factor = new Factor(Objects.requireNonNull(name, "name"), low, high,
            Objects.requireNonNull(unit, "unit"));
        Native.check(new Native.Request().factor(factor), false);
        return factor;
    }

    /**
     * The factor's name.
     *
     * @return the name, not empty
     */
    public String name() {
        return name;
    }

    /**
     * Says whether the factor has a range.
     *
     * @return whether {@link #low} and {@link #high} are numbers
     */
    public boolean hasRange() {
        return !Double.isNaN(low);
    }

    /**
     * The lower end of the range.
     *
     * @return in the factor's unit; NaN without a range
     */
    public double low() {
        return low;
    }

    /**
     * The upper end of the range.
     *
     * @return in the factor's unit; NaN without a range
     */
    public double high() {
        return high;
    }

    /**
     * The unit of the physical values.
     *
     * @return the unit; empty where none is known
     */
    public String unit() {
        return unit;
    }

    @Override
    public boolean equals(Object other) {
        if (!(other instanceof Factor))
            return false;
        Factor factor = (Factor) other;
        return name.equals(factor.name) && unit.equals(factor.unit) && Double.compare(low, factor.low) == 0
            && Double.compare(high, factor.high) == 0;
    }

    @Override
    public int hashCode() {
        return Objects.hash(name, low, high, unit);
    }

    @Override
    public String toString() {
        return hasRange() ? name + "=" + low + ":" + high + (unit.isEmpty() ? "" : ":" + unit) : name;
    }
}
