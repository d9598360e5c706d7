package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.time.Instant;
import java.util.concurrent.CancellationException;
import java.util.function.Function;
import java.util.function.Predicate;
import java.util.function.ToIntFunction;

/**
 * The way to the native methods, for one {@link Executor} from its opening to its end. Each call takes its lock,
 * which is that of the native methods themselves: what is called on the same object elsewhere takes turns with it
 * too.
 */
final class Channel {
    private static final String REFUSED_TEXT = "Error with kernel.\n";
    private static final int REFUSED = -1;
    private static final int OUT_OF_MEMORY = -28;
    private static final String UNREACHABLE = "the executor cannot be reached";

    private final CMNExecutorInterface natives;
    private final Names names;
    private boolean isOpen = true;

    private volatile Predicate<Wait> mayWait = wait -> true;
    private volatile Wait waiting;

    Channel(CMNExecutorInterface natives) {
        this.natives = natives;
        this.names = new Names(this, natives);
    }

    /** Runs native methods that belong together: no other thread calls one in between. */
    <T> T together(Function<CMNExecutorInterface, T> calls) {
        synchronized (natives) {
            if (!isOpen) {
                throw new IllegalStateException("the executor is closed");
            }
            return calls.apply(natives);
        }
    }

    /**
     * Runs a native method that returns a status.
     *
     * @param what what is done, for the message of the refusal
     * @throws ExecutorException when the status is not 0
     */
    void perform(Object what, Family family, ToIntFunction<CMNExecutorInterface> method) {
        together(n -> {
            check(what, family, method.applyAsInt(n));
            return null;
        });
    }

    /**
     * The same for a method about a cluster, a server, or what hangs below it.
     *
     * @throws ExecutorException also when the executor would take another one for it
     */
    void perform(Object what, Family family, Name name, ToIntFunction<CMNExecutorInterface> method) {
        together(n -> {
            names.requireOwnKey(name);
            check(what, family, method.applyAsInt(n));
            return null;
        });
    }

    /**
     * The same for a method that may wait long.
     *
     * @throws CancellationException when the wait is not wanted; nothing is sent then
     */
    void performWaiting(String call, Object what, Name name, ToIntFunction<CMNExecutorInterface> method) {
        Wait wait = new Wait(call, Wait.LONGEST_OF_PORTS, Instant.now());
        if (!mayWait.test(wait)) {
            throw new CancellationException(call + " may wait " + wait.longest() + ", which is not wanted");
        }
        perform(what, Family.PORT, name, n -> {
            waiting = wait;
            try {
                return method.applyAsInt(n);
            } finally {
                waiting = null;
            }
        });
    }

    /**
     * Runs a native method whose answer is the same whether the executor does what it says or is not there.
     *
     * @throws ExecutorException when there is no executor that answers
     */
    <T> T withAnswer(Object what, Function<CMNExecutorInterface, T> calls) {
        return together(n -> {
            requireAnswer(what);
            return calls.apply(n);
        });
    }

    void requireAnswer(Object what) {
        int status = answer();
        if (status != 0) {
            throw new ExecutorException(what.toString(), Family.EXECUTOR, status, UNREACHABLE);
        }
    }

    /** {@return 0 when the executor answers, else the channel's status} */
    int answer() {
        return together(n -> n.getExecutorReportNative(new CMNExecutorReport()));
    }

    /** {@return a text of a native method, unless it says that there is none} */
    String requireText(Object what, String text) {
        if (text == null) {
            throw new ExecutorException(what.toString(), Family.SYSTEM, OUT_OF_MEMORY);
        }
        if (text.equals(REFUSED_TEXT)) {
            throw new ExecutorException(what.toString(), Family.SYSTEM, REFUSED);
        }
        return text;
    }

    /**
     * Goes on only when a native method succeeded. Where its status stands for a reason, it may be that of an old
     * refusal, which is what remains when there is no executor any more: that is told instead then.
     */
    void check(Object what, Family family, int status) {
        if (status == 0) {
            return;
        }
        if (status < REFUSED) {
            requireAnswer(what);
        }
        throw new ExecutorException(what.toString(), family, status);
    }

    /**
     * Adds a cluster or a server by a native method, and keeps that it is there.
     *
     * @throws ExecutorException        when the executor refuses; another object with the same key is named
     * @throws IllegalArgumentException when the name could not be listed
     */
    void add(Name name, ToIntFunction<CMNExecutorInterface> method) {
        Name.checkListable(name.text());
        together(n -> {
            if (name.isServer()) {
                names.requireOwnKey(name.cluster());
            }
            try {
                check(name, name.family(), method.applyAsInt(n));
            } catch (ExecutorException refusal) {
                throw names.explain(name, refusal);
            }
            names.added(name);
            return null;
        });
    }

    /** Removes a cluster or a server by a native method, and keeps that it is gone, with what hung below it. */
    void remove(Name name, ToIntFunction<CMNExecutorInterface> method) {
        together(n -> {
            perform(name, name.family(), name, method);
            names.removed(name);
            return null;
        });
    }

    int key(String name) {
        return together(n -> n.calcClusterIdKeyNative(name, ""));
    }

    /** {@return the names of what the executor has, for who has the lock} */
    Names names() {
        return names;
    }

    Wait waiting() {
        return waiting;
    }

    void askBeforeWaiting(Predicate<Wait> question) {
        mayWait = question;
    }

    /** Runs the last native methods. {@return whether it was open until now} */
    boolean close(Runnable last) {
        synchronized (natives) {
            boolean wasOpen = isOpen;
            isOpen = false;
            if (wasOpen) {
                last.run();
            }
            return wasOpen;
        }
    }
}
