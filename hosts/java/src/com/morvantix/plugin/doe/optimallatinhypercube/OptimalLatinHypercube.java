package com.morvantix.plugin.doe.optimallatinhypercube;

import com.morvantix.doe.internal.NativeLibrary;
import java.util.function.Consumer;

/**
 * Builds optimal Latin hypercube designs with the native library, one call of its native method each. New programs use
 * {@link com.morvantix.doe.LatinHypercube}, which has every setting, exact levels, and equal designs for equal
 * requests.
 *
 * <p>A host either hands a listener to {@link #setStatusListener} and calls {@link #requestStop} to end a run early,
 * or overrides {@link #addStatusMessage} and {@link #getStopFlag}: the library looks both up by name on the object
 * that {@link #optdoe} is called on, and calls them on the calling thread. What they throw ends the run and leaves
 * {@code optdoe} as it was thrown.
 *
 * <p><b>Threads.</b> Calls on different objects may run at the same time. Two calls at once on one object share its
 * stop flag and its listener.
 *
 * <p><b>Equal seeds.</b> The library has one counter for the whole process that takes the search round the factors;
 * every search advances it and nothing resets it. With two or more factors a seed therefore repeats its design in the
 * first search of a process; a later search repeats it only if the counter, modulo the number of factors, is where it
 * was. Searches that run at the same time share the counter, and a search that the clock or a stop request ended
 * depends on how far it came. With one factor there is no search, and equal seeds give equal columns always.
 * {@link com.morvantix.doe.LatinHypercube} has no such counter: there, equal requests give equal designs whatever ran
 * before in the process.
 */
public class OptimalLatinHypercube {
    private volatile boolean stopRequested;
    private volatile Consumer<String> statusListener = line -> { };

    /**
     * Loads the native library, if this is the first object.
     *
     * @throws UnsatisfiedLinkError if it cannot be loaded; the message names the platform, every place that was tried
     *         and the system property {@code optimallatinhypercube.library} that names the library's file
     */
    public OptimalLatinHypercube() {
        NativeLibrary.ENTRY.load();
    }

    /**
     * Builds one design.
     *
     * <p>The local references of the callbacks, two for each status line and one for each poll at most, stay until the
     * call returns. With {@code -Xcheck:jni} the virtual machine therefore remarks "JNI local refs: 33, exceeds
     * capacity: 32". That is no fault: their number is bounded by that of the rounds, and all of them go with the call.
     *
     * @param nsamples number of sample points, the rows; at least 2
     * @param nfactors number of factors, the columns; at least 1
     * @param maxTimeMinutes time budget of the search in minutes; 0 stands for 10000 seconds, and so does a budget
     *        above 1000000 seconds
     * @param seed its low 32 bits seed the random numbers; if all of them are set, the clock does
     * @return the levels 1 to nsamples, row by row, each truncated toward zero: a level that rounding left just below
     *         a whole number comes back as the level beneath it, for the first time with 23 sample points; or null
     *         after a status line that says which argument was refused
     * @throws OutOfMemoryError if storage is exhausted
     * @throws RuntimeException on an internal fault of the library
     */
    public native int[] optdoe(int nsamples, int nfactors, double maxTimeMinutes, long seed);

    /**
     * Says whether the run shall end; the library asks once in every round of the search.
     *
     * @return 0 to go on, anything else to stop; here 1 from {@link #requestStop} until {@link #clearStop}
     */
    public int getStopFlag() {
        return stopRequested ? 1 : 0;
    }

    /**
     * Takes one status line of the run; here it goes to the listener.
     *
     * @param line text of the line; some lines begin or end with a line feed
     */
    public void addStatusMessage(String line) {
        statusListener.accept(line);
    }

    /**
     * Sets who receives the status lines.
     *
     * @param listener called on the thread of the run; null for nobody
     */
    public final void setStatusListener(Consumer<String> listener) {
        statusListener = listener != null ? listener : line -> { };
    }

    /** Asks the run in progress, and every later one until {@link #clearStop}, to end with the best design so far. */
    public final void requestStop() {
        stopRequested = true;
    }

    /** Takes the stop request back. A run does not do so itself: a request made before it begins counts. */
    public final void clearStop() {
        stopRequested = false;
    }
}
