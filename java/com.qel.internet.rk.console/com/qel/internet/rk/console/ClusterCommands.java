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
            setting("Address", "address", Kind.ADDRESS, "--address", "SetIPAddress")
                    .initially(null),
            setting("sPrimaryHost", "primary host", Kind.ADDRESS, "--primary-host", "SetPrimaryHost"),
            setting("natPtAddress", "NAT address", Kind.IPV4_BYTES, "--nat-address", "SetNatPtAddress"),
            read("NumPorts", "ports", Kind.INT),
            setting("MaxNumberOfPorts", "most ports", Kind.INT, "--max-ports", "SetMaxNumberOfPorts")
                    .initially("64").inherits("--default-max-ports"),
            setting("iActiveConnsProp", "proportions (active, new, port, system)", Kind.INT, "--proportions",
                    "SetClusterProportions")
                    .and("iNewConnsProp", "iPortSpecificProp", "iSystemProp").initially("50,50,0,0"),
            setting("iSharedBytesPerSecond", "shared bandwidth, bytes per second", Kind.INT, "--shared-bandwidth",
                    "SetSharedBandwidth").within("0 to 2147483647"))
            .with(PortDefaults.PROPERTIES);

    static final Level LEVEL = new Level("cluster", Family.CLUSTER, STATUS,
            CMNExecutorInterface::getClusterStatusNative, CMNExecutorInterface::setClusterStatusNative,
            CMNExecutorInterface::addClusterNative, CMNExecutorInterface::removeClusterNative,
            Identity.cluster("sClusterId", "iClusterIdKey"));

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
        ObjectFamily clusters = new ObjectFamily(session, LEVEL,
                "Clusters: the addresses on which load is balanced.");
        clusters.add("Add a cluster.", STATUS, LEVEL.add(), "--address");
        clusters.set("Change settings of a cluster.", STATUS, LEVEL.change());
        clusters.remove("Remove a cluster, and all that hangs below it.", STATUS, LEVEL.remove());
        clusters.show("status", "Show the settings of a cluster.", STATUS, LEVEL.read());
        clusters.show("report", "Show the counters of a cluster.", REPORT,
                CMNExecutorInterface::getClusterReportNative);
        clusters.list("List the clusters.", STATUS, COLUMNS, LEVEL.read());
        clusters.cps("Set the connections-per-second counter of a cluster.", STATUS, "iConnectionsPerSecond",
                CMNExecutorInterface::setClusterCPSNative);
        return clusters.definition();
    }
}
