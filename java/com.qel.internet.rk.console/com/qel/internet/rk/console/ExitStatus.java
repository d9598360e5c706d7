package com.qel.internet.rk.console;

/** How the console tells a shell what came of it. */
final class ExitStatus {
    static final int SUCCESS = 0;
    /** A native method failed. */
    static final int REFUSED = 1;
    /** A command, an option or a script cannot be carried out as it stands. */
    static final int USAGE = 2;
    /** The native library cannot be loaded, or lacks a method. */
    static final int NO_LIBRARY = 3;
    /** What was compared differs. */
    static final int DIFFERENT = 4;

    private ExitStatus() {
    }
}
