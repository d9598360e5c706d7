package com.qel.internet.rk.executor;

import java.net.InetAddress;
import java.time.Duration;

/**
 * A client that stays with a server of a port.
 *
 * @param client            the client's address
 * @param server            the server's address
 * @param activeConnections active connections between them
 * @param age               how long ago the client was bound
 */
public record AffinityRecord(InetAddress client, InetAddress server, int activeConnections, Duration age) {
}
