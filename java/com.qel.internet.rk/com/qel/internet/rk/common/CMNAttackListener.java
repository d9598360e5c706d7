package com.qel.internet.rk.common;

/**
 * Takes the reports of the attack protection. A listener that throws ends the report, and the native method with its
 * exception.
 */
public interface CMNAttackListener {
    /**
     * Begins the report of {@link CMNExecutorInterface#getHalfOpenInfoNative getHalfOpenInfoNative}.
     *
     * @param count number of half-open connections; no more are reported than a reply holds, 5333
     */
    void setNumHalfOpenRecs(int count);

    /**
     * Tells of a half-open connection.
     *
     * @param index   its place, from 0
     * @param address the client's address, in host byte order
     * @param port    the client's port
     * @param flag    the executor's mark; the one that comes with the library sets it when the client seems to attack
     */
    void addHalfOpenRec(int index, int address, int port, boolean flag);

    /**
     * Begins the report of {@link CMNExecutorInterface#getAttackingAddrsNative getAttackingAddrsNative}.
     *
     * @param count   number of addresses; no more are reported than a reply holds, 7996
     * @param summary a number that the executor defines; the one that comes with the library gives the port's half-open
     *                connections
     */
    void reportAttackingAddrsResults(int count, int summary);

    /**
     * Tells of an address that seems to attack.
     *
     * @param address the address, in host byte order
     * @param value   a number that the executor defines; the one that comes with the library gives the address's
     *                half-open connections
     */
    void reportAttackingAddr(int address, int value);
}
