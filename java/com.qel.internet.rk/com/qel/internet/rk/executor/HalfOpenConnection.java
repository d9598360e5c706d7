package com.qel.internet.rk.executor;

import java.net.InetAddress;

/**
 * A half-open connection.
 *
 * @param client the client's address
 * @param port   the client's port
 * @param marked the executor's mark; the one that comes with the library sets it when the client seems to attack
 */
public record HalfOpenConnection(InetAddress client, int port, boolean marked) {
}
