package com.morvantix.doe;

/** What the numbers of a design mean. */
public enum Coding {
    /** Levels, from 1 on. */
    LEVELS("levels"),
    /** The unit scale, 0 to 1. */
    UNIT("unit"),
    /** The factors' own ranges. */
    PHYSICAL("physical");

    final String text;

    Coding(String text) {
        this.text = text;
    }
}
