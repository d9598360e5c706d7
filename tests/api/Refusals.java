import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.Addresses;
import com.qel.internet.rk.executor.AffinityRecord;
import com.qel.internet.rk.executor.Cluster;
import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.ConnectionEnds;
import com.qel.internet.rk.executor.ConnectionRecord;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.ExecutorSettings;
import com.qel.internet.rk.executor.IcmpResponse;
import com.qel.internet.rk.executor.Listener;
import com.qel.internet.rk.executor.NewPortSettings;
import com.qel.internet.rk.executor.Port;
import com.qel.internet.rk.executor.PortSettings;
import com.qel.internet.rk.executor.Rule;
import com.qel.internet.rk.executor.RuleSettings;
import com.qel.internet.rk.executor.Server;
import com.qel.internet.rk.executor.ServerSettings;
import com.qel.internet.rk.executor.WeightChange;
import java.net.InetAddress;
import java.net.UnknownHostException;
import java.time.Duration;
import java.util.List;
import java.util.Map;
import java.util.Optional;

/**
 * What is refused: by the executor, with its status; and before anything is sent, what would not arrive as it was
 * given.
 */
final class Refusals {
    private Refusals() {
    }

    static void run(Executor executor) throws UnknownHostException {
        Cluster web = executor.cluster("web").add(ClusterSettings.at(ipv4("10.0.0.5")));
        Port port = web.port(80).add(PortSettings.none().weightBound(20));
        byTheExecutor(executor, web, port);
        byTheExecutorForWhatNativeMethodsDoNotTell(executor, port);
        beforeAnythingIsSent(executor, port);
        ofAnotherPort(web, port);
        ofSomeServers(port);
        web.remove();
    }

    private static void byTheExecutor(Executor executor, Cluster web, Port port) {
        Check.expect("message", Check.expectRefusal("unknown cluster", -5, "UNKNOWN_CLUSTER",
                () -> executor.cluster("none").status()),
                "cluster 'none': the cluster does not exist (status -5, UNKNOWN_CLUSTER); add the cluster first");
        Check.expectRefusal("cluster twice", -4, "CLUSTER_EXISTS", () -> web.add(ClusterSettings.none()));
        Check.expectRefusal("address of all hosts", -3, "BAD_CLUSTER_ADDRESS",
                () -> executor.cluster("all").add(ClusterSettings.at(ipv4("224.0.0.1"))));
        Check.expectRefusal("unknown port", -12, "UNKNOWN_PORT", () -> web.port(81).status());
        Check.expectRefusal("port twice", -14, "PORT_EXISTS", () -> port.add(PortSettings.none()));
        Check.expectRefusal("sticky bits", -65, "BAD_STICKY_BITS",
                () -> port.change(PortSettings.none().stickyBits(33)));
        Check.expectRefusal("weight bound", -67, "BAD_WEIGHT_BOUND",
                () -> port.change(PortSettings.none().weightBound(101)));
        Check.expectRefusal("stale time-out", -73, "BAD_STALE_TIMEOUT",
                () -> port.change(PortSettings.none().staleTimeout(Duration.ofSeconds(-1))));
        Check.expectRefusal("server limit, of ports", -57, "BAD_SERVER_LIMIT",
                () -> port.change(PortSettings.none().maxServers(-1)));
        Check.expectRefusal("unknown rule, with the same number", -57, "UNKNOWN_RULE",
                () -> port.rule("none").status());
        Check.expectRefusal("unknown server", -19, "UNKNOWN_SERVER", () -> port.server("none").up());
        Check.expectRefusal("partner's port", -10, "BAD_PARTNER_PORT",
                () -> executor.highAvailability().definePartner(0, 0, 0));
        Check.expectRefusal("half a mask", -34, "REACH_TARGET_REFUSED",
                () -> executor.highAvailability().addReachTarget(ipv4("10.0.0.9"), ipv4("255.0.255.0"), 0));
        Check.expectRefusal("unconfigured alias", -63, "NOT_CONFIGURED",
                () -> executor.aliases().unconfigure(ipv4("203.0.113.77")));
        Check.expectRefusal("settings", -1, "REFUSED_OR_NO_EXECUTOR",
                () -> executor.change(ExecutorSettings.none().newPorts(NewPortSettings.none().weightBound(0))));
        Check.expect("nothing is changed", executor.status().newPorts().weightBound() > 0, true);
    }

