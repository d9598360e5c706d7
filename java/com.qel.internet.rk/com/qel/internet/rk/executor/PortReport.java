package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNPort;

/**
 * The counters of a port.
 *
 * @param number               port number
 * @param servers              number of servers
 * @param serversDown          servers that are down
 * @param localServers         servers on the executor's own machine
 * @param highestWeight        highest weight of a server
 * @param activeConnections    active connections
 * @param halfOpenConnections  half-open connections
 * @param resetsSent           resets sent
 * @param bytesPerSecond       bytes per second now
 * @param connectionsPerSecond connections per second now
 * @param protocol             protocol
 * @param method               forwarding method
 */
public record PortReport(int number, int servers, int serversDown, int localServers, int highestWeight,
        int activeConnections, int halfOpenConnections, int resetsSent, int bytesPerSecond, int connectionsPerSecond,
        int protocol, int method) {
    static PortReport of(CMNPort from) {
        return new PortReport(from.PortNumber, from.NumServers, from.NumNodesDown, from.NumNodesLocal, from.MaxWeight,
                from.ActiveConnections, from.iNumHalfOpen, from.iResetsSent, from.iBytesPerSecond,
                from.iConnectionsPerSecond, from.iPortProtocol, from.iMethod);
    }
}
