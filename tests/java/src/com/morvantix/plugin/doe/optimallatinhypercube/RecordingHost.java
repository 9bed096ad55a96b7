package com.morvantix.plugin.doe.optimallatinhypercube;

import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;

/** A host that overrides both callbacks: keeps the lines, counts the polls, stops or throws where it is told. */
public class RecordingHost extends OptimalLatinHypercube {
    static final int NEVER = -1;

    public final List<String> lines = new CopyOnWriteArrayList<>();
    int polls;
    int throwAtLine = NEVER;
    int throwAtPoll = NEVER;
    Throwable thrown;
    private final int pollsBeforeStop;

    /** @param pollsBeforeStop polls that are answered 0 before the first 1; NEVER to answer 0 always */
    public RecordingHost(int pollsBeforeStop) {
        this.pollsBeforeStop = pollsBeforeStop;
    }

    RecordingHost() {
        this(NEVER);
    }

    @Override
    public int getStopFlag() {
        ++polls;
        if (polls == throwAtPoll)
            sneakyThrow(thrown);
        return pollsBeforeStop != NEVER && polls > pollsBeforeStop ? 1 : 0;
    }

    @Override
    public void addStatusMessage(String line) {
        lines.add(line);
        if (lines.size() == throwAtLine)
            sneakyThrow(thrown);
    }

    /** Throws checked exceptions too: to the library, as to the virtual machine, they are exceptions like others. */
    @SuppressWarnings("unchecked")
    private static <E extends Throwable> void sneakyThrow(Throwable thrown) throws E {
        throw (E) thrown;
    }
}
