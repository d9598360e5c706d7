package com.qel.internet.rk.executor;

import java.net.InetAddress;

/**
 * An address that seems to attack a port.
 *
 * @param address the address
 * @param value   a number that the executor defines; the one that comes with the library gives the address's half-open
 *                connections
 */
public record AttackingAddress(InetAddress address, int value) {
}
