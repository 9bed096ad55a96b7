package com.morvantix.plugin.doe.optimallatinhypercube;

import java.net.URL;
import java.net.URLClassLoader;
import java.util.List;

/**
 * The classes under test in a class loader of their own. It extracts and loads a copy of the native library of its
 * own, whose process-wide factor counter is at its start, as in a new process.
 */
final class FreshLibrary implements AutoCloseable {
    private final URLClassLoader loader = new URLClassLoader(
        new URL[] {placeOf(OptimalLatinHypercube.class), placeOf(RecordingHost.class)},
        ClassLoader.getPlatformClassLoader());

    /** What a call returned, and the lines that came before. */
    static final class Result {
        final int[] levels;
        final List<String> lines;

        Result(int[] levels, List<String> lines) {
            this.levels = levels;
            this.lines = lines;
        }
    }

    Result call(int nsamples, int nfactors, double minutes, long seed, int pollsBeforeStop)
        throws ReflectiveOperationException {
        Class<?> type = loader.loadClass(RecordingHost.class.getName());
        Object host = type.getConstructor(int.class).newInstance(pollsBeforeStop);
        Object levels = type.getMethod("optdoe", int.class, int.class, double.class, long.class)
            .invoke(host, nsamples, nfactors, minutes, seed);
        @SuppressWarnings("unchecked")
        List<String> lines = (List<String>) type.getField("lines").get(host);
        return new Result((int[]) levels, lines);
    }

    @Override
    public void close() throws java.io.IOException {
        loader.close();
    }

    static URL placeOf(Class<?> type) {
        return type.getProtectionDomain().getCodeSource().getLocation();
    }
}
