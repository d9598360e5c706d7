package com.qel.internet.rk.common;

/**
 * A request about affinity records, which bind clients to servers, and its answer; for
 * {@link CMNExecutorInterface#serverDirectedAffinityNative serverDirectedAffinityNative}. Element i of each array
 * belongs to the same record. Addresses travel as they are; the executor that comes with the library takes them in host
 * byte order.
 */
public final class CMNAffinityRequest {
    /** The most records that a request may have. */
    public static final int CAPACITY = 3000;

    /** Creates a request without records. */
    public CMNAffinityRequest() {
    }

    /** What the executor is to do; the executor defines the numbers. */
    public int iCommand;
    /** Address of the cluster. */
    public int iClusterAddr;
    /** Port number, 0 to 65535. */
    public int iPort;
    /** Number of records: as many elements of the arrays count, before and after. */
    public int iNumAffinities;
    /** The executor's response; the status when that is not 0. */
    public int iResponse;
    /** The executor's time, in seconds. */
    public int iTime;
    /** Clients' addresses. */
    public final int[] aiClientAddr = new int[CAPACITY];
    /** Servers' addresses. */
    public final int[] aiServerAddr = new int[CAPACITY];
    /** Active connections; read. */
    public final int[] aiNumActive = new int[CAPACITY];
    /** Ages in seconds, or the executor's responses to each record, depending on the command; read. */
    public final int[] aiAgeOrResponse = new int[CAPACITY];
}
