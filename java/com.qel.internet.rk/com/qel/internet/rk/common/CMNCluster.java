package com.qel.internet.rk.common;

/**
 * A cluster: an address on which the executor balances load. Its settings, its counters, and its identity.
 *
 * <p>A setting is written only when its flag, the byte named {@code Set...}, is 1. Adding and changing write the flags
 * back as the executor left them. Times are in the executor's unit, seconds in the executor that comes with the
 * library.
 */
public final class CMNCluster {
    /** Creates a cluster whose settings are all unset: no flag is 1. */
    public CMNCluster() {
    }

    /** Identifier, at most 64 characters; upper and lower case are the same. */
    public String sClusterId;
    /** Key of {@link #sClusterId}; adding sets it, and changing needs it. */
    public int iClusterIdKey;

    /** Address of the cluster: dotted; when writing, a host name too. */
    public String Address;
    /** 1 to change {@link #Address}, and to have a text refused that does not parse. */
    public byte SetIPAddress;

    /** Most ports. */
    public int MaxNumberOfPorts;
    /** 1 to change {@link #MaxNumberOfPorts}. */
    public byte SetMaxNumberOfPorts;

    /** Primary host of the cluster: dotted; when writing, a host name too. */
    public String sPrimaryHost;
    /** 1 to change {@link #sPrimaryHost}. */
    public byte SetPrimaryHost;

    /** Default for new ports: most servers. */
    public int DefaultPortMaxServers;
    /** 1 to change {@link #DefaultPortMaxServers}. */
    public byte SetDefaultPortMaxServers;

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

    /** Default for new ports: how long an idle connection is kept. */
    public int DefaultPortStaleTimeout;
    /** 1 to change {@link #DefaultPortStaleTimeout}. */
    public byte SetDefaultPortStaleTimeout;

    /** Share of the active connections in a server's weight, in per cent. */
    public int iActiveConnsProp;
    /** Share of the new connections in a server's weight, in per cent. */
    public int iNewConnsProp;
    /** Share of the port's own measure in a server's weight, in per cent. */
    public int iPortSpecificProp;
    /** Share of the server's system load in its weight, in per cent. */
    public int iSystemProp;
    /** 1 to change all four proportions. */
    public byte SetClusterProportions;

    /** Most shared bandwidth that the cluster takes, in bytes per second. */
    public int iSharedBytesPerSecond;
    /** 1 to change {@link #iSharedBytesPerSecond}. */
    public byte SetSharedBandwidth;

    /** Address for network address translation: 4 bytes, first byte of the address first. */
    public byte[] natPtAddress = new byte[4];
    /** 1 to change {@link #natPtAddress}. */
    public byte SetNatPtAddress;

    /** Number of ports; status and report. */
    public int NumPorts;

    /** Report: SYN packets on active connections. */
    public int SYNonActive;
    /** Report: SYN packets on finished connections. */
    public int SYNonFINNed;
    /** Report: FIN packets that were dropped. */
    public int FINs_Dropped;
    /** Report: ACK packets that were dropped. */
    public int ACKs_Dropped;
    /** Report: RST packets that were dropped. */
    public int RSTs_Dropped;
    /** Report: packets that were dropped. */
    public int PKTs_Dropped;
    /** Report: packets for a connection that does not exist. */
    public int PKTnonExisting;
    /** Report: new connections while quiesced. */
    public int QuiescNew;
    /** Report: bytes per second now. */
    public int iBytesPerSecond;
    /** Report: connections per second now; also the number that {@code setClusterCPSNative} sends. */
    public int iConnectionsPerSecond;
}
