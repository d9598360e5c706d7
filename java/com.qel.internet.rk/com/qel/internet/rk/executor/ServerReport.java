package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNServer;

/**
 * The counters of a server.
 *
 * @param name                 identifier
 * @param connections          connections so far
 * @param tcpConnections       TCP connections so far
 * @param udpConnections       UDP connections so far
 * @param activeConnections    active connections
 * @param finishedConnections  finished connections
 * @param completedConnections connections that were completed
 * @param savedWeight          the weight from before the server was marked down
 * @param bytesPerSecond       bytes per second now
 */
public record ServerReport(String name, int connections, int tcpConnections, int udpConnections, int activeConnections,
        int finishedConnections, int completedConnections, int savedWeight, int bytesPerSecond) {
    static ServerReport of(CMNServer from) {
        return new ServerReport(from.sServerID, from.TotalConnections, from.TotalTCPConnections,
                from.TotalUDPConnections, from.ActiveConnections, from.FINishedConnections, from.CompleteConnections,
                from._iSavedWeight, from.iBytesPerSecond);
    }
}
