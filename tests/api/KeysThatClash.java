import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.Cluster;
import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.KeyClash;
import com.qel.internet.rk.executor.Port;
import com.qel.internet.rk.executor.PortSettings;
import com.qel.internet.rk.executor.RuleSettings;
import com.qel.internet.rk.executor.Server;
import com.qel.internet.rk.executor.ServerSettings;
import com.qel.internet.rk.executor.WeightChange;
import java.util.List;
import java.util.Map;

/** What is called for one name does not reach another with the same key. */
final class KeysThatClash {
    // Their keys are 0x0000200A and 0x000112B8.
    private static final String CLUSTER = "srv105";
    private static final String NO_CLUSTER = "srv950";
    private static final String SERVER = "10.0.0.103";
    private static final String NO_SERVER = "10.0.0.120";

    private KeysThatClash() {
    }

    static void run(Executor executor) {
        Check.expect("keys", Executor.keyOf(CLUSTER), Executor.keyOf(NO_CLUSTER));
        Check.expect("clashes", Executor.clashes(List.of(CLUSTER, "web", NO_CLUSTER, SERVER)),
                List.of(new KeyClash(0x200A, List.of(CLUSTER, NO_CLUSTER))));

        Cluster cluster = executor.cluster(CLUSTER).add(ClusterSettings.at(ipv4("10.0.0.10")));
        Port port = cluster.port(80).add(PortSettings.none());
        Server server = port.server(SERVER).add(ServerSettings.at(ipv4("10.0.0.103")));
        port.server("other").add(ServerSettings.none());
        port.rule("night").add(RuleSettings.ofType(2));
        ofClusters(executor.cluster(NO_CLUSTER));
        ofServers(port, port.server(NO_SERVER));

        Check.expect("servers", port.servers(), List.of(server, port.server("other")));
        Check.expect("case does not count", executor.cluster("SRV105").status().ports(), 1);
        Check.expect("equal", executor.cluster("SRV105"), cluster);
        port.changeWeights(List.of(new WeightChange(server, 0)));
        server.remove();
        Check.expectRefusal("a weight of none", -11, "UNKNOWN_SERVER",
                () -> port.changeWeights(List.of(new WeightChange(server, 5))));
        port.server(NO_SERVER).add(ServerSettings.none());
        unknownServer("a weight of what was none before", SERVER,
                () -> port.changeWeights(List.of(new WeightChange(server, 5))));
        unknownServer("the other way round", SERVER, server::status);
        whatHungBelowIsForgotten(cluster, port, server);
        cluster.remove();
        executor.cluster(NO_CLUSTER).add(ClusterSettings.at(ipv4("10.0.0.11")));
        unknownCluster("the other way round", CLUSTER, cluster::status);
        executor.cluster(NO_CLUSTER).remove();
    }

    /** With a port or a cluster its servers go: those that come after them may be others. */
    private static void whatHungBelowIsForgotten(Cluster cluster, Port port, Server server) {
        for (Runnable removal : List.<Runnable>of(port::remove, () -> {
            cluster.remove();
            cluster.add(ClusterSettings.at(ipv4("10.0.0.10")));
        })) {
            removal.run();
            port.add(PortSettings.none());
            server.add(ServerSettings.none());
            removal.run();
            port.add(PortSettings.none());
            port.server(NO_SERVER).add(ServerSettings.none());
            unknownServer("of before", SERVER, server::down);
        }
    }

