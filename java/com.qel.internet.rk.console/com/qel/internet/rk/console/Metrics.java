package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** What the executor counts, as a text that monitoring systems read. */
final class Metrics {
    /** How a number is meant. */
    private enum Type { gauge, counter }

    /**
     * A metric: its name, how it is meant, what it is, and the field of the report or status that has it.
     */
    private record Row(String name, Type type, String help, String field) {
    }

    /**
     * The metrics of a kind of objects.
     *
     * @param labels what names an object
     * @param rows   its metrics
     */
    private record Kinds(List<String> labels, List<Row> rows) {
    }

    private static Row gauge(String name, String help, String field) {
        return new Row("rk_" + name, Type.gauge, help, field);
    }

    private static Row counter(String name, String help, String field) {
        return new Row("rk_" + name, Type.counter, help, field);
    }

    private static final Kinds EXECUTOR = new Kinds(List.of(), List.of(
            gauge("executor_start_time_seconds", "When the executor was started.", "iTimeStarted"),
            gauge("executor_clusters", "Clusters.", "NumClusters"),
            gauge("executor_connection_buckets", "Connection table buckets in use.", "InconnHashBkts"),
            gauge("executor_bytes_per_second", "Bytes per second.", "iBytesPerSecond"),
            gauge("executor_connections_per_second", "Connections per second.", "iConnectionsPerSecond"),
            counter("executor_packets", "Packets in all.", "Pcktotal"),
            counter("executor_packets_too_short", "Packets too short.", "Pcktoshort"),
            counter("executor_packets_non_forwarding", "Packets to the non-forwarding address.", "Pcknonforw"),
            counter("executor_packets_discarded", "Packets to clusters, discarded.", "PckVECdiscard"),
            counter("executor_packets_in_error", "Packets to clusters, in error.", "PckVECerror"),
            counter("executor_packets_local", "Packets to clusters, taken by this machine.", "PckVEClocal"),
            counter("executor_packets_own_address", "Packets to clusters' own addresses.", "PckVECownaddr"),
            counter("executor_packets_forwarded", "Packets to clusters, forwarded.", "PckVECforward"),
            counter("executor_packets_forwarding_failed", "Packets whose forwarding failed.", "Pckforwarderr"),
            counter("executor_packets_no_cluster", "Packets to no cluster.", "PcknotVEC"),
            counter("executor_packets_broadcast", "Packets to clusters, broadcast.", "PckVECbroadcast")));
    private static final Kinds CLUSTER = new Kinds(List.of("cluster"), List.of(
            gauge("cluster_ports", "Ports of the cluster.", "NumPorts"),
            gauge("cluster_bytes_per_second", "Bytes per second.", "iBytesPerSecond"),
            gauge("cluster_connections_per_second", "Connections per second.", "iConnectionsPerSecond"),
            counter("cluster_syns_on_active", "SYNs on active connections.", "SYNonActive"),
            counter("cluster_syns_on_finished", "SYNs on finished connections.", "SYNonFINNed"),
            counter("cluster_fins_dropped", "FINs dropped.", "FINs_Dropped"),
            counter("cluster_acks_dropped", "ACKs dropped.", "ACKs_Dropped"),
            counter("cluster_rsts_dropped", "RSTs dropped.", "RSTs_Dropped"),
            counter("cluster_packets_dropped", "Packets dropped.", "PKTs_Dropped"),
            counter("cluster_packets_no_connection", "Packets for no connection.", "PKTnonExisting"),
            counter("cluster_connections_while_quiesced", "New connections while quiesced.", "QuiescNew")));
    private static final Kinds PORT = new Kinds(List.of("cluster", "port"), List.of(
            gauge("port_servers", "Servers of the port.", "NumServers"),
            gauge("port_servers_down", "Servers that are marked down.", "NumNodesDown"),
            gauge("port_servers_local", "Servers on this machine.", "NumNodesLocal"),
            gauge("port_highest_weight", "Highest weight of a server.", "MaxWeight"),
            gauge("port_active_connections", "Active connections.", "ActiveConnections"),
            gauge("port_half_open_connections", "Half-open connections.", "iNumHalfOpen"),
            gauge("port_bytes_per_second", "Bytes per second.", "iBytesPerSecond"),
            gauge("port_connections_per_second", "Connections per second.", "iConnectionsPerSecond"),
            counter("port_resets_sent", "Resets sent.", "iResetsSent")));
    private static final Kinds SERVER = new Kinds(List.of("cluster", "port", "server"), List.of(
            gauge("server_up", "1 for a server that is not marked down.", "up"),
            gauge("server_quiesced", "1 for a server that takes no new connections.", "_iQuiesced"),
            gauge("server_weight", "Weight; 0 while the server is marked down.", "_iWeight"),
            gauge("server_saved_weight", "Weight that the server has when it is up again.", "_iSavedWeight"),
            gauge("server_active_connections", "Active connections.", "ActiveConnections"),
            gauge("server_finished_connections", "Connections that are finished and still known.",
                    "FINishedConnections"),
            gauge("server_bytes_per_second", "Bytes per second.", "iBytesPerSecond"),
            counter("server_connections", "Connections so far.", "TotalConnections"),
            counter("server_tcp_connections", "TCP connections so far.", "TotalTCPConnections"),
            counter("server_udp_connections", "UDP connections so far.", "TotalUDPConnections"),
            counter("server_completed_connections", "Connections that were completed.", "CompleteConnections")));
    private static final Kinds RULE = new Kinds(List.of("cluster", "port", "rule"), List.of(
            gauge("rule_servers", "Servers of the rule.", "NumServers"),
            gauge("rule_active_connections", "Active connections.", "ActiveConnections"),
            gauge("rule_bytes_per_second", "Bytes per second.", "iBytesPerSecond"),
            gauge("rule_connections_per_second", "Connections per second.", "iConnectionsPerSecond"),
            counter("rule_fired", "How often the rule fired.", "TimesFired")));
    private static final Row ANSWERS = gauge("executor_up", "1 when the executor answers.", "");

