package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import picocli.CommandLine.Model.CommandSpec;

/** Clusters. */
final class ClusterCommands {
    private static final Table STATUS = Table.of(CMNCluster::new,
            read("sClusterId", "identifier", Kind.TEXT),
            read("iClusterIdKey", "key", Kind.KEY),
            setting("Address", "address", Kind.ADDRESS, "--address", "SetIPAddress"),
            setting("sPrimaryHost", "primary host", Kind.ADDRESS, "--primary-host", "SetPrimaryHost"),
            setting("natPtAddress", "NAT address", Kind.IPV4_BYTES, "--nat-address", "SetNatPtAddress"),
            read("NumPorts", "ports", Kind.INT),
            setting("MaxNumberOfPorts", "most ports", Kind.INT, "--max-ports", "SetMaxNumberOfPorts"),
            setting("iActiveConnsProp", "proportions (active, new, port, system)", Kind.INT, "--proportions",
                    "SetClusterProportions")
                    .and("iNewConnsProp", "iPortSpecificProp", "iSystemProp"),
            setting("iSharedBytesPerSecond", "shared bandwidth, bytes per second", Kind.INT, "--shared-bandwidth",
                    "SetSharedBandwidth"))
            .with(PortDefaults.PROPERTIES);

    private static final List<String> COLUMNS = List.of("sClusterId", "Address", "NumPorts", "MaxNumberOfPorts");

    private static final Table REPORT = Table.of(CMNCluster::new,
            read("sClusterId", "identifier", Kind.TEXT),
            read("iClusterIdKey", "key", Kind.KEY),
            read("Address", "address", Kind.ADDRESS),
            read("NumPorts", "ports", Kind.INT),
            read("SYNonActive", "SYNs on active connections", Kind.INT),
            read("SYNonFINNed", "SYNs on finished connections", Kind.INT),
            read("FINs_Dropped", "FINs dropped", Kind.INT),
            read("ACKs_Dropped", "ACKs dropped", Kind.INT),
            read("RSTs_Dropped", "RSTs dropped", Kind.INT),
            read("PKTs_Dropped", "packets dropped", Kind.INT),
            read("PKTnonExisting", "packets for no connection", Kind.INT),
            read("QuiescNew", "new connections while quiesced", Kind.INT),
            read("iBytesPerSecond", "bytes per second", Kind.INT),
            read("iConnectionsPerSecond", "connections per second", Kind.INT));

    private ClusterCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        ObjectFamily clusters = new ObjectFamily(session, Family.CLUSTER, "cluster",
                "Clusters: the addresses on which load is balanced.",
                Identity.cluster("sClusterId", "iClusterIdKey"));
        clusters.add("Add a cluster.", STATUS, CMNExecutorInterface::addClusterNative, "--address");
        clusters.set("Change settings of a cluster.", STATUS, CMNExecutorInterface::setClusterStatusNative);
        clusters.remove("Remove a cluster, and all that hangs below it.", STATUS,
                CMNExecutorInterface::removeClusterNative);
        clusters.show("status", "Show the settings of a cluster.", STATUS,
                CMNExecutorInterface::getClusterStatusNative);
        clusters.show("report", "Show the counters of a cluster.", REPORT,
                CMNExecutorInterface::getClusterReportNative);
        clusters.list("List the clusters.", STATUS, COLUMNS, CMNExecutorInterface::getClusterStatusNative);
        clusters.cps("Set the connections-per-second counter of a cluster.", STATUS, "iConnectionsPerSecond",
                CMNExecutorInterface::setClusterCPSNative);
        return clusters.definition();
    }
}
