package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNCluster;
import java.net.InetAddress;

/**
 * The counters of a cluster.
 *
 * @param name                  identifier
 * @param address               address on which the cluster takes connections
 * @param ports                 number of ports
 * @param synsOnActive          SYN packets on active connections
 * @param synsOnFinished        SYN packets on finished connections
 * @param finsDropped           FIN packets that were dropped
 * @param acksDropped           ACK packets that were dropped
 * @param rstsDropped           RST packets that were dropped
 * @param packetsDropped        packets that were dropped
 * @param packetsOfNoConnection packets for a connection that does not exist
 * @param newWhileQuiesced      new connections while quiesced
 * @param bytesPerSecond        bytes per second now
 * @param connectionsPerSecond  connections per second now
 */
public record ClusterReport(String name, InetAddress address, int ports, int synsOnActive, int synsOnFinished,
        int finsDropped, int acksDropped, int rstsDropped, int packetsDropped, int packetsOfNoConnection,
        int newWhileQuiesced, int bytesPerSecond, int connectionsPerSecond) {
    static ClusterReport of(CMNCluster from) {
        return new ClusterReport(from.sClusterId, Values.address(from.Address), from.NumPorts, from.SYNonActive,
                from.SYNonFINNed, from.FINs_Dropped, from.ACKs_Dropped, from.RSTs_Dropped, from.PKTs_Dropped,
                from.PKTnonExisting, from.QuiescNew, from.iBytesPerSecond, from.iConnectionsPerSecond);
    }
}
