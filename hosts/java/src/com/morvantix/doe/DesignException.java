package com.morvantix.doe;

/**
 * Something outside a request's settings refuses: a file that cannot be read or written, data that are no design or
 * have no answer to what is asked of them, a machine without the memory for a search; or the library found a fault of
 * its own. The message tells which; of a file that cannot be understood it begins with file:line:column.
 */
public final class DesignException extends RuntimeException {
    private static final long serialVersionUID = 1;

    DesignException(String message) {
        super(message);
    }
}
