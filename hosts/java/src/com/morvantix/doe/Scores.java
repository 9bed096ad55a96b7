package com.morvantix.doe;

import java.util.List;
import java.util.stream.Collectors;

/** How good a design is by every measure, and how good random designs of its size are. */
public final class Scores {
    private final List<Measure> measures;
    private final String text;
    private final String json;

    Scores(List<Measure> measures, String text, String json) {
        this.measures = measures;
        this.text = text;
        this.json = json;
    }

    /**
     * All measures.
     *
     * @return in the order of the table
     */
    public List<Measure> measures() {
        return measures;
    }

    /**
     * One measure.
     *
     * @param key its name in JSON
     * @return the measure
     * @throws IllegalArgumentException if there is none of this name; the message lists those there are
     */
    public Measure measure(String key) {
        return measures.stream().filter(measure -> measure.key.equals(key)).findFirst()
            .orElseThrow(() -> new IllegalArgumentException("measure: " + key + "; there are "
                + measures.stream().map(Measure::key).collect(Collectors.joining(", "))));
    }

    /**
     * The scores as JSON.
     *
     * @return an object
     */
    public String json() {
        return json;
    }

    /** The scores as a table for people. */
    @Override
    public String toString() {
        return text;
    }

    /** One measure of a design. */
    public static final class Measure {
        private final String key;
        private final String label;
        private final double value;
        private final double randomMean;
        private final String where;

        Measure(String key, String label, double value, double randomMean, String where) {
            this.key = key;
            this.label = label;
            this.value = value;
            this.randomMean = randomMean;
            this.where = where;
        }

        /**
         * The measure's name in JSON.
         *
         * @return not empty
         */
        public String key() {
            return key;
        }

        /**
         * The measure's name for people.
         *
         * @return not empty
         */
        public String label() {
            return label;
        }

        /**
         * Its value for the design.
         *
         * @return NaN where it does not apply
         */
        public double value() {
            return value;
        }

        /**
         * The mean of its values for random designs.
         *
         * @return NaN where it does not apply or none were asked for
         */
        public double randomMean() {
            return randomMean;
        }

        /**
         * The pair of runs or of factors that the measure is taken at.
         *
         * @return empty where there is none
         */
        public String where() {
            return where;
        }

        @Override
        public String toString() {
            return key + "=" + value;
        }
    }
}
