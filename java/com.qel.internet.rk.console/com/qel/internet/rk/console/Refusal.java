package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus;

/** A native method failed. Ends the command; {@link CommandRunner} reports it. */
final class Refusal extends RuntimeException {
    private static final long serialVersionUID = 1;

    /** What the method returned; null for a method that returned false. */
    final Integer status;
    /** The status in words. */
    final String meaning;

    Refusal(Integer status, String meaning) {
        super(meaning);
        this.status = status;
        this.meaning = meaning;
    }

    /** Goes on only when a native method of the family returned 0. */
    static void check(CMNStatus.Family family, int status) {
        if (status != 0) {
            throw new Refusal(status, CMNStatus.describe(status, family));
        }
    }
}
