package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNCluster;
import java.net.InetAddress;

/**
 * The settings of a cluster.
 *
 * @param name            identifier
 * @param address         address on which the cluster takes connections
 * @param ports           number of ports
 * @param maxPorts        most ports
 * @param primaryHost     primary host
 * @param natAddress      address for network address translation
 * @param proportions     what a server's weight is made of
 * @param sharedBandwidth most shared bandwidth that the cluster takes, in bytes per second
 * @param newPorts        what new ports begin with
 */
public record ClusterStatus(String name, InetAddress address, int ports, int maxPorts, InetAddress primaryHost,
        InetAddress natAddress, Proportions proportions, int sharedBandwidth, NewPortStatus newPorts) {
    static ClusterStatus of(CMNCluster from) {
        return new ClusterStatus(from.sClusterId, Values.address(from.Address), from.NumPorts, from.MaxNumberOfPorts,
                Values.address(from.sPrimaryHost), Values.address(from.natPtAddress),
                new Proportions(from.iActiveConnsProp, from.iNewConnsProp, from.iPortSpecificProp, from.iSystemProp),
                from.iSharedBytesPerSecond, NewPortStatus.of(from));
    }
}
