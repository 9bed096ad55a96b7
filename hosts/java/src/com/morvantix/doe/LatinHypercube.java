package com.morvantix.doe;

import java.math.BigDecimal;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.TreeMap;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.Executor;
import java.util.function.Consumer;

/**
 * A request for an optimal Latin hypercube design. It never changes: each method that sets something returns a changed
 * copy.
 *
 * <pre>{@code
 * LatinHypercubeDesign design = LatinHypercube.of(50)
 *     .factor("Temp", 20, 80, "C").factor("Flow", 1, 5, "l/h")
 *     .time(Duration.ofSeconds(10)).seed(5)
 *     .run();
 * }</pre>
 *
 * <p><b>Equal requests give equal designs</b>, whatever ran before in the process or runs beside them, unless a clock
 * or a stop ended the search. A request without a {@link #seed} takes one from the clock; the outcome tells it. The
 * design is the one that the program {@code optdoe} makes with the same settings.
 *
 * <p><b>Errors.</b> A method that sets a value throws {@link IllegalArgumentException} if the value is out of its
 * range. What fits no other setting is refused by {@link #check} and by each {@code run}, before anything begins. A
 * value for all factors or one for each is asked for where the parameter is a list.
 *
 * <p><b>The end of a search.</b> It ends by itself, by {@link #time}, by a {@link CancellationToken}, by an interrupt
 * of the thread that runs it, or by {@link CompletableFuture#cancel} of an asynchronous one. Token and interrupt are
 * noticed about 20 times a second; the result is the best design so far, and the interrupt status of the thread is
 * kept. A search that begins on an interrupted thread or with a cancelled token gives its start. A listener that throws
 * ends the search as well, and what it threw leaves {@code run}.
 */
public final class LatinHypercube {
    /** How a search moves. */
    public enum Method {
        /** Threshold accepting; the default. */
        THRESHOLD("threshold"),
        /** Sweeps of best exchanges, with restarts. */
        GREEDY("greedy"),
        /** Simulated annealing. */
        ANNEALING("annealing");

        private final String text;

        Method(String text) {
            this.text = text;
        }
    }

    /** How columns are scaled during the search. */
    public enum Scaling {
        /** Not at all. */
        NONE("none"),
        /** To 0 .. 1; the default but for centered L2. */
        RANGE("range"),
        /** Levels at cell centres; the default of centered L2. */
        CENTRES("centres");

        private final String text;

        Scaling(String text) {
            this.text = text;
        }
    }

    /** Where a level stands in its range. */
    public enum Placement {
        /** Level l of n at (l - 1/2)/n; the default. */
        CENTRES("centres"),
        /** Level l of n at (l - 1)/(n - 1): the first and the last level are the ends of the range. */
        ENDS("ends");

        private final String text;

        Placement(String text) {
            this.text = text;
        }
    }

    /** Settings by name, a String or a list of Double each. Neither these nor the factors are ever changed. */
    private final Map<String, Object> settings;
    private final List<Factor> factors;
    private final LatinHypercubeDesign start;
    private final LatinHypercubeDesign old;
    private final int added;

    private LatinHypercube(Map<String, Object> settings, List<Factor> factors, LatinHypercubeDesign start,
                           LatinHypercubeDesign old, int added) {
        this.settings = settings;
        this.factors = factors;
        this.start = start;
        this.old = old;
        this.added = added;
    }

    private static LatinHypercube nothing() {
        return new LatinHypercube(Map.of(), List.of(), null, null, 0);
    }

    /**
     * A request for a design. Its factors follow, by {@link #factor} or {@link #factors}.
     *
     * @param runs at least 2
     * @return the request, everything else at its default
     */
    public static LatinHypercube of(int runs) {
        return nothing().numbers("runs", runs);
    }

    /**
     * A request to improve a design instead of a random one. A design of another program is taken as its values are,
     * and these are only exchanged within their columns.
     *
     * @param start the design to begin with, which also gives runs and factors
     * @return the request, everything else at its default
     */
    public static LatinHypercube from(LatinHypercubeDesign start) {
        return new LatinHypercube(Map.of(), List.of(), Objects.requireNonNull(start, "start"), null, 0);
    }