    private static void byTheExecutorForWhatNativeMethodsDoNotTell(Executor executor, Port port) {
        Check.expectRefusal("no partner to remove", -99, "REFUSED", () -> executor.highAvailability().removePartner());
        executor.highAvailability().definePartner(0, 1, 7777);
        Check.expect("partner's port", executor.highAvailability().status().port(), 7777);
        Check.expectRefusal("a second partner", -99, "REFUSED",
                () -> executor.highAvailability().definePartner(1, 1, 7777));
        executor.highAvailability().removePartner();
        Check.expect("removed", executor.highAvailability().status().port(), 0);

        Server server = port.server("10.1.0.9").add(ServerSettings.at(ipv4("10.1.0.9")));
        port.affinities().bind(Map.of(ipv4("10.9.0.1"), ipv4("10.1.0.9")));
        List<AffinityRecord> bound = port.affinities().list();
        Check.expect("bound", bound.size(), 1);
        Check.expect("client", bound.get(0).client(), ipv4("10.9.0.1"));
        Check.expect("looked up", port.affinities().of(ipv4("10.9.0.1")).map(AffinityRecord::server),
                Optional.of(ipv4("10.1.0.9")));
        Check.expect("not bound", port.affinities().of(ipv4("10.9.0.2")).isPresent(), false);
        Check.expectPart("those who are refused", Check.expectRefusal("one of two clients", -114, "UNKNOWN_AFFINITY",
                () -> port.affinities().release(List.of(ipv4("10.9.0.2"), ipv4("10.9.0.1")))), "[10.9.0.2]");
        Check.expect("the other is released", port.affinities().list(), List.of());
        Check.expectRefusal("no server of that address", -11, "UNKNOWN_SERVER",
                () -> port.affinities().bind(Map.of(ipv4("10.9.0.1"), ipv4("10.1.0.8"))));

        ConnectionEnds ends = new ConnectionEnds(ipv4("10.0.0.5"), 80, ipv4("10.9.0.1"), 4444, ipv4("10.1.0.9"));
        executor.diagnostics().allocateConnection(ends, 1);
        Check.expect("half-open", executor.diagnostics().halfOpenConnections().get(0).client(), ipv4("10.9.0.1"));
        Check.expect("attacking", executor.diagnostics().attackingAddresses(ipv4("10.0.0.5"), 80).get(0).value(), 1);
        ConnectionRecord connection = executor.diagnostics().connections().get(0);
        Check.expect("ends", connection.ends(), ends);
        Check.expect("state", connection.state(), 1);
        Check.expect("states of TCP", connection.previousState() + " " + connection.currentState(), "LISTN SNRCV");
        Check.expect("age", connection.age().isNegative(), false);
        Check.expectRefusal("connection twice", -112, "CONNECTION_EXISTS",
                () -> executor.diagnostics().allocateConnection(ends, 1));
        executor.diagnostics().deallocateConnection(ends);
        Check.expect("no connection", executor.diagnostics().connections(), List.of());
        Check.expect("none is half-open", executor.diagnostics().halfOpenConnections(), List.of());
        server.remove();
    }

