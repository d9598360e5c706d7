package com.qel.internet.rk.executor;

import java.net.InetAddress;

/**
 * Who is connected with whom; addresses are of IPv4.
 *
 * @param cluster    address of the cluster
 * @param port       port of the cluster, 0 to 65535
 * @param client     address of the client
 * @param clientPort port of the client, 0 to 65535
 * @param server     address of the server
 */
public record ConnectionEnds(InetAddress cluster, int port, InetAddress client, int clientPort, InetAddress server) {
    /**
     * Takes what arrives as it is given.
     *
     * @param cluster    address of the cluster
     * @param port       port of the cluster
     * @param client     address of the client
     * @param clientPort port of the client
     * @param server     address of the server
     * @throws IllegalArgumentException when an address is none of IPv4, or a port outside 0 to 65535
     */
    public ConnectionEnds {
        Values.bytes4(cluster, "cluster");
        Values.port(port);
        Values.bytes4(client, "client");
        Values.port(clientPort);
        Values.bytes4(server, "server");
    }

    int clusterNumber() {
        return Values.number(cluster, "cluster");
    }

    int clientNumber() {
        return Values.number(client, "client");
    }

    int serverNumber() {
        return Values.number(server, "server");
    }
}