    private static void ofClusters(Cluster clash) {
        Check.expectPart("who stands in the way", Check.expectRefusal("adding", -4, "CLUSTER_EXISTS",
                () -> clash.add(ClusterSettings.none())), "'" + CLUSTER + "' has the same key 0x0000200A");
        Port port = clash.port(80);
        Map<String, Runnable> calls = Map.ofEntries(
                Map.entry("status", clash::status),
                Map.entry("report", clash::report),
                Map.entry("change", () -> clash.change(ClusterSettings.none().maxPorts(9))),
                Map.entry("rate", () -> clash.setConnectionsPerSecond(7)),
                Map.entry("remove", clash::remove),
                Map.entry("ports", clash::ports),
                Map.entry("add port", () -> clash.port(443).add(PortSettings.none())),
                Map.entry("change port", () -> port.change(PortSettings.none().maxServers(9))),
                Map.entry("remove port", port::remove),
                Map.entry("status of port", port::status),
                Map.entry("report of port", port::report),
                Map.entry("rate of port", () -> port.setConnectionsPerSecond(7)),
                Map.entry("servers", port::servers),
                Map.entry("rules", port::rules),
                Map.entry("weights", port::weights),
                Map.entry("change weights",
                        () -> port.changeWeights(List.of(new WeightChange(port.server("other"), 5)))),
                Map.entry("affinities", () -> port.affinities().list()),
                Map.entry("bind", () -> port.affinities().bind(Map.of(ipv4("10.9.0.1"), ipv4("10.0.0.103")))),
                Map.entry("add server", () -> port.server("x").add(ServerSettings.none())),
                Map.entry("change server", () -> port.server("other").change(ServerSettings.none().weight(5))),
                Map.entry("remove server", () -> port.server("other").remove()),
                Map.entry("server up", () -> port.server("other").up()),
                Map.entry("server down", () -> port.server("other").down()),
                Map.entry("status of server", () -> port.server("other").status()),
                Map.entry("report of server", () -> port.server("other").report()),
                Map.entry("rate of server", () -> port.server("other").setConnectionsPerSecond(7)),
                Map.entry("add rule", () -> port.rule("day").add(RuleSettings.ofType(2))),
                Map.entry("change rule", () -> port.rule("night").change(RuleSettings.none().range(1, 5))),
                Map.entry("remove rule", () -> port.rule("night").remove()),
                Map.entry("status of rule", () -> port.rule("night").status()),
                Map.entry("report of rule", () -> port.rule("night").report()),
                Map.entry("rate of rule", () -> port.rule("night").setConnectionsPerSecond(7)),
                Map.entry("add to rule", () -> port.rule("night").addServer(port.server("other"))),
                Map.entry("take out of rule", () -> port.rule("night").removeServer(port.server("other"))),
                Map.entry("servers of rule", () -> port.rule("night").servers()));
        calls.forEach((what, call) -> unknownCluster(what, NO_CLUSTER, call));
    }

    private static void ofServers(Port port, Server clash) {
        Check.expectPart("who stands in the way", Check.expectRefusal("adding", -18, "SERVER_EXISTS",
                () -> clash.add(ServerSettings.none())), "'" + SERVER + "' has the same key 0x000112B8");
        Map<String, Runnable> calls = Map.of(
                "status", clash::status,
                "report", clash::report,
                "change", () -> clash.change(ServerSettings.none().weight(5)),
                "rate", () -> clash.setConnectionsPerSecond(7),
                "remove", clash::remove,
                "up", clash::up,
                "down", clash::down,
                "weight", () -> port.changeWeights(List.of(new WeightChange(clash, 5))),
                "bind", () -> port.affinities().bind(Map.of(ipv4("10.9.0.1"), ipv4(NO_SERVER))),
                "add to rule", () -> port.rule("night").addServer(clash));
        calls.forEach((what, call) -> unknownServer(what, NO_SERVER, call));
    }

    private static void unknownCluster(String what, String name, Runnable call) {
        Check.expectPart(what, Check.expectRefusal(what, -5, "UNKNOWN_CLUSTER", call), "cluster '" + name
                + "': there is none of this name, and the executor would take '"
                + (name.equals(CLUSTER) ? NO_CLUSTER : CLUSTER) + "' for it: both have the key 0x0000200A");
    }

    private static void unknownServer(String what, String name, Runnable call) {
        Check.expectPart(what, Check.expectRefusal(what, -19, "UNKNOWN_SERVER", call),
                "there is none of this name, and the executor would take '" + (name.equals(SERVER) ? NO_SERVER : SERVER)
                        + "' for it: both have the key 0x000112B8");
    }
}
