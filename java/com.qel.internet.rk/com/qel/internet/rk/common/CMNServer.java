package com.qel.internet.rk.common;

import java.util.ArrayList;
import java.util.List;

/**
 * A server of a port. Its settings, its listeners, its counters, and its identity.
 *
 * <p>A setting is written only when its flag, the byte named {@code Set...}, is 1.
 */
public final class CMNServer {
    /** Identifier, at most 64 characters; upper and lower case are the same. */
    public String sServerID;
    /** Key of {@link #sServerID}; adding sets it, and every other method needs it. */
    public int iServerIdKey;
    /** Identifier of the cluster. */
    public String ClusterId;
    /** Port number, 0 to 65535. */
    public int Port;

    /** Number of listeners, at most 2; {@link #addListener} and {@link #getListener} keep it. */
    public int _iNumListeners;
    /** The listeners; {@link #addListener} adds one. */
    public final List<CMNListener> listeners = new ArrayList<>();
    /** 1 to change the listeners. */
    public byte SetListeners;
    /** How long connecting to the server may take; sent and read with each listener. */
    public int iConnectTimeout;
    /** How long to wait for the end of a connection; sent and read with each listener. */
    public int iWaitForComplete;

    /** Weight, 0 to the weight bound of the port. */
    public int _iWeight;
    /** 1 to change {@link #_iWeight}. */
    public byte SetWeight;

    /** Whether the weight stays as it is when weights are computed: 0 or 1. */
    public byte _bFixedWeight;
    /** 1 to change {@link #_bFixedWeight}. */
    public byte SetFixedWeight;

    /** Return address, from which the executor contacts the server: dotted; when writing, a host name too. */
    public String _sReturnAddress;
    /** 1 to change {@link #_sReturnAddress}. */
    public byte SetReturnAddress;

    /** Router through which the server is reached: dotted; when writing, a host name too; 0.0.0.0 for none. */
    public String _sRouterAddress;
    /** 1 to change {@link #_sRouterAddress}. */
    public byte SetRouterAddress;

    /** Whether the server runs on the executor's own machine: 0 or 1. */
    public byte bCollocated;
    /** 1 to change {@link #bCollocated}. */
    public byte SetCollocated;

    /** Whether clients stay with the server: 0 or 1. */
    public byte bSticky;
    /** 1 to change {@link #bSticky}. */
    public byte SetSticky;

    /** Whether the server takes no new connections: 0 or 1. */
    public int _iQuiesced;
    /** 1 to change {@link #_iQuiesced}. */
    public byte SetQuiesced;

    /** What an advisor asks the server; keep it below 256 bytes. */
    public String _sAdvisorRequest;
    /** 1 to change {@link #_sAdvisorRequest}. */
    public byte SetAdvisorRequest;

    /** What an advisor expects of the server; keep it below 256 bytes. */
    public String _sAdvisorResponse;
    /** 1 to change {@link #_sAdvisorResponse}. */
    public byte SetAdvisorResponse;

    /** Value of the cookie that names the server; keep it below 100 bytes. */
    public String CookieValue;
    /** 1 to change {@link #CookieValue}. */
    public byte SetCookieValue;

    /** Clone identifier; keep it below 106 bytes. */
    public String CloneID;
    /** 1 to change {@link #CloneID}. */
    public byte SetCloneID;

    /** Most connections per second; 0 for no limit. */
    public int _iCPSMaximum;
    /** 1 to change {@link #_iCPSMaximum}. */
    public byte SetCPSMaximum;

    /** Status: whether the server is reached through a router: 0 or 1. */
    public byte IsRemote;

    /** The number of connections per second that {@code setServerCPSNative} sends; not negative. */
    public int _iCPSCount;

    /** Report: connections so far. */
    public int TotalConnections;
    /** Report: TCP connections so far. */
    public int TotalTCPConnections;
    /** Report: UDP connections so far. */
    public int TotalUDPConnections;
    /** Report: active connections. */
    public int ActiveConnections;
    /** Report: finished connections. */
    public int FINishedConnections;
    /** Report: connections that were completed. */
    public int CompleteConnections;
    /** Report: the weight from before the server was marked down. */
    public int _iSavedWeight;
    /** Report: bytes per second now. */
    public int iBytesPerSecond;

    /** Creates a server without listeners whose settings are all unset: no flag is 1. */
    public CMNServer() {
    }

    /**
     * Adds a listener, and counts it.
     *
     * @param listener the listener; the executor has room for two
     */
    public void addListener(CMNListener listener) {
        listeners.add(listener);
        _iNumListeners = listeners.size();
    }

    /**
     * Gives a listener. Reading a server's status may ask for more listeners than the object counts: the next one is
     * then made and counted, so that a new object can be filled.
     *
     * @param index from 0
     * @return the listener, or null when {@link #_iNumListeners} counts one that was never added
     */
    public CMNListener getListener(int index) {
        if (index == listeners.size() && index >= _iNumListeners) {
            addListener(new CMNListener());
        }
        return index >= 0 && index < listeners.size() ? listeners.get(index) : null;
    }

    /** {@return the connect time-out, which is the same for every listener} */
    public int getConnectTimeout() {
        return iConnectTimeout;
    }

    /** {@return the time to wait for the end of a connection, which is the same for every listener} */
    public int getIntWaitForComplete() {
        return iWaitForComplete;
    }

    /**
     * Makes room for the listeners that reading the status found.
     *
     * @param count how many there are in all
     */
    public void addListenersFromNative(int count) {
        while (listeners.size() < count) {
            addListener(new CMNListener());
        }
    }

    /**
     * Takes the time to wait for the end of a connection from the status.
     *
     * @param time in the executor's unit
     */
    public void setWaitForContinueFromNative(int time) {
        iWaitForComplete = time;
    }

    /**
     * Takes the connect time-out from the status.
     *
     * @param time in the executor's unit
     */
    public void setConnectTimeoutFromNative(int time) {
        iConnectTimeout = time;
    }
}