    /**
     * A request to add runs to a design, whose own stay as they are. The search scores all runs together and moves the
     * new ones only, which take strata that the old ones leave empty. Not with the criterion A2, {@link #scaling} and
     * {@link #placement}.
     *
     * @param old the design to add to
     * @param added runs to add, at least 1
     * @return the request, everything else at its default
     */
    public static LatinHypercube augment(LatinHypercubeDesign old, int added) {
        if (added < 1)
            throw new IllegalArgumentException("added: " + added + "; it must be at least 1");
        return new LatinHypercube(Map.of(), List.of(), null, Objects.requireNonNull(old, "old"), added);
    }

    /**
     * The number of factors, where they have no names: they are called x1, x2 and so on.
     *
     * @param count at least 1
     * @return a changed copy
     */
    public LatinHypercube factors(int count) {
        return numbers("factors", count);
    }

    /**
     * Adds a factor without a range.
     *
     * @param name not empty, not a number, of no other factor
     * @return a changed copy
     */
    public LatinHypercube factor(String name) {
        return factor(Factor.of(name));
    }

    /**
     * Adds a factor with a range.
     *
     * @param name not empty, not a number, of no other factor
     * @param low the lower end of its range
     * @param high the upper end, above {@code low}
     * @return a changed copy
     */
    public LatinHypercube factor(String name, double low, double high) {
        return factor(Factor.of(name, low, high));
    }

    /**
     * Adds a factor with a range and a unit.
     *
     * @param name not empty, not a number, of no other factor
     * @param low the lower end of its range
     * @param high the upper end, above {@code low}
     * @param unit of the physical values; may be empty
     * @return a changed copy
     */
    public LatinHypercube factor(String name, double low, double high, String unit) {
        return factor(Factor.of(name, low, high, unit));
    }

    /**
     * Adds a factor.
     *
     * @param factor with the name of no other
     * @return a changed copy
     */
    public LatinHypercube factor(Factor factor) {
        if (factors.stream().anyMatch(other -> other.name().equals(factor.name())))
            throw new IllegalArgumentException("factor: " + factor.name() + " is the name of another factor");
        List<Factor> more = new ArrayList<>(factors);
        more.add(factor);
        return new LatinHypercube(settings, more, start, old, added);
    }

    /**
     * What is minimised; phi-p by default.
     *
     * @param criterion with its own settings
     * @return a changed copy
     */
    public LatinHypercube criterion(Criterion criterion) {
        Map<String, Object> more = new TreeMap<>(settings);
        more.keySet().removeAll(Arrays.asList(Criterion.SETTINGS));
        more.putAll(criterion.settings());
        return new LatinHypercube(more, factors, start, old, added);
    }

    /**
     * Weights of the factors.
     *
     * @param weights 1e-40 .. 1, by default 1; a factor of weight up to 1e-15 is left out
     * @return a changed copy
     */
    public LatinHypercube weights(double... weights) {
        return numbers("weights", weights);
    }

    /**
     * How columns are scaled during the search.
     *
     * @param scaling by default {@link Scaling#RANGE}, for centered L2 {@link Scaling#CENTRES}
     * @return a changed copy
     */
    public LatinHypercube scaling(Scaling scaling) {
        return set("scaling", scaling.text);
    }

    /**
     * Ends as soon as the objective reaches a value.
     *
     * @param target -1e20 .. 1e20, by default -1e20; for A2 from 0 and 0
     * @return a changed copy
     */
    public LatinHypercube target(double target) {
        return numbers("target", target);
    }

    /**
     * Uses the target with the other sign.
     *
     * @return a changed copy
     */
    public LatinHypercube negateTarget() {
        return numbers("negate-target", 1);
    }

    /**
     * How the search moves.
     *
     * @param method by default {@link Method#THRESHOLD}
     * @return a changed copy
     */
    public LatinHypercube method(Method method) {
        return set("method", method.text);
    }

    /**
     * Searches for this long on all cores and gives the best design. With {@link #starts} it is a limit: what comes
     * first ends the campaign. Without it one search is made, which ends by itself.
     *
     * @param time 0.0001 .. 1000000 seconds
     * @return a changed copy
     */
    public LatinHypercube time(Duration time) {
        return numbers("time",
            BigDecimal.valueOf(time.getSeconds()).add(BigDecimal.valueOf(time.getNano(), 9)).doubleValue());
    }

