package com.morvantix.doe;

/**
 * Ends searches early, from any thread. A search that is ended so returns its best design so far; one that begins with
 * a token that was cancelled before returns its start.
 */
public final class CancellationToken {
    private volatile boolean cancelled;

    /** A token that lets searches go on. */
    public CancellationToken() { }

    /** Ends, within about a twentieth of a second, every search that was given this token. It cannot be taken back. */
    public void cancel() {
        cancelled = true;
    }

    /**
     * Says whether {@link #cancel} was called.
     *
     * @return true from the first call of {@link #cancel} on
     */
    public boolean isCancelled() {
        return cancelled;
    }
}
