package rk.bench;

import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.google.gson.GsonBuilder;
import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import com.qel.internet.rk.executor.Cluster;
import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.NewPortSettings;
import com.qel.internet.rk.executor.Port;
import com.qel.internet.rk.executor.PortSettings;
import com.qel.internet.rk.executor.Rule;
import com.qel.internet.rk.executor.RuleSettings;
import com.qel.internet.rk.executor.Server;
import com.qel.internet.rk.executor.ServerSettings;
import com.qel.internet.rk.executor.WeightChange;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;

/**
 * The Java API beside direct calls of the native methods that it makes, on the reference executor in user space: new
 * objects are made for each call, as programs do.
 *
 * <p>Arguments: the JSON file, and optionally the number of rounds and the milliseconds of a batch.
 */
public final class JavaApi {
    /** What a program that calls directly has of a server. */
    private record OwnRow(int key, int weight) {
    }

    private static final int SERVERS = 1000;
    private static final CMNExecutorInterface NATIVES = Executor.natives();

    private static final List<Map<String, Object>> COMPARISONS = new ArrayList<>();
    private static int rounds;
    private static double batch;

    private JavaApi() {
    }

    public static void main(String[] arguments) throws IOException {
        if (arguments.length < 1 || arguments.length > 3) {
            System.err.println("usage: JavaApi JSON [ROUNDS [MILLISECONDS]]");
            System.exit(2);
        }
        rounds = arguments.length > 1 ? Integer.parseInt(arguments[1]) : 101;
        batch = 1e6 * (arguments.length > 2 ? Double.parseDouble(arguments[2]) : 2);
        try (Executor executor = Executor.openUserSpace()) {
            measure(executor);
        }
        Map<String, Object> result = Map.of("java", Runtime.version().toString(), "comparisons", COMPARISONS);
        Files.writeString(Path.of(arguments[0]), new GsonBuilder().setPrettyPrinting().create().toJson(result) + "\n");
    }

    private static void measure(Executor executor) {
        Cluster cluster = executor.cluster("www.example.com").add(ClusterSettings.at(ipv4("10.0.0.5")));
        Port port = cluster.port(80).add(PortSettings.none().maxServers(SERVERS).weightBound(100));
        Server server = port.server("one").add(ServerSettings.at(ipv4("10.1.0.1")));
        Rule rule = port.rule("night").add(RuleSettings.ofType(2).range(1, 2));

        compare("executor report", () -> succeed(NATIVES.getExecutorReportNative(new CMNExecutorReport())),
                executor::report);
        compare("cluster status", () -> succeed(NATIVES.getClusterStatusNative(cluster())), cluster::status);
        compare("cluster report", () -> succeed(NATIVES.getClusterReportNative(cluster())), cluster::report);
        compare("cluster change, 3 settings", () -> {
            CMNCluster changed = cluster();
            changed.iClusterIdKey = cluster.key();
            changed.Address = "10.0.0.5";
            changed.SetIPAddress = 1;
            changed.MaxNumberOfPorts = 50;
            changed.SetMaxNumberOfPorts = 1;
            changed.DefaultPortStickyTime = 300;
            changed.SetDefaultPortStickyTime = 1;
            succeed(NATIVES.setClusterStatusNative(changed));
        }, () -> cluster.change(ClusterSettings.at(ipv4("10.0.0.5")).maxPorts(50)
                .newPorts(NewPortSettings.none().stickyTime(Duration.ofMinutes(5)))));
        compare("port status", () -> succeed(NATIVES.getPortStatusNative(port())), port::status);
        compare("port change, 2 settings", () -> {
            CMNPort changed = port();
            changed.StickyTime = 300;
            changed.SetStickyTime = 1;
            changed.iStickyBits = 24;
            changed.SetStickyBits = 1;
            succeed(NATIVES.setPortStatusNative(changed));
        }, () -> port.change(PortSettings.none().stickyTime(Duration.ofMinutes(5)).stickyBits(24)));
        compare("server status", () -> succeed(NATIVES.getServerStatusNative(server(server.key()))), server::status);
        compare("server report", () -> succeed(NATIVES.getServerReportNative(server(server.key()))), server::report);
        compare("server down and up", () -> {
            succeed(NATIVES.setServerDownNative(server(server.key())));
            succeed(NATIVES.setServerUpNative(server(server.key())));
        }, () -> {
            server.down();
            server.up();
        });
        compare("rule status", () -> {
            CMNRule read = new CMNRule();
            read.ClusterId = "www.example.com";
            read.PortNumber = 80;
            read.RuleName = "night";
            succeed(NATIVES.getRuleStatusNative(read));
        }, rule::status);
        weights(port);
    }

    private static void weights(Port port) {
        List<WeightChange> changes = new ArrayList<>(List.of(new WeightChange(port.server("one"), 10)));
        Set<Integer> taken = new HashSet<>(Set.of(port.server("one").key()));
        for (int i = 0; changes.size() < SERVERS; i++) {
            Server server = port.server("rack" + i / 10 + "-server" + i % 10);
            if (taken.add(server.key())) {
                changes.add(new WeightChange(server.add(ServerSettings.at(ipv4("10.1.1.1"))), 10));
            }
        }
        List<OwnRow> own = changes.stream().map(change -> new OwnRow(change.server().key(), change.weight())).toList();
        compare("weights read, " + SERVERS + " servers", () -> {
            CMNPort counted = port();
            succeed(NATIVES.getPortReportNative(counted));
            CMNServerWeights weights = weights(counted.NumServers);
            succeed(NATIVES.getServerWeightsNative(weights, counted.NumServers));
        }, port::weights);
        compare("weights write, " + SERVERS + " servers", () -> {
            CMNServerWeights weights = weights(SERVERS);
            for (int i = 0; i < SERVERS; i++) {
                weights.iServerIdKey[i] = own.get(i).key();
                weights.iWeight[i] = own.get(i).weight();
            }
            succeed(NATIVES.setServerWeightsNative(weights, SERVERS));
            for (int result : weights.iRC) {
                succeed(result);
            }
        }, () -> port.changeWeights(changes));
    }

    private static void compare(String method, Runnable direct, Runnable api) {
        Map<String, Object> comparison = new LinkedHashMap<>();
        comparison.put("method", method);
        comparison.put("alternatives", Comparison.measure(method, List.of(
                new Comparison.Candidate("direct call", direct), new Comparison.Candidate("Java API", api)), rounds,
                batch));
        COMPARISONS.add(comparison);
    }

    private static void succeed(int status) {
        if (status != 0) {
            throw new IllegalStateException("status " + status);
        }
    }

    private static CMNCluster cluster() {
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = "www.example.com";
        return cluster;
    }

    private static CMNPort port() {
        CMNPort port = new CMNPort();
        port.ClusterId = "www.example.com";
        port.PortNumber = 80;
        return port;
    }

    private static CMNServer server(int key) {
        CMNServer server = new CMNServer();
        server.ClusterId = "www.example.com";
        server.Port = 80;
        server.sServerID = "one";
        server.iServerIdKey = key;
        return server;
    }

    private static CMNServerWeights weights(int capacity) {
        CMNServerWeights weights = new CMNServerWeights(capacity);
        weights.sClusterID = "www.example.com";
        weights.iPortNumber = 80;
        return weights;
    }
}
