package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNServerWeights;
import java.net.InetAddress;

/**
 * The weight of a server, with what it is worth knowing beside it.
 *
 * @param server            the server's identifier
 * @param address           its address
 * @param weight            its weight
 * @param fixed             whether the weight stays as it is when weights are computed
 * @param connections       connections so far
 * @param activeConnections active connections
 */
public record ServerWeight(String server, InetAddress address, int weight, boolean fixed, int connections,
        int activeConnections) {
    static ServerWeight of(CMNServerWeights from, int index) {
        return new ServerWeight(from.sServerID[index], Values.address(from.iAddress[index]), from.iWeight[index],
                from.bFixedWeight[index] != 0, from.iTotalConns[index], from.iActiveConns[index]);
    }
}
