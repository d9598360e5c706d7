package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import org.jline.terminal.Terminal;

/**
 * One run of the console against an executor. No two native methods may run at the same time, and nothing but this
 * class has the object to call them on: it gives it to the thread that made the session, and to no other:
 * nothing in the background can call a native method while a command runs.
 */
final class Session {
    private static final int KERNEL_MODE = 0;
    private static final int USER_MODE = 1;
    private static final String DEVICE_MISSING =
            " (the executor device /dev/qelxw cannot be opened: load the executor, or use --user)";

    private static final String NOT_STARTED =
            "the user-space executor does not run: start it with 'system user start'";

    private static final int LONGEST_CLOSING_SECONDS = 10;

    /** Where commands print. */
    final Output output;
    /** What the executor has, as far as earlier commands have seen. */
    final KnownNames known = new KnownNames();
    /** Where commands are typed; null where they come from elsewhere. */
    Terminal terminal;
    /** Asks whoever types; null where nobody does. */
    Question question;

    /** A question that is answered by yes or no. */
    interface Question {
        boolean ask(String text);
    }

    private final Thread owner = Thread.currentThread();
    private final CountDownLatch closed = new CountDownLatch(1);
    private CMNExecutorInterface natives;
    private boolean kernel;
    private boolean processReady;

    Session(Output output) {
        this.output = output;
    }

    /**
     * {@return the native methods; there are none before the session is open}
     *
     * @throws IllegalStateException on any other thread than the session's
     */
    CMNExecutorInterface natives() {
        if (Thread.currentThread() != owner) {
            throw new IllegalStateException("native methods are for the session's own thread");
        }
        return natives;
    }

    /**
     * Loads the native library and, unless commands go to the kernel executor, starts the user-space executor.
     *
     * @param log         the user-space executor's log file; null for none
     * @param installPath the user-space executor's installation folder; null for its own choice
     * @throws Refusal              when the user-space executor does not start
     * @throws UnsatisfiedLinkError when the library cannot be loaded
     */
    void open(boolean toKernel, String log, String installPath) {
        natives = new CMNExecutorInterface();
        setMode(toKernel);
        if (toKernel) {
            return;
        }
        if (log != null) {
            setLog(log);
        }
        if (installPath != null) {
            setInstallPath(installPath);
        }
        Refusal.check(Family.SYSTEM, natives().userExecutorProcessInitNative());
        processReady = true;
        Refusal.check(Family.SYSTEM, natives().startUserExecutorNative());
    }

    /** Stops what {@link #open}, or a command since, has started. */
    void close() {
        if (natives() != null && natives().userExecutorStartedNative()) {
            natives().stopUserExecutorNative();
        }
        if (processReady) {
            natives().userExecutorProcessTermNative();
        }
        closed.countDown();
    }

    /** Waits until {@link #close} has been called, for a while: the Java VM ends behind it. */
    void awaitClosed() {
        try {
            closed.await(LONGEST_CLOSING_SECONDS, TimeUnit.SECONDS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
    }

    /** Sends the commands from now on to the kernel executor, or to the user-space executor. */
    void setMode(boolean toKernel) {
        kernel = toKernel;
        known.forget();
        natives().setKVAServerModalityNative(toKernel ? KERNEL_MODE : USER_MODE);
    }

    /** Sets the user-space executor's log file. */
    void setLog(String file) {
        if (!natives().userExecutorSetLogNative(file)) {
            throw new Refusal(null, "cannot write the log file " + file);
        }
    }

    /** Sets the user-space executor's installation folder. */
    void setInstallPath(String folder) {
        if (!natives().userExecutorSetInstallPathNative(folder)) {
            throw new Refusal(null, "cannot use the installation folder " + folder);
        }
    }

    /** Ends a command that has nothing to print: a native method of the family returned this status. */
    void finish(Family family, int status) {
        Refusal.check(family, status);
        output.done();
    }

    /**
     * Goes on only when the executor answers. A native method that returns the executor's reason, or nothing at all,
     * would look successful without one.
     *
     * @throws Refusal when it does not
     */
    void requireExecutor() {
        if (!kernel && !natives().userExecutorStartedNative()) {
            throw new Refusal(null, NOT_STARTED);
        }
        Refusal.check(Family.EXECUTOR, natives().getExecutorReportNative(new CMNExecutorReport()));
    }

    /** {@return what else there is to say about a failure: nothing, or that there is no executor to talk to} */
    String hint() {
        boolean deviceMissing = kernel && natives().linuxUpNative() == 0;
        return deviceMissing ? DEVICE_MISSING : "";
    }
}