    /**
     * Rounds of a search, or moves for annealing.
     *
     * @param count 1 .. 100000000, by default 2 runs x factors, at least 100
     * @return a changed copy
     */
    public LatinHypercube iterations(int count) {
        return numbers("iterations", count);
    }

    /**
     * Moves a round of the threshold method.
     *
     * @param count 1 .. 100000000, by default 10 to 100 by the size of the design
     * @return a changed copy
     */
    public LatinHypercube moves(int count) {
        return numbers("moves", count);
    }

    /**
     * Candidate exchanges a move of the threshold method.
     *
     * @param count 1 .. runs (runs - 1) / 2, by default 50
     * @return a changed copy
     */
    public LatinHypercube pairs(int count) {
        return numbers("pairs", count);
    }

    /**
     * Examines every candidate exchange.
     *
     * @return a changed copy
     */
    public LatinHypercube allPairs() {
        return numbers("all-pairs", 1);
    }

    /**
     * Restarts of the greedy method.
     *
     * @param count 0 .. 500000, by default 30
     * @return a changed copy
     */
    public LatinHypercube restarts(int count) {
        return numbers("restarts", count);
    }

    /**
     * Starting threshold or temperature.
     *
     * @param threshold 0 .. 1e200, by default from the objective of the start
     * @return a changed copy
     */
    public LatinHypercube threshold(double threshold) {
        return numbers("threshold", threshold);
    }

    /**
     * Factor by which annealing lowers its temperature.
     *
     * @param cooling 0.5 .. 0.999, by default from the number of moves
     * @return a changed copy
     */
    public LatinHypercube cooling(double cooling) {
        return numbers("cooling", cooling);
    }

    /**
     * Least improvement that counts.
     *
     * @param tolerance 1e-15 .. 0.1, by default from the objective of the start
     * @return a changed copy
     */
    public LatinHypercube tolerance(double tolerance) {
        return numbers("tolerance", tolerance);
    }

    /**
     * How often factors are moved.
     *
     * @param shares 0 .. 1, by default 1; a factor with share 0 stays as it is
     * @return a changed copy
     */
    public LatinHypercube shares(double... shares) {
        return numbers("shares", shares);
    }

    /**
     * Draws the factor of a move by the shares instead of taking the factors in turn.
     *
     * @return a changed copy
     */
    public LatinHypercube weightedChoice() {
        return numbers("weighted-choice", 1);
    }

    /**
     * Level groups of the factors; exchanges then also move whole groups of neighbouring levels.
     *
     * @param groups 1 .. runs, each a divisor of runs below runs, by default 1
     * @return a changed copy
     */
    public LatinHypercube groups(int... groups) {
        return numbers("levels", Arrays.stream(groups).asDoubleStream().toArray());
    }

    /**
     * Searches from the start as it is, without random re-arrangements before.
     *
     * @return a changed copy
     */
    public LatinHypercube noPreImprovement() {
        return numbers("no-pre-improvement", 1);
    }

    /**
     * A number that the library keeps with its settings; it steers nothing.
     *
     * @param mode 0 .. 2, by default 0
     * @return a changed copy
     */
    public LatinHypercube auxiliary(int mode) {
        return numbers("auxiliary", mode);
    }

    /**
     * Seeds the random numbers.
     *
     * @param seed 0 .. 4294967294; without one the clock gives it
     * @return a changed copy
     */
    public LatinHypercube seed(long seed) {
        return numbers("seed", seed);
    }

    /**
     * Starts from random columns with these numbers of levels, each level equally often.
     *
     * @param levels each divides the number of runs
     * @return a changed copy
     */
    public LatinHypercube balanced(int... levels) {
        return numbers("balanced", Arrays.stream(levels).asDoubleStream().toArray());
    }

    /**
     * Keeps the design symmetric: runs form pairs whose levels add to runs + 1 in every factor.
     *
     * @return a changed copy
     */
    public LatinHypercube symmetric() {
        return numbers("symmetric", 1);
    }

    /**
     * Makes exactly so many searches, with the seeds from {@link #seed} on, each ended by its own rounds; the best one
     * counts. The result does not depend on jobs, machines or time.
     *
     * @param count at least 1
     * @return a changed copy
     */
    public LatinHypercube starts(long count) {
        return numbers("starts", count);
    }

