package com.qel.internet.rk.executor;

import java.net.InetAddress;

/**
 * An address that has to stay reachable.
 *
 * @param address       the address
 * @param mask          its mask
 * @param type          its type; the executor gives the numbers their meaning, as of the statuses
 * @param status        its status as this load balancer sees it
 * @param since         when that status was set, on the executor's own clock
 * @param partnerStatus its status as the partner sees it
 * @param partnerSince  when that status was set, on the executor's own clock
 */
public record ReachTarget(InetAddress address, InetAddress mask, int type, int status, int since, int partnerStatus,
        int partnerSince) {
}
