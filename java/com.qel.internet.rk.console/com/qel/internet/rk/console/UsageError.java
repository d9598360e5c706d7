package com.qel.internet.rk.console;

/** What was typed cannot be carried out as it stands. Ends the command; {@link CommandRunner} reports it. */
final class UsageError extends RuntimeException {
    private static final long serialVersionUID = 1;

    UsageError(String message) {
        super(message);
    }
}
