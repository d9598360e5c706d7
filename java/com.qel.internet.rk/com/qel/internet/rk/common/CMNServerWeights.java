package com.qel.internet.rk.common;

/**
 * The weights of the servers of a port, read or written in one exchange. Element i of each array belongs to the same
 * server.
 */
public final class CMNServerWeights {
    /** Identifier of the cluster. */
    public String sClusterID;
    /** Port number, 0 to 65535. */
    public int iPortNumber;

    /** Identifiers; read, through {@link #setServerId}. */
    public final String[] sServerID;
    /** Keys of the identifiers; written. */
    public final int[] iServerIdKey;
    /** Weights, 16 bits, signed when read; read and written. */
    public final int[] iWeight;
    /** Whether a weight stays as it is when weights are computed: 0 or 1; read and written. */
    public final byte[] bFixedWeight;
    /** Whether the server is quiesced because it is down: 0 or 1; written. */
    public final int[] ucQuiescedDown;
    /** Addresses, in host byte order; read. */
    public final int[] iAddress;
    /** Connections so far; read. */
    public final int[] iTotalConns;
    /** Active connections; read. */
    public final int[] iActiveConns;
    /** Each server's own result, 0 for success: the executor's reason otherwise; read, and set by writing. */
    public final int[] iRC;

    /**
     * Makes room for servers.
     *
     * @param capacity the most servers that are read or written with this object
     */
    public CMNServerWeights(int capacity) {
        sServerID = new String[capacity];
        iServerIdKey = new int[capacity];
        iWeight = new int[capacity];
        bFixedWeight = new byte[capacity];
        ucQuiescedDown = new int[capacity];
        iAddress = new int[capacity];
        iTotalConns = new int[capacity];
        iActiveConns = new int[capacity];
        iRC = new int[capacity];
    }

    /**
     * Takes the identifier of a server.
     *
     * @param identifier the identifier
     * @param index      the server's place, from 0
     */
    public void setServerId(String identifier, int index) {
        sServerID[index] = identifier;
    }
}
