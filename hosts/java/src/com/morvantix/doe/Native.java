package com.morvantix.doe;

import com.morvantix.doe.internal.NativeLibrary;
import java.nio.CharBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystems;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Consumer;
import java.util.stream.Collectors;

/**
 * The native methods, and what they call back. Text crosses the border as UTF-8, several texts as one with a zero
 * byte after each. A design crosses it as the text of its file; handles of the native library live within a call.
 */
final class Native {
    private Native() { }

    /** A request on its way to the native library. */
    static final class Request {
        private final List<byte[]> names = new ArrayList<>();
        private final List<Object> values = new ArrayList<>();
        private final List<byte[]> factors = new ArrayList<>();
        private final List<double[]> ranges = new ArrayList<>();
        private byte[] start;
        private byte[] old;
        private int added;

        /** Adds a setting: a String, or numbers as a list of Double. */
        Request set(String name, Object value) {
            if (value.equals(List.of()))
                throw new IllegalArgumentException(name + ": an empty list; it takes one value for all factors, or one "
                    + "for each");
            names.add(utf8(name));
            values.add(value instanceof String ? utf8((String) value)
                : ((List<?>) value).stream().mapToDouble(number -> (Double) number).toArray());
            return this;
        }

        Request factor(Factor factor) {
            factors.add(utf8(factor.name()));
            factors.add(utf8(factor.unit()));
            ranges.add(new double[] {factor.low(), factor.high()});
            return this;
        }

        Request start(LatinHypercubeDesign design) {
            start = utf8(design.csv());
            return this;
        }

        Request augment(LatinHypercubeDesign design, int runs) {
            old = utf8(design.csv());
            added = runs;
            return this;
        }

        /** As the native methods take it. */
        private Object[] parts() {
            return new Object[] {names.toArray(new byte[0][]), values.toArray(), factors.toArray(new byte[0][]),
                ranges.toArray(new double[0][]), start, old, new int[] {added}};
        }
    }

    /** Watches a search from the thread that runs it. */
    private static final class Watch {
        final Consumer<? super Progress> listener;
        final CancellationToken token;
        Throwable thrown;

        Watch(Consumer<? super Progress> listener, CancellationToken token) {
            this.listener = listener;
            this.token = token;
        }

        /** Leaves the interrupt status as it is. */
        boolean isOver() {
            return thrown != null || token.isCancelled() || Thread.currentThread().isInterrupted();
        }
    }

    static void check(Request request, boolean whole) {
        load();
        check(request.parts(), whole);
    }

    static LatinHypercubeDesign run(Request request, Consumer<? super Progress> listener, CancellationToken token) {
        load();
        Watch watch = new Watch(listener, token);
        try {
            return run(request.parts(), watch, watch.isOver());
        } finally {
            // What the listener threw goes before all else that came of it.
            if (watch.thrown != null)
                Native.<RuntimeException>rethrow(watch.thrown);
        }
    }

    static LatinHypercubeDesign read(Path file) {
        load();
        return read(name(file));
    }

    static LatinHypercubeDesign parse(String text) {
        load();
        return parse(utf8(text, true));
    }

    static LatinHypercubeDesign of(double[] values, int runs) {
        load();
        return set(values, runs);
    }

    static LatinHypercubeDesign interpret(LatinHypercubeDesign design, Request request) {
        load();
        return interpret(utf8(design.csv()), request.parts());
    }

    static LatinHypercubeDesign merge(List<Path> files, boolean incomplete) {
        load();
        return merge(files.stream().map(Native::name).toArray(byte[][]::new), incomplete);
    }

    static double[] values(LatinHypercubeDesign design, String coding) {
        return values(utf8(design.csv()), utf8(coding));
    }

    static String json(LatinHypercubeDesign design) {
        return text(json(utf8(design.csv())));
    }

    static void write(LatinHypercubeDesign design, Path file) {
        write(utf8(design.csv()), name(file));
    }

    static void report(LatinHypercubeDesign design, Path file, int randomDesigns) {
        report(utf8(design.csv()), utf8(design.course()), name(file), randomDesigns);
    }

    static void plot(LatinHypercubeDesign design, Path file) {
        plot(utf8(design.csv()), utf8(design.course()), name(file));
    }

    static Scores scores(LatinHypercubeDesign design, Request overrides, int randomDesigns) {
        return scores(utf8(design.csv()), overrides.parts(), randomDesigns);
    }

    static List<Setting> settings() {
        load();
        return allSettings();
    }

    static List<Double> numbers(double... numbers) {
        return Arrays.stream(numbers).boxed().collect(Collectors.toUnmodifiableList());
    }

    private static void load() {
        NativeLibrary.INTERFACE.load();
    }

    // ---- The native methods. Any of them may leave by what failure throws. ----

    private static native void check(Object[] request, boolean whole);

    private static native LatinHypercubeDesign run(Object[] request, Watch watch, boolean stopped);

    private static native LatinHypercubeDesign read(byte[] file);

    private static native LatinHypercubeDesign parse(byte[] text);