    private static void beforeAnythingIsSent(Executor executor, Port port) throws UnknownHostException {
        InetAddress six = InetAddress.getByName("2001:db8::1");
        Check.expect("message", refused("port number", () -> port.cluster().port(65536)),
                "port number: 65536 is outside 0 to 65535");
        refused("negative port", () -> port.cluster().port(-1));
        Check.expect("message", refused("half a second", () -> PortSettings.none().stickyTime(Duration.ofMillis(500))),
                "sticky time: PT0.5S is no number of seconds that an int holds");
        refused("a century", () -> PortSettings.none().staleTimeout(Duration.ofDays(36500)));
        Check.expect("message", refused("IPv6", () -> ClusterSettings.at(six)),
                "address: 2001:db8:0:0:0:0:0:1 is no IPv4 address");
        refused("IPv6 listener", () -> new Listener(six));
        refused("IPv6 bytes", () -> ClusterSettings.none().natAddress(six));
        refused("IPv6 heartbeat", () -> executor.highAvailability().addHeartbeat(six, six));
        refused("IPv6 alias", () -> executor.aliases().configure(six));
        refused("IPv6 response", () -> executor.diagnostics().setIcmpResponse(new IcmpResponse(true, six)));
        refused("IPv4 where 16 bytes are", () -> ExecutorSettings.none().clientGateway6(ipv4("10.0.0.1")));
        refused("weight of 17 bits", () -> ServerSettings.none().weight(32768));
        refused("bound of 17 bits", () -> PortSettings.none().weightBound(-32769));
        refused("type of 9 bits", () -> PortSettings.none().type(256));
        refused("protocol of 17 bits", () -> PortSettings.none().protocol(65536));
        refused("rule type of 9 bits", () -> RuleSettings.ofType(128));
        refused("type of service", () -> RuleSettings.none().typeOfService("01xx01x"));
        Check.expect("message", refused("long pattern", () -> RuleSettings.none().pattern("p".repeat(100))),
                "pattern: 100 bytes are more than 99");
        RuleSettings.none().pattern("p".repeat(99));
        refused("long name", () -> executor.cluster("c".repeat(65)));
        executor.cluster("c".repeat(64));
        refused("long name in bytes", () -> executor.cluster("\u00e4".repeat(33)));
        refused("long rule", () -> port.rule("r".repeat(21)));
        refused("name that would be listed as two", () -> executor.cluster("a+b").add(ClusterSettings.none()));
        refused("empty name", () -> port.server("").add(ServerSettings.none()));
        refused("rule without a type", () -> port.rule("r").add(RuleSettings.none()));
        refused("numbers for addresses", () -> port.rule("r").add(RuleSettings.ofType(1).range(1, 2)));
        refused("addresses for numbers",
                () -> port.rule("r").add(RuleSettings.ofType(2).range(ipv4("10.0.0.1"), ipv4("10.0.0.2"))));
        Check.expect("no rule was added", port.rules(), List.of());
        Rule rule = port.rule("r").add(RuleSettings.ofType(2).range(3, 4));
        refused("addresses for numbers, later", () -> rule.change(RuleSettings.none().range(ipv4("10.0.0.1"),
                ipv4("10.0.0.2"))));
        Check.expect("its range stands", rule.status().begin(), 3);
        rule.change(RuleSettings.none().configSource(5));
        Check.expect("source without a type", rule.status().configSource(), 5);
        rule.remove();
        refused("seven parameters", () -> executor.diagnostics().protectFromAttacks(1, 2, 3, 4, 5, 6, 7));
        for (String text : List.of("", "10.0.0", "10.0.0.0.1", "10.0.0.256", "10.0.0.", "localhost", "1.2.3.4 ",
                "010.0.0.1", "-1.0.0.0", "4294967296.0.0.1")) {
            refused("'" + text + "'", () -> Addresses.ipv4(text));
        }
        Check.expect("highest address", ipv4("255.255.255.255").getHostAddress(), "255.255.255.255");
        Check.expectThrown("null", NullPointerException.class, () -> ClusterSettings.none().address(null));
    }

    private static String refused(String what, Runnable call) {
        return Check.expectThrown(what, IllegalArgumentException.class, call);
    }

    private static void ofAnotherPort(Cluster web, Port port) {
        Server elsewhere = web.port(81).server("s");
        refused("weight of another port's server", () -> port.changeWeights(List.of(new WeightChange(elsewhere, 1))));
        refused("member of another port", () -> port.rule("r").addServer(elsewhere));
        web.port(81).add(PortSettings.none());
        elsewhere.add(ServerSettings.none());
        web.port(81).changeWeights(List.of(new WeightChange(elsewhere, 1)));
        refused("weight of another port's server that is known",
                () -> port.changeWeights(List.of(new WeightChange(elsewhere, 1))));
        web.port(81).remove();
    }

    private static void ofSomeServers(Port port) {
        Server one = port.server("one").add(ServerSettings.at(ipv4("10.1.0.1")).weight(1));
        Server two = port.server("two").add(ServerSettings.at(ipv4("10.1.0.2")).weight(2));
        String message = Check.expectRefusal("one of two weights", -11, "UNKNOWN_SERVER", () -> port.changeWeights(
                List.of(new WeightChange(one, 5), new WeightChange(port.server("three"), 6))));
        Check.expectPart("which one", message, "[server 'three' of port 80 of cluster 'web']");
        Check.expect("the other is changed", port.weights().get(0).weight(), 5);
        Check.expectRefusal("weight above the bound", -36, "BAD_WEIGHT",
                () -> port.changeWeights(List.of(new WeightChange(one, 21))));
        port.changeWeights(List.of(new WeightChange(one, 7, true, false), new WeightChange(two, 8)));
        Check.expect("weights", port.weights().stream()
                .map(row -> row.server() + " " + row.weight() + " " + row.fixed()).toList(),
                List.of("one 7 true", "two 8 false"));
        two.down();
        Check.expect("down", port.report().serversDown(), 1);
        two.up();
        Check.expect("up again", two.status().weight(), 8);
    }
}
