package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorReport;
import java.net.InetAddress;
import java.time.Instant;

/**
 * The executor's counters. Packets are counted since its start.
 *
 * @param nonForwardingAddress   the executor's own address
 * @param version                the executor's version
 * @param started                when the executor started
 * @param packets                packets in all
 * @param tooShort               packets that were too short
 * @param toNonForwardingAddress packets to the non-forwarding address
 * @param discarded              packets to a cluster that were discarded
 * @param inError                packets to a cluster that were in error
 * @param takenLocally           packets to a cluster that the local machine took
 * @param toOwnAddress           packets to a cluster's own address
 * @param forwarded              packets to a cluster that were forwarded
 * @param notForwarded           packets whose forwarding failed
 * @param toNoCluster            packets to no cluster
 * @param broadcasts             broadcast packets to a cluster
 * @param connectionBuckets      buckets of the connection table in use
 * @param clusters               number of clusters
 * @param bytesPerSecond         bytes per second now
 * @param connectionsPerSecond   connections per second now
 */
public record ExecutorReport(InetAddress nonForwardingAddress, String version, Instant started, long packets,
        long tooShort, long toNonForwardingAddress, long discarded, long inError, long takenLocally, long toOwnAddress,
        long forwarded, long notForwarded, long toNoCluster, long broadcasts, int connectionBuckets, int clusters,
        int bytesPerSecond, int connectionsPerSecond) {
    static ExecutorReport of(CMNExecutorReport from) {
        return new ExecutorReport(Values.address(from.NFA), from.Version,
                Instant.ofEpochSecond(Integer.toUnsignedLong(from.iTimeStarted)), from.Pcktotal, from.Pcktoshort,
                from.Pcknonforw, from.PckVECdiscard, from.PckVECerror, from.PckVEClocal, from.PckVECownaddr,
                from.PckVECforward, from.Pckforwarderr, from.PcknotVEC, from.PckVECbroadcast, from.InconnHashBkts,
                from.NumClusters, from.iBytesPerSecond, from.iConnectionsPerSecond);
    }
}