    /**
     * Searches at the same time.
     *
     * @param count 1 .. 4096, by default the cores that the process may use
     * @return a changed copy
     */
    public LatinHypercube jobs(int count) {
        return numbers("jobs", count);
    }

    /**
     * A search of so many rounds that chooses its methods, as {@link #time} plans them by itself.
     *
     * @param rounds at least 1
     * @return a changed copy
     */
    public LatinHypercube effort(long rounds) {
        return numbers("effort", rounds);
    }

    /**
     * Ends the search after a round, as a stop or a time limit does.
     *
     * @param rounds 0 gives the start as it is
     * @return a changed copy
     */
    public LatinHypercube stopAfter(long rounds) {
        return numbers("stop-after", rounds);
    }

    /**
     * Writes a line for each finished search, which {@link #resume} and {@link LatinHypercubeDesign#merge} read.
     *
     * @param file must not exist with content
     * @return a changed copy
     */
    public LatinHypercube results(Path file) {
        return set("results", file.toString());
    }

    /**
     * Goes on from a file of {@link #results}: searches that it holds are not made again, and new ones are added to it.
     *
     * @param file the file
     * @return a changed copy
     */
    public LatinHypercube resume(Path file) {
        return set("resume", file.toString());
    }

    /**
     * Makes a part of the starts, for several machines; {@link LatinHypercubeDesign#merge} puts them together.
     *
     * @param part the number of this one, from 1 to {@code parts}
     * @param parts how many there are, at least 1
     * @return a changed copy
     */
    public LatinHypercube shard(int part, int parts) {
        return set("shard", part + "/" + parts);
    }

    /**
     * What is written.
     *
     * @param coding by default physical with ranges, else levels. With {@link #augment}: what the numbers of the old
     *        design mean, where it does not tell
     * @return a changed copy
     */
    public LatinHypercube coding(Coding coding) {
        return set("coding", coding.text);
    }

    /**
     * Where a level stands in its range.
     *
     * @param placement by default {@link Placement#CENTRES}
     * @return a changed copy
     */
    public LatinHypercube placement(Placement placement) {
        return set("placement", placement.text);
    }

    /**
     * Writes the levels that the native method {@code optdoe} returns, truncated, instead of the exact ones.
     *
     * @return a changed copy
     */
    public LatinHypercube entryLevels() {
        return numbers("entry-levels", 1);
    }

    /**
     * Sets by name.
     *
     * @param name one of {@link Setting#all}, or runs, factors, seed, time (a limit such as "30s"), starts, effort,
     *        stop-after, jobs, shard, results, resume, balanced, coding, placement, entry-levels
     * @param text as the program's option takes it
     * @return a changed copy
     */
    public LatinHypercube set(String name, String text) {
        return with(name, Objects.requireNonNull(text, "text"));
    }

    /**
     * Sets by name.
     *
     * @param name as for {@link #set(String, String)}
     * @param numbers one number, or a list; for a flag, 0 takes it back and 1 sets it; time is in seconds
     * @return a changed copy
     */
    public LatinHypercube set(String name, double... numbers) {
        return numbers(name, numbers);
    }

    private LatinHypercube numbers(String name, double... numbers) {
        return with(name, Native.numbers(numbers));
    }

    private LatinHypercube with(String name, Object value) {
        String plain = name.replace('_', '-');
        if (plain.equals("factor"))
            throw new IllegalArgumentException("factor: is added by the method of this name");
        Native.check(new Native.Request().set(plain, value), false);
        Map<String, Object> more = new TreeMap<>(settings);
        more.put(plain, value);
        return new LatinHypercube(more, factors, start, old, added);
    }

    /**
     * Checks everything that can be known before a search. Each {@code run} does it by itself.
     *
     * @return this request
     * @throws IllegalArgumentException if settings contradict each other
     * @throws DesignException if the start or the design to add to cannot be used
     */
    public LatinHypercube check() {
        Native.check(request(), true);
        return this;
    }

    /**
     * Searches.
     *
     * @return the best design
     * @throws IllegalArgumentException if settings contradict each other
     * @throws DesignException if a file, the data or the machine refuses
     */
    public LatinHypercubeDesign run() {
        return run(progress -> { });
    }