    private final boolean isOpen;
    private final Map<Row, StringBuilder> samples = new LinkedHashMap<>();

    private Metrics(boolean isOpen) {
        this.isOpen = isOpen;
    }

    /**
     * Reads everything.
     *
     * @param isOpen true for OpenMetrics, false for the text format of Prometheus
     * @return the text; one that says so alone when the executor does not answer
     */
    static String read(Session session, boolean isOpen) {
        Metrics metrics = new Metrics(isOpen);
        try {
            CMNExecutorReport report = new CMNExecutorReport();
            Refusal.check(Family.EXECUTOR, session.natives().getExecutorReportNative(report));
            metrics.add(ANSWERS, "", 1);
            metrics.add(EXECUTOR, report, List.of(), 0);
            for (String cluster : Names.ofKind(session, Identity.CLUSTER, Map.of())) {
                metrics.readCluster(session, cluster);
            }
        } catch (Refusal refusal) {
            metrics.samples.clear(); // half of a farm would look like a farm of which half is gone
            metrics.add(ANSWERS, "", 0);
        }
        return metrics.text();
    }

    private void readCluster(Session session, String name) {
        CMNCluster cluster = new CMNCluster();
        cluster.sClusterId = name;
        Refusal.check(Family.CLUSTER, session.natives().getClusterReportNative(cluster));
        add(CLUSTER, cluster, List.of(name), 0);
        for (String port : Names.ofKind(session, Identity.PORT, Map.of(Identity.CLUSTER, name))) {
            readPort(session, name, port);
        }
    }

    private void readPort(Session session, String cluster, String number) {
        CMNPort port = new CMNPort();
        port.ClusterId = cluster;
        port.PortNumber = Names.port(number);
        Refusal.check(Family.PORT, session.natives().getPortReportNative(port));
        add(PORT, port, List.of(cluster, number), 0);
        Map<String, String> path = Map.of(Identity.CLUSTER, cluster, Identity.PORT, number);
        for (String name : Names.ofKind(session, Identity.SERVER, path)) {
            CMNServer server = FarmSample.server(session, cluster, number, name);
            Refusal.check(Family.SERVER, session.natives().getServerStatusNative(server));
            Refusal.check(Family.SERVER, session.natives().getServerReportNative(server));
            boolean isDown = server._iWeight == 0 && server._iSavedWeight > 0;
            add(SERVER, server, List.of(cluster, number, name), isDown ? 0 : 1);
        }
        for (String name : Names.ofKind(session, Identity.RULE, path)) {
            CMNRule rule = new CMNRule();
            rule.ClusterId = cluster;
            rule.PortNumber = port.PortNumber;
            rule.RuleName = name;
            Refusal.check(Family.RULE, session.natives().getRuleReportNative(rule));
            add(RULE, rule, List.of(cluster, number, name), 0);
        }
    }

    /** Adds what an object has; what is in none of its fields is given. */
    private void add(Kinds kind, Object object, List<String> names, long given) {
        List<String> labels = new ArrayList<>();
        for (int i = 0; i < names.size(); i++) {
            labels.add(kind.labels().get(i) + "=\"" + escaped(names.get(i)) + "\"");
        }
        String all = labels.isEmpty() ? "" : "{" + String.join(",", labels) + "}";
        for (Row row : kind.rows()) {
            long value = row.field().equals("up") ? given : ((Number) Property.get(object, row.field())).longValue();
            add(row, all, row.type() == Type.counter ? Math.max(0, value) : value);
        }
    }

    private void add(Row row, String labels, long value) {
        samples.computeIfAbsent(row, unused -> new StringBuilder())
                .append(row.name()).append(row.type() == Type.counter ? "_total" : "").append(labels).append(' ')
                .append(value).append('\n');
    }

    private static String escaped(String text) {
        return text.replace("\\", "\\\\").replace("\"", "\\\"").replace("\n", "\\n");
    }

    private String text() {
        StringBuilder text = new StringBuilder();
        samples.forEach((row, lines) -> {
            String family = row.name() + (row.type() == Type.counter && !isOpen ? "_total" : "");
            text.append("# TYPE ").append(family).append(' ').append(row.type()).append('\n');
            text.append("# HELP ").append(family).append(' ').append(row.help()).append('\n');
            text.append(lines);
        });
        return text.append(isOpen ? "# EOF\n" : "").toString();
    }
}
