import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.Cluster;
import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.Diagnostics;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.Heartbeat;
import com.qel.internet.rk.executor.HighAvailability;
import com.qel.internet.rk.executor.IcmpResponse;
import com.qel.internet.rk.executor.InterfaceRecord;
import com.qel.internet.rk.executor.Port;
import com.qel.internet.rk.executor.PortSettings;
import com.qel.internet.rk.executor.ReachTarget;
import com.qel.internet.rk.executor.Rule;
import com.qel.internet.rk.executor.RuleSettings;
import com.qel.internet.rk.executor.Server;
import com.qel.internet.rk.executor.ServerSettings;
import java.util.List;
import java.util.Optional;

/** What settings and refusals leave out. */
final class TheRest {
    private TheRest() {
    }

    static void run(Executor executor) {
        listsAndReports(executor);
        highAvailability(executor.highAvailability());
        diagnostics(executor.diagnostics());
        interfaces(executor);
    }

    private static void listsAndReports(Executor executor) {
        Cluster web = executor.cluster("web").add(ClusterSettings.at(ipv4("10.0.0.5")));
        Cluster mail = executor.cluster("mail").add(ClusterSettings.at(ipv4("10.0.0.6")));
        Check.expect("clusters", executor.clusters(), List.of(web, mail));
        Check.expect("not equal", web.equals(mail), false);
        Port port = web.port(80).add(PortSettings.none());
        Server north = port.server("north").add(ServerSettings.at(ipv4("10.1.0.1")));
        Server south = port.server("south").add(ServerSettings.at(ipv4("10.1.0.2")));
        Rule rule = port.rule("night").add(RuleSettings.ofType(2).priority(9));
        rule.addServer(south);
        Check.expect("ports", web.ports(), List.of(port));
        Check.expect("servers", port.servers(), List.of(north, south));
        Check.expect("rules", port.rules(), List.of(rule));
        Check.expect("servers of the rule", rule.servers(), List.of(south));
        rule.removeServer(south);
        Check.expect("no server of the rule", rule.servers(), List.of());
        Check.expect("server's port", south.port(), port);
        Check.expect("port's cluster", port.cluster(), web);

        executor.setConnectionsPerSecond(11);
        web.setConnectionsPerSecond(12);
        port.setConnectionsPerSecond(13);
        rule.setConnectionsPerSecond(14);
        Check.expect("executor's rate", executor.report().connectionsPerSecond(), 11);
        Check.expect("cluster's rate", web.report().connectionsPerSecond(), 12);
        Check.expect("port's rate", port.report().connectionsPerSecond(), 13);
        Check.expect("rule's rate", rule.report().connectionsPerSecond(), 14);
        north.setConnectionsPerSecond(15); // not read back
        Check.expect("server's connections", north.report().connections(), 0);
        Check.expect("clusters in the report", executor.report().clusters(), 2);
        Check.expect("servers in the report", port.report().servers(), 2);
        Check.expect("servers at work", port.report().serversDown(), 0);
        rule.remove();
        port.remove();
        Check.expect("no ports", web.ports(), List.of());
        web.remove();
        mail.remove();
        Check.expect("no clusters", executor.clusters(), List.of());
    }

    private static void highAvailability(HighAvailability ha) {
        ha.definePartner(0, 0, 4711);
        ha.addHeartbeat(ipv4("10.0.0.1"), ipv4("10.0.0.2"));
        ha.addReachTarget(ipv4("10.0.0.254"), ipv4("255.255.255.0"), 3);
        ha.addReachTarget(ipv4("10.0.0.253"), ipv4("255.255.255.0"), 3);
        Check.expect("heartbeats", ha.status().heartbeats().stream().map(Heartbeat::partner).toList(),
                List.of(ipv4("10.0.0.2")));
        ha.changeReachTarget(ipv4("10.0.0.253"), 4, 2);
        Check.expect("targets", ha.status().reachTargets().stream()
                .map(target -> target.address().getHostAddress() + " " + target.type() + " " + target.status())
                .toList(),
                List.of("10.0.0.254 3 0", "10.0.0.253 4 2"));
        Check.expect("mask", ha.status().reachTargets().get(0).mask(), ipv4("255.255.255.0"));
        Check.expectRefusal("unknown target", -47, "UNKNOWN_REACH_TARGET",
                () -> ha.changeReachTarget(ipv4("10.0.0.252"), 4, 2));
        ha.renewTimers();
        ha.takeOver(ipv4("10.0.0.5"));
        ha.removeHeartbeat(ipv4("10.0.0.2"));
        ha.removeReachTarget(ipv4("10.0.0.254"));
        Check.expect("no heartbeat", ha.status().heartbeats(), List.of());
        Check.expect("one target", ha.status().reachTargets().stream().map(ReachTarget::address).toList(),
                List.of(ipv4("10.0.0.253")));
        ha.removePartner();
    }

    private static void diagnostics(Diagnostics diagnostics) {
        diagnostics.clearLog();
        diagnostics.traceLevel(9);
        Check.expectPart("log", diagnostics.logTail(0), "writeExecutorSettings");
        Check.expect("no warning", diagnostics.logHead(0).contains("DEBUGGING"), false);
        diagnostics.traceFilter(0);
        Check.expectPart("counters", diagnostics.dump(0, 0, 0, 0), "Primary FSM:");
        Check.expect("no warning", diagnostics.dump(0, 0, 0, 0).startsWith("Primary FSM:"), true);
        Check.expectPart("connections", diagnostics.dumpConnections(false), "Number of connection records = 0");
        diagnostics.protectFromAttacks(2, 0, 0, 0, 0, 0, 0, 65535);
        IcmpResponse response = new IcmpResponse(true, ipv4("10.0.0.77"));
        diagnostics.setIcmpResponse(response);
        Check.expect("response", diagnostics.icmpResponse(), response);
    }

    private static void interfaces(Executor executor) {
        Check.expect("interface", executor.aliases().interfaceOnSubnet(ipv4("127.9.9.9")),
                Optional.of(ipv4("127.0.0.1")));
        Check.expect("local address", executor.aliases().localOnSubnet(ipv4("127.9.9.9")),
                Optional.of(ipv4("127.0.0.1")));
        Check.expect("no interface", executor.aliases().interfaceOnSubnet(ipv4("203.0.113.1")), Optional.empty());
        Check.expect("no alias", executor.aliases().of(ipv4("203.0.113.1")), Optional.empty());
        InterfaceRecord loopback = executor.aliases().interfaces().stream()
                .filter(each -> each.address().equals(ipv4("127.0.0.1"))).findFirst().orElseThrow();
        Check.expect("loopback", loopback.name() + " " + loopback.hardwareAddress(), "lo 00:00:00:00:00:00");
        Check.expect("its mask", loopback.mask(), ipv4("255.0.0.0"));
        Check.expectPart("interfaces", executor.diagnostics().dumpInterfaces(), "Interface List Info.");
    }
}
