package com.qel.internet.rk.common;

/**
 * The executor's counters, as {@link CMNExecutorInterface#getExecutorReportNative getExecutorReportNative} fills them.
 * Of the fields, {@link CMNExecutorInterface#setExecutorCPSNative setExecutorCPSNative} reads only
 * {@link #iConnectionsPerSecond}. Packet counters count since the executor's start.
 */
public final class CMNExecutorReport {
    /** Creates an empty report. */
    public CMNExecutorReport() {
    }

    /** Non-forwarding address, dotted. */
    public String NFA;
    /** The executor's version. */
    public String Version;
    /** When the executor started, in seconds since 1970-01-01 00:00 UTC. */
    public int iTimeStarted;
    /** Packets in all. */
    public long Pcktotal;
    /** Packets that were too short. */
    public long Pcktoshort;
    /** Packets to the non-forwarding address. */
    public long Pcknonforw;
    /** Packets to a cluster that were discarded. */
    public long PckVECdiscard;
    /** Packets to a cluster that were in error. */
    public long PckVECerror;
    /** Packets to a cluster that the local machine took. */
    public long PckVEClocal;
    /** Packets to a cluster's own address. */
    public long PckVECownaddr;
    /** Packets to a cluster that were forwarded. */
    public long PckVECforward;
    /** Packets whose forwarding failed. */
    public long Pckforwarderr;
    /** Packets to no cluster. */
    public long PcknotVEC;
    /** Broadcast packets to a cluster. */
    public long PckVECbroadcast;
    /** Buckets of the connection table in use. */
    public int InconnHashBkts;
    /** Number of clusters. */
    public int NumClusters;
    /** Bytes per second now. */
    public int iBytesPerSecond;
    /** Connections per second now; the one field that is also written to the executor. */
    public int iConnectionsPerSecond;
}
