package com.qel.internet.rk.common;

/**
 * A port of a cluster. Its settings, its counters, and its identity.
 *
 * <p>A setting is written only when its flag, the byte named {@code Set...}, is 1. Adding and changing write the flags
 * back as the executor left them. Times are in the executor's unit, seconds in the executor that comes with the
 * library.
 */
public final class CMNPort {
    /** Creates a port whose settings are all unset: no flag is 1. */
    public CMNPort() {
    }

    /** Identifier of the cluster. */
    public String ClusterId;
    /** Address of the cluster, which removing checks; null for no check. */
    public String ClusterAddress;
    /** Port number, 0 to 65535. */
    public int PortNumber;

    /** Most servers. */
    public int MaxNumberOfServers;
    /** 1 to change {@link #MaxNumberOfServers}. */
    public byte SetMaxNumberOfServers;

    /** How long an idle connection is kept. */
    public int StaleTimeout;
    /** 1 to change {@link #StaleTimeout}. */
    public byte SetStaleTimeout;

    /** How long a client stays with its server. */
    public int StickyTime;
    /** 1 to change {@link #StickyTime}. */
    public byte SetStickyTime;

    /** Leading bits of a client's address that count for affinity, 0 to 32. */
    public int iStickyBits;
    /** 1 to change {@link #iStickyBits}. */
    public byte SetStickyBits;

    /** Highest weight that a server may have; 16 bits, signed when read. */
    public int WeightBound;
    /** 1 to change {@link #WeightBound}. */
    public byte SetWeightBound;

    /** Port type, a number from 0 to 255 when written; read with its sign, 128 to 255 as 0xFF80 to 0xFFFF. */
    public char Type;
    /** 1 to change {@link #Type}. */
    public byte SetType;

    /** Forwarding method; 16 bits, signed when read. */
    public int iMethod;
    /** 1 to change {@link #iMethod}. */
    public byte SetMethod;

    /** Protocol, 0 to 65535. */
    public int iPortProtocol;
    /** 1 to change {@link #iPortProtocol}. */
    public byte SetPortProtocol;

    /** What is replicated to the partner, a number from 0 to 255. */
    public int Replicate;
    /** 1 to change {@link #Replicate}. */
    public byte SetReplicate;

    /** Most half-open connections; 0 for no limit. */
    public int iMaxHalfOpen;
    /** 1 to change {@link #iMaxHalfOpen}. */
    public byte SetMaxHalfOpen;

    /** Port of the same cluster whose affinity this one shares, 0 to 65535; 0 for none. */
    public int iCrossPort;
    /** 1 to change {@link #iCrossPort}. */
    public byte SetCrossPort;

    /** Whether a reset is sent for packets of no connection: 0 or 1. */
    public byte SendReset;
    /** 1 to change {@link #SendReset}. */
    public byte SetSendReset;

    /** Number of servers; status and report. */
    public int NumServers;

    /** Report: servers that are down. */
    public int NumNodesDown;
    /** Report: servers on the executor's own machine. */
    public int NumNodesLocal;
    /** Report: highest weight of a server. */
    public int MaxWeight;
    /** Report: active connections. */
    public int ActiveConnections;
    /** Report: half-open connections. */
    public int iNumHalfOpen;
    /** Report: resets sent. */
    public int iResetsSent;
    /** Report: bytes per second now. */
    public int iBytesPerSecond;
    /** Report: connections per second now; also the number that {@code setPortCPSNative} sends. */
    public int iConnectionsPerSecond;
}