    /**
     * Searches, and tells how things stand.
     *
     * @param listener called about 20 times a second, on the calling thread; a short search may end before the first
     *        time
     * @return the best design
     * @throws IllegalArgumentException if settings contradict each other
     * @throws DesignException if a file, the data or the machine refuses
     */
    public LatinHypercubeDesign run(Consumer<? super Progress> listener) {
        return run(listener, new CancellationToken());
    }

    /**
     * Searches until a token ends it.
     *
     * @param token ends the search when it is cancelled
     * @return the best design
     * @throws IllegalArgumentException if settings contradict each other
     * @throws DesignException if a file, the data or the machine refuses
     */
    public LatinHypercubeDesign run(CancellationToken token) {
        return run(progress -> { }, token);
    }

    /**
     * Searches until a token ends it, and tells how things stand.
     *
     * @param listener called about 20 times a second, on the calling thread; a short search may end before the first
     *        time
     * @param token ends the search when it is cancelled
     * @return the best design
     * @throws IllegalArgumentException if settings contradict each other
     * @throws DesignException if a file, the data or the machine refuses
     */
    public LatinHypercubeDesign run(Consumer<? super Progress> listener, CancellationToken token) {
        return Native.run(request(), Objects.requireNonNull(listener, "listener"),
            Objects.requireNonNull(token, "token"));
    }

    /**
     * Searches on a daemon thread of its own.
     *
     * @return completes with the best design or with what {@link #run()} throws. Cancelling it, or completing it in
     *         another way, ends the search
     */
    public CompletableFuture<LatinHypercubeDesign> runAsync() {
        return runAsync(progress -> { });
    }

    /**
     * Searches on a daemon thread of its own, and tells how things stand.
     *
     * @param listener called about 20 times a second, on the thread of the search
     * @return as {@link #runAsync()}
     */
    public CompletableFuture<LatinHypercubeDesign> runAsync(Consumer<? super Progress> listener) {
        return runAsync(listener, search -> {
            Thread thread = new Thread(search, "optdoe");
            thread.setDaemon(true);
            thread.start();
        });
    }

    /**
     * Searches on a thread of an executor, and tells how things stand.
     *
     * @param listener called about 20 times a second, on the thread of the search
     * @param executor one of its threads is taken until the search ends; the search itself has threads of its own
     * @return as {@link #runAsync()}
     */
    public CompletableFuture<LatinHypercubeDesign> runAsync(Consumer<? super Progress> listener, Executor executor) {
        Objects.requireNonNull(listener, "listener");
        CancellationToken token = new CancellationToken();
        CompletableFuture<LatinHypercubeDesign> future = new CompletableFuture<>();
        future.whenComplete((design, thrown) -> token.cancel());
        executor.execute(() -> {
            try {
                if (!token.isCancelled())
                    future.complete(run(listener, token));
            } catch (Throwable thrown) {
                future.completeExceptionally(thrown);
            }
        });
        return future;
    }

    private Native.Request request() {
        Native.Request request = new Native.Request();
        settings.forEach(request::set);
        factors.forEach(request::factor);
        if (start != null)
            request.start(start);
        if (old != null)
            request.augment(old, added);
        return request;
    }

    /** What the scores of a design read. */
    Native.Request measureSettings() {
        Native.Request request = new Native.Request();
        for (String name : List.of("p", "distance", "theta", "weights", "scaling"))
            if (settings.containsKey(name))
                request.set(name, settings.get(name));
        return request;
    }

    @Override
    public boolean equals(Object other) {
        if (!(other instanceof LatinHypercube))
            return false;
        LatinHypercube request = (LatinHypercube) other;
        return settings.equals(request.settings) && factors.equals(request.factors)
            && Objects.equals(start, request.start) && Objects.equals(old, request.old) && added == request.added;
    }

    @Override
    public int hashCode() {
        return Objects.hash(settings, factors, start, old, added);
    }

    @Override
    public String toString() {
        return settings + (factors.isEmpty() ? "" : " " + factors) + (start != null ? " from " + start : "")
            + (old != null ? " adding " + added + " to " + old : "");
    }
}
