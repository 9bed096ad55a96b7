package com.morvantix.doe;

import java.util.List;

/** A setting that a request can be told by name, with {@link LatinHypercube#set(String, String)} for one. */
public final class Setting {
    private final String name;
    private final String help;
    private final double low;
    private final double high;
    private final double fallback;

    Setting(String name, String help, double low, double high, double fallback) {
        this.name = name;
        this.help = help;
        this.low = low;
        this.high = high;
        this.fallback = fallback;
    }

    /**
     * All settings of this version.
     *
     * @return in the order of the program's help
     */
    public static List<Setting> all() {
        return Native.settings();
    }

    /**
     * The setting's name.
     *
     * @return the program's option without its dashes
     */
    public String name() {
        return name;
    }

    /**
     * What the setting does: a sentence, range or choices, default.
     *
     * @return not empty
     */
    public String help() {
        return help;
    }

    /**
     * The least number that it can be.
     *
     * @return NaN where there is none, or where it depends on the design
     */
    public double low() {
        return low;
    }

    /**
     * The largest number that it can be.
     *
     * @return NaN where there is none, or where it depends on the design
     */
    public double high() {
        return high;
    }

    /**
     * The number that it is by default.
     *
     * @return NaN where there is none, or where it depends on the design
     */
    public double fallback() {
        return fallback;
    }

    @Override
    public String toString() {
        return name + ": " + help;
    }
}