    private static native LatinHypercubeDesign set(double[] values, int runs);

    private static native LatinHypercubeDesign interpret(byte[] design, Object[] request);

    private static native LatinHypercubeDesign merge(byte[][] files, boolean incomplete);

    private static native double[] values(byte[] design, byte[] coding);

    private static native byte[] json(byte[] design);

    private static native void write(byte[] design, byte[] file);

    private static native void report(byte[] design, byte[] history, byte[] file, int randomDesigns);

    private static native void plot(byte[] design, byte[] history, byte[] file);

    private static native Scores scores(byte[] design, Object[] overrides, int randomDesigns);

    private static native List<Setting> allSettings();

    // ---- What they call. ----

    /** Throws what a status of the native library stands for. */
    private static void failure(int status, byte[] message) {
        switch (status) {
            case 1: throw new IllegalArgumentException(text(message));
            case 3: throw new OutOfMemoryError(text(message));
            default: throw new DesignException(text(message));
        }
    }

    /** Passes progress on, and keeps what the listener throws until the search has ended. True ends it. */
    private static boolean progress(Watch watch, double seconds, long searches, long running, long rounds,
                                    double initial, double best, long bestSeed, double bestSeconds) {
        try {
            if (!watch.isOver())
                watch.listener.accept(
                    new Progress(seconds, searches, running, rounds, initial, best, bestSeed, bestSeconds));
        } catch (Throwable thrown) {
            watch.thrown = thrown;
        }
        return watch.isOver();
    }

    /**
     * Makes a design.
     *
     * @param factors name and unit of each factor
     * @param numbers low, high and number of levels of each factor
     * @param levels null where none are known
     * @param noLevels why none are known
     * @param outcome null for a design that was not searched for
     */
    private static LatinHypercubeDesign design(int runs, byte[] factors, double[] numbers, int[] levels,
                                               byte[] noLevels, double[] outcome, byte[] remarks, byte[] provenance,
                                               byte[] history, byte[] csv) {
        List<String> labels = texts(factors);
        List<Factor> all = new ArrayList<>();
        int[] levelCounts = new int[numbers.length / 3];
        for (int i = 0; i < levelCounts.length; ++i) {
            all.add(new Factor(labels.get(2 * i), numbers[3 * i], numbers[3 * i + 1], labels.get(2 * i + 1)));
            levelCounts[i] = (int) numbers[3 * i + 2];
        }
        Outcome known = outcome == null ? null
            : new Outcome(outcome, text(remarks).lines().collect(Collectors.toUnmodifiableList()));
        return new LatinHypercubeDesign(runs, List.copyOf(all), levelCounts, levels, text(noLevels), known,
            text(provenance), text(history), text(csv));
    }

    /** Makes scores from key, label and place, value and mean of each measure. */
    private static Scores scores(byte[] labels, double[] numbers, byte[] table, byte[] json) {
        List<String> texts = texts(labels);
        List<Scores.Measure> measures = new ArrayList<>();
        for (int i = 0; i < numbers.length / 2; ++i)
            measures.add(new Scores.Measure(texts.get(3 * i), texts.get(3 * i + 1), numbers[2 * i], numbers[2 * i + 1],
                texts.get(3 * i + 2)));
        return new Scores(List.copyOf(measures), text(table), text(json));
    }

    /** Makes the list of settings from name and help, low, high and default of each. */
    private static List<Setting> settings(byte[] labels, double[] numbers) {
        List<String> texts = texts(labels);
        List<Setting> settings = new ArrayList<>();
        for (int i = 0; i < numbers.length / 3; ++i)
            settings.add(new Setting(texts.get(2 * i), texts.get(2 * i + 1), numbers[3 * i], numbers[3 * i + 1],
                numbers[3 * i + 2]));
        return List.copyOf(settings);
    }

    // ---- Text. ----

    private static byte[] utf8(String text) {
        return utf8(text, false);
    }

    private static byte[] utf8(String text, boolean zeroAllowed) {
        if (!zeroAllowed && text.indexOf('\0') >= 0)
            throw new IllegalArgumentException("text with a zero character: " + text.replace("\0", "\\0"));
        try {
            var bytes = StandardCharsets.UTF_8.newEncoder().encode(CharBuffer.wrap(text));
            return Arrays.copyOf(bytes.array(), bytes.limit());
        } catch (CharacterCodingException halfPair) {
            throw new IllegalArgumentException("text with half a surrogate pair: " + text, halfPair);
        }
    }

    private static byte[] name(Path file) {
        if (file.getFileSystem() != FileSystems.getDefault())
            throw new IllegalArgumentException("file: " + file + " is not of the default file system");
        return utf8(file.toString());
    }

    private static String text(byte[] utf8) {
        return new String(utf8, StandardCharsets.UTF_8);
    }

    private static List<String> texts(byte[] utf8) {
        return Arrays.asList(text(utf8).split("\0", -1));
    }

    @SuppressWarnings("unchecked")
    private static <T extends Throwable> void rethrow(Throwable thrown) throws T {
        throw (T) thrown;
    }
}
