package com.qel.internet.rk.executor;

import java.net.InetAddress;

/**
 * The network interface that carries a cluster address as an alias.
 *
 * @param address          the cluster address
 * @param networkInterface name of the interface
 * @param mask             the interface's mask
 */
public record Alias(InetAddress address, String networkInterface, InetAddress mask) {
}
