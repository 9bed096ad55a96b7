package com.morvantix.plugin.doe.optimallatinhypercube;

/** The class as a host might have it that was built without getStopFlag. */
public class OptimalLatinHypercube {
    public OptimalLatinHypercube(String library) {
        System.load(library);
    }

    public native int[] optdoe(int nsamples, int nfactors, double maxTimeMinutes, long seed);

    public void addStatusMessage(String line) { }
}
