package com.qel.internet.rk.console;

import org.jline.utils.Signals;

/** Lets an interrupt end what goes on for as long as somebody looks, instead of the console. */
final class Interrupt implements AutoCloseable {
    private static final String SIGNAL = "INT";

    private final Thread waiting = Thread.currentThread();
    private final Object before;
    private volatile boolean came;

    Interrupt() {
        before = Signals.register(SIGNAL, this::end);
    }

    /** Ends the wait, from any thread. */
    void end() {
        came = true;
        waiting.interrupt();
    }

    /** {@return whether it came} */
    boolean came() {
        return came;
    }

    /** Waits, unless it comes. */
    void rest(long milliseconds) {
        try {
            if (!came) {
                Thread.sleep(milliseconds);
            }
        } catch (InterruptedException e) {
            came = true;
        }
    }

    @Override
    public void close() {
        Signals.unregister(SIGNAL, before);
        Thread.interrupted(); // what follows is not meant
    }
}
