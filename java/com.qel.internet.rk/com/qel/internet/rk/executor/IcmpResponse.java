package com.qel.internet.rk.executor;

import java.net.InetAddress;

/**
 * Whether an ICMP response came, and from where.
 *
 * @param came whether it came
 * @param from the address that it came from
 */
public record IcmpResponse(boolean came, InetAddress from) {
}
