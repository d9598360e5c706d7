package com.qel.internet.rk.executor;

import java.net.InetAddress;

/**
 * A heartbeat between this load balancer and its partner.
 *
 * @param local   address of this load balancer
 * @param partner address of the partner
 * @param status  its status; the executor gives the numbers their meaning
 */
public record Heartbeat(InetAddress local, InetAddress partner, int status) {
}
