package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNStatus;

/**
 * The executor refused something, or cannot be reached. Whatever fails for the executor's reasons fails with this: the
 * message tells what was to be done, what the status means, and what to do about it.
 */
public final class ExecutorException extends RuntimeException {
    private static final long serialVersionUID = 1;

    /** What the native method returned. */
    private final int status;
    /** The family of the native method. */
    private final CMNStatus.Family family;
    /** What the status means here. */
    private final String meaning;

    ExecutorException(String what, CMNStatus.Family family, int status, String meaning) {
        super(what + ": " + meaning + " (status " + status + ", " + CMNStatus.name(status, family) + "); "
                + CMNStatus.advise(status, family));
        this.status = status;
        this.family = family;
        this.meaning = meaning;
    }

    ExecutorException(String what, CMNStatus.Family family, int status) {
        this(what, family, status, CMNStatus.describe(status, family));
    }

    /** {@return the status that the native method returned, or would have returned; never 0} */
    public int status() {
        return status;
    }

    /** {@return the status's name in its family, such as {@code UNKNOWN_CLUSTER}; see {@link CMNStatus#name}} */
    public String statusName() {
        return CMNStatus.name(status, family);
    }

    /** {@return the family of methods that the status is of} */
    public CMNStatus.Family family() {
        return family;
    }

    /** {@return what the status means, in words} */
    public String meaning() {
        return meaning;
    }

    /** {@return what to do, in words; see {@link CMNStatus#advise}} */
    public String advice() {
        return CMNStatus.advise(status, family);
    }
}
