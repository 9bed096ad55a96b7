package com.morvantix.doe;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.concurrent.CancellationException;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

/** The ways to end a search before its time, which is an hour here. */
@Timeout(60)
class CancellationTest {
    private static LatinHypercube endless() {
        return LatinHypercube.of(30).factors(4).seed(5).time(Duration.ofHours(1));
    }

    private static void assertStopped(LatinHypercubeDesign design) {
        LatinHypercubeTest.assertLatin(design);
        assertTrue(design.outcome().orElseThrow().stopped());
    }

    @Test
    void an_interrupt_gives_the_best_so_far_and_is_kept() {
        Thread searching = Thread.currentThread();
        LatinHypercubeDesign design = endless().run(progress -> {
            if (progress.seconds() > 0.2)
                searching.interrupt();
        });
        assertTrue(Thread.interrupted(), "the interrupt status is kept");
        assertStopped(design);
        Outcome outcome = design.outcome().orElseThrow();
        assertTrue(outcome.objective() < outcome.initial(), outcome.toString());
    }

    @Test
    void an_interrupted_thread_gets_the_start() {
        Thread.currentThread().interrupt();
        LatinHypercubeDesign design = endless().run();
        assertTrue(Thread.interrupted());
        assertStopped(design);
    }

    @Test
    void a_token_ends_the_search_from_another_thread() throws Exception {
        CancellationToken token = new CancellationToken();
        CountDownLatch begun = new CountDownLatch(1);
        Thread other = new Thread(() -> {
            try {
                begun.await();
                token.cancel();
            } catch (InterruptedException broken) {
                throw new AssertionError(broken);
            }
        });
        other.start();
        assertStopped(endless().run(progress -> begun.countDown(), token));
        other.join();
        assertTrue(token.isCancelled());
        assertFalse(Thread.interrupted());
        assertStopped(endless().run(token));
    }

    @Test
    void a_cancelled_future_ends_its_search() throws Exception {
        CountDownLatch begun = new CountDownLatch(1);
        ExecutorService threads = Executors.newSingleThreadExecutor();
        CompletableFuture<LatinHypercubeDesign> future = endless().runAsync(progress -> begun.countDown(), threads);
        begun.await();
        assertTrue(future.cancel(true));
        assertThrows(CancellationException.class, future::get);
        threads.shutdown();
        assertTrue(threads.awaitTermination(10, TimeUnit.SECONDS), "the search has ended");
    }

    @Test
    void a_future_that_times_out_ends_its_search() throws Exception {
        ExecutorService threads = Executors.newSingleThreadExecutor();
        CompletableFuture<LatinHypercubeDesign> future =
            endless().runAsync(progress -> { }, threads).orTimeout(200, TimeUnit.MILLISECONDS);
        assertThrows(ExecutionException.class, future::get);
        threads.shutdown();
        assertTrue(threads.awaitTermination(10, TimeUnit.SECONDS), "the search has ended");
    }

    @Test
    void a_future_completes_with_the_design_or_the_failure() throws Exception {
        assertEquals(LatinHypercubeTest.small().run(), LatinHypercubeTest.small().runAsync().get());
        ExecutionException failed = assertThrows(ExecutionException.class,
            () -> LatinHypercubeTest.small().restarts(3).runAsync().get());
        assertSame(IllegalArgumentException.class, failed.getCause().getClass());
    }

    @Test
    void what_a_listener_throws_ends_the_search_and_leaves_it() {
        for (Throwable thrown : new Throwable[] {new IllegalStateException(), new StackOverflowError()}) {
            int[] calls = {0};
            assertSame(thrown, assertThrows(thrown.getClass(), () -> endless().run(progress -> {
                ++calls[0];
                if (thrown instanceof Error)
                    throw (Error) thrown;
                throw (RuntimeException) thrown;
            })));
            assertEquals(1, calls[0]);
        }
    }
}
