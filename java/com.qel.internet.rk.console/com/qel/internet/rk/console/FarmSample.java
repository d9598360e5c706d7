package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * What a farm does at one time, in few native calls: one for all servers of a port. What these do not tell, whether a
 * server is quiesced or marked down, is asked for each server only now and then.
 */
final class FarmSample {
    static final String UP = "up";
    static final String DOWN = "down";
    static final String QUIESCED = "quiesced";
    static final String IDLE = "weight 0";
    /** After so many samples each server is asked for its state again. */
    private static final int THOROUGH_EVERY = 10;

    /**
     * One object.
     *
     * @param kind        cluster, port, server or rule
     * @param state       for a server one of the above; for a port how many servers are up
     * @param weight      of a server; -1 for others
     * @param active      connections now
     * @param connections connections so far; -1 where nobody counts them
     * @param rate        connections per second
     * @param bytes       bytes per second; -1 where nobody counts them
     */
    record Line(String kind, String cluster, String port, String name, String state, int weight, long active,
            long connections, double rate, long bytes) {
        String key() {
            return kind + '\n' + cluster + '\n' + port + '\n' + name;
        }
    }

    final long nanos = System.nanoTime();
    final CMNExecutorReport executor = new CMNExecutorReport();
    final List<Line> lines = new ArrayList<>();
    private final Map<String, Line> byKey = new HashMap<>();
    private FarmSample before; // while this one is taken
    private final int number;
    private final boolean isThorough;

    private FarmSample(FarmSample before, boolean isThorough) {
        this.before = before;
        number = before == null ? 0 : before.number + 1;
        this.isThorough = isThorough || number % THOROUGH_EVERY == 0;
    }

    /**
     * Takes a sample.
     *
     * @param before     the one before, from which rates are made; null for none
     * @param isThorough whether each server is asked for its state in any case
     */
    static FarmSample take(Session session, FarmSample before, boolean isThorough) {
        FarmSample sample = new FarmSample(before, isThorough);
        sample.read(session);
        sample.before = null;
        return sample;
    }

    private void read(Session session) {
        Refusal.check(Family.EXECUTOR, session.natives().getExecutorReportNative(executor));
        for (String name : Names.ofKind(session, Identity.CLUSTER, Map.of())) {
            CMNCluster cluster = new CMNCluster();
            cluster.sClusterId = name;
            Refusal.check(Family.CLUSTER, session.natives().getClusterReportNative(cluster));
            int place = lines.size();
            long active = 0;
            for (String number : Names.ofKind(session, Identity.PORT, Map.of(Identity.CLUSTER, name))) {
                active += readPort(session, name, number);
            }
            put(place, new Line("cluster", name, "", name, "", -1, active, -1, cluster.iConnectionsPerSecond,
                    cluster.iBytesPerSecond));
        }
    }

    private long readPort(Session session, String cluster, String number) {
        CMNPort port = new CMNPort();
        port.ClusterId = cluster;
        port.PortNumber = Names.port(number);
        int servers = Names.numberOfServers(session, port);
        put(lines.size(), new Line("port", cluster, number, number,
                (port.NumServers - port.NumNodesDown) + " of " + port.NumServers + " up", -1, port.ActiveConnections, -1,
                port.iConnectionsPerSecond, port.iBytesPerSecond));
        CMNServerWeights weights = WeightsCommands.weights(port, servers);
        Refusal.check(Family.WEIGHTS, session.natives().getServerWeightsNative(weights, servers));
        for (int i = 0; i < servers && weights.sServerID[i] != null; i++) {
            String name = weights.sServerID[i];
            int weight = weights.iWeight[i];
            put(lines.size(), line("server", cluster, number, name, state(session, cluster, number, name, weight), weight,
                    weights.iActiveConns[i], weights.iTotalConns[i], -1));
        }
        Map<String, String> path = Map.of(Identity.CLUSTER, cluster, Identity.PORT, number);
        for (String name : Names.ofKind(session, Identity.RULE, path)) {
            CMNRule rule = new CMNRule();
            rule.ClusterId = cluster;
            rule.PortNumber = port.PortNumber;
            rule.RuleName = name;
            Refusal.check(Family.RULE, session.natives().getRuleReportNative(rule));
            put(lines.size(), line("rule", cluster, number, name, rule.NumServers + (rule.NumServers == 1 ? " server" : " servers"), -1,
                    rule.ActiveConnections, rule.TimesFired, rule.iBytesPerSecond));
        }
        return port.ActiveConnections;
    }

    private void put(int place, Line line) {
        lines.add(place, line);
        byKey.put(line.key(), line);
    }

    /** {@return a line whose rate comes from how many connections there were before} */
    private Line line(String kind, String cluster, String port, String name, String state, int weight, long active,
            long connections, long bytes) {
        Line line = new Line(kind, cluster, port, name, state, weight, active, connections, 0, bytes);
        Line earlier = earlier(line);
        if (earlier == null || connections < earlier.connections) {
            return line;
        }
        double rate = (connections - earlier.connections) * 1e9 / Math.max(1, nanos - before.nanos);
        return new Line(kind, cluster, port, name, state, weight, active, connections, rate, bytes);
    }

    private Line earlier(Line line) {
        return before == null ? null : before.byKey.get(line.key());
    }

    private String state(Session session, String cluster, String port, String name, int weight) {
        Line earlier = earlier(new Line("server", cluster, port, name, "", 0, 0, 0, 0, 0));
        boolean isKnown = !isThorough && earlier != null && (earlier.weight == 0) == (weight == 0);
        if (isKnown) {
            return earlier.state;
        }
        CMNServer server = server(session, cluster, port, name);
        Refusal.check(Family.SERVER, session.natives().getServerStatusNative(server));
        if (server._iQuiesced != 0) {
            return QUIESCED;
        }
        if (weight != 0) {
            return UP;
        }
        Refusal.check(Family.SERVER, session.natives().getServerReportNative(server));
        return server._iSavedWeight > 0 ? DOWN : IDLE;
    }

    /** {@return an object for the native methods} */
    static CMNServer server(Session session, String cluster, String port, String name) {
        CMNServer server = new CMNServer();
        server.ClusterId = cluster;
        server.Port = Names.port(port);
        ServerCommands.LEVEL.own().put(session, server, name);
        return server;
    }
}
