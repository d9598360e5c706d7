package com.qel.internet.rk.common;

/**
 * The executor's own settings, as {@link CMNExecutorInterface#getExecutorStatusNative getExecutorStatusNative} reads
 * and {@link CMNExecutorInterface#setExecutorStatusNative setExecutorStatusNative} changes them.
 *
 * <p>A setting is changed only when its flag, the byte named {@code Set...}, is 1. After a refused change the flags are
 * as the executor left them. Times are in the executor's unit, seconds in the executor that comes with the library.
 */
public final class CMNExecutorStatus {
    /** Creates settings that are all unset: no flag is 1. */
    public CMNExecutorStatus() {
    }

    /** Non-forwarding address, the executor's own: a dotted address; when writing, a host name too. */
    public String NFA;
    /** 1 to change {@link #NFA}; the local time zone then travels with it. */
    public byte SetNonForwardingAddress;

    /** How much the executor traces: 0 for nothing. */
    public int TraceLevel;
    /** 1 to change {@link #TraceLevel}. */
    public byte SetTraceLevel;

    /** Most ports of a cluster that is added from now on. */
    public int DefaultClusterMaxPorts;
    /** 1 to change {@link #DefaultClusterMaxPorts}. */
    public byte SetDefaultClusterMaxPorts;

    /** How long a connection is remembered after its end. */
    public int FINTimeout;
    /** 1 to change {@link #FINTimeout}. */
    public byte SetFINTimeout;

    /** How long the high-availability partner may be silent. */
    public int HaTimeout;
    /** 1 to change {@link #HaTimeout}. */
    public byte SetHaTimeout;

    /** How long synchronising with the high-availability partner may take. */
    public int HaSyncTimeout;
    /** 1 to change {@link #HaSyncTimeout}. */
    public byte SetHaSyncTimeout;

    /** IPv4 client gateway: a dotted address; when writing, a host name too. */
    public String ClientGateway;
    /** 1 to change {@link #ClientGateway}; still 1 when its text does not parse. */
    public byte SetClientGateway;

    /** IPv6 client gateway: 16 bytes, first byte of the address first. */
    public byte[] v6ClientGateway = new byte[16];
    /** 1 to change {@link #v6ClientGateway}. */
    public byte Setv6ClientGateway;

    /** Most servers of a port that is added from now on, where its cluster says nothing else. */
    public int DefaultPortMaxServers;
    /** 1 to change {@link #DefaultPortMaxServers}. */
    public byte SetDefaultPortMaxServers;

    /** Default for new ports: how long an idle connection is kept. */
    public int DefaultPortStaleTimeout;
    /** 1 to change {@link #DefaultPortStaleTimeout}. */
    public byte SetDefaultPortStaleTimeout;

    /** Bandwidth that all clusters share, in bytes per second. */
    public int iSharedBytesPerSecond;
    /** 1 to change {@link #iSharedBytesPerSecond}. */
    public byte SetSharedBandwidth;

    /** Default for new ports: how long a client stays with its server. */
    public int DefaultPortStickyTime;
    /** 1 to change {@link #DefaultPortStickyTime}. */
    public byte SetDefaultPortStickyTime;

    /** Default for new ports: affinity type, 0 to 65535. */
    public int DefaultPortAffinityType;
    /** 1 to change {@link #DefaultPortAffinityType}. */
    public byte SetDefaultPortAffinityType;

    /** Default for new ports: highest weight that a server may have; 16 bits, signed when read. */
    public int DefaultPortWeightBound;
    /** 1 to change {@link #DefaultPortWeightBound}. */
    public byte SetDefaultPortWeightBound;

    /** Default for new ports: port type, a number from 0 to 255. */
    public char DefaultPortType;
    /** 1 to change {@link #DefaultPortType}. */
    public byte SetDefaultPortType;

    /** Default for new ports: what is replicated to the partner, a number from 0 to 255. */
    public char DefaultPortReplicate;
    /** 1 to change {@link #DefaultPortReplicate}. */
    public byte SetDefaultPortReplicate;

    /** Most clusters. */
    public int MaxNumberOfClusters;
    /** 1 to change {@link #MaxNumberOfClusters}. */
    public byte SetMaxNumberOfClusters;

    /** Port number of the wide-area load balancing. */
    public int WidePortNumber;
    /** 1 to change {@link #WidePortNumber}. */
    public byte SetWidePortNumber;

    /** Name of the configuration file; keep it below 256 bytes. */
    public String ConfigFileName;
    /** 1 to change {@link #ConfigFileName}. */
    public byte SetConfigFileName;

    /** Name of the plug-in configuration file; read only. */
    public String sPluginConfigFileName;

    /** How long a cookie is valid; sent with every change, written only. */
    public int iCookieExpireInterval;
    /** 1 to change {@link #iCookieExpireInterval}; not written back. */
    public byte SetCookieExpireInterval;

    /** After a refused change: whether the local time zone was sent along; never read. */
    public byte SetSecondsWestOfGreenwich;
}
