package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;

import com.qel.internet.rk.common.CMNAffinityRequest;
import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParseResult;

/** Affinity records: which client stays with which server. */
final class AffinityCommands {
    private static final String COLUMNS = " - ";

    /** What the executor that comes with the library takes as {@code iCommand}. */
    private static final int BIND = 1;
    private static final int RELEASE = 2;
    private static final int READ = 3;

    private static final Identity[] PORT = {
        new Identity("CLUSTER_ADDRESS", "Address of the cluster.", Kind.HOST_ORDER_ADDRESS, "iClusterAddr", null, 0),
        new Identity("PORT", "Port number, 0 to 65535.", Kind.UINT16, "iPort", null, 0)};

    private static final List<Property> RESPONSE = List.of(
            read("iResponse", "response", Kind.INT),
            read("iTime", "time", Kind.TIME),
            read("iNumAffinities", "records", Kind.INT));

    private static final List<Property> RECORD = List.of(
            read("aiClientAddr", "client", Kind.HOST_ORDER_ADDRESS),
            read("aiServerAddr", "server", Kind.HOST_ORDER_ADDRESS),
            read("aiNumActive", "active", Kind.INT),
            read("aiAgeOrResponse", "age or response", Kind.INT));

    private AffinityCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup affinity = new CommandGroup("affinity", "Affinity records: which client stays with which server.");
        CommandSpec list = affinity.command("list", "Show the records of a port, for debugging.",
                typed -> list(session, typed), PORT);
        CommandGroup.addCounts(list);
        CommandSpec add = affinity.command("add", "Bind clients to servers of the port.",
                typed -> drive(session, typed, BIND), PORT);
        CommandGroup.addRest(add, "CLIENT=SERVER", "Addresses of a client and of its server.", true);
        CommandSpec remove = affinity.command("remove", "Release clients from their servers.",
                typed -> drive(session, typed, RELEASE), PORT);
        CommandGroup.addRest(remove, "CLIENT", "Address of a client.", true);
        CommandSpec query = affinity.command("query", "Show the servers of clients.",
                typed -> drive(session, typed, READ), PORT);
        CommandGroup.addRest(query, "CLIENT", "Address of a client; all clients when none is given.", false);
        return affinity.definition;
    }

    private static void list(Session session, ParseResult typed) {
        String text = Report.require(session.natives().getAffinityInfoNative(PORT[0].number(typed, 0),
                PORT[1].number(typed, 1), CommandGroup.detail(typed)));
        session.output.report(text, () -> {
            Map<String, Object> report = Report.summary(text);
            report.put("records", Report.table(text, COLUMNS, ""));
            return report;
        });
    }

    private static void drive(Session session, ParseResult typed, int command) {
        List<String> texts = CommandGroup.rest(typed, PORT.length);
        CMNAffinityRequest request = new CMNAffinityRequest();
        CommandGroup.put(session, request, typed, PORT);
        request.iCommand = command;
        request.iNumAffinities = texts.size();
        // More than there is room for are counted only: the library refuses them.
        for (int i = 0; i < Math.min(texts.size(), CMNAffinityRequest.CAPACITY); i++) {
            take(texts.get(i), request, i, command == BIND);
        }
        session.requireExecutor();
        if (command == BIND) {
            refuseClashes(session, typed.matchedPositionalValue(1, ""), request);
        }
        Refusal.check(Family.REASON, session.natives().serverDirectedAffinityNative(request));
        session.output.object(request, RESPONSE, Rows.ofArrays("entries", request, request.iNumAffinities, RECORD));
        if (request.iResponse != 0) {
            throw new Refusal(request.iResponse, "not done for every client, see their responses: "
                    + CMNStatus.describe(request.iResponse, Family.REASON));
        }
    }

    /** The executor finds a server by the key of its dotted address: it is to be the server of that name. */
    private static void refuseClashes(Session session, String port, CMNAffinityRequest request) {
        String cluster = clusterAt(session, Kind.HOST_ORDER_ADDRESS.format(request.iClusterAddr));
        if (cluster != null) {
            for (int i = 0; i < Math.min(request.iNumAffinities, CMNAffinityRequest.CAPACITY); i++) {
                KeyClash.refuse(session, Map.of(Identity.CLUSTER, cluster, Identity.PORT, port,
                        Identity.SERVER, Kind.HOST_ORDER_ADDRESS.format(request.aiServerAddr[i])));
            }
        }
    }

    /** {@return the identifier of the cluster that has an address; null when none has} */
    private static String clusterAt(Session session, String address) {
        for (String name : Names.ofKind(session, Identity.CLUSTER, Map.of())) {
            CMNCluster cluster = new CMNCluster();
            cluster.sClusterId = name;
            Refusal.check(Family.CLUSTER, session.natives().getClusterStatusNative(cluster));
            if (address.equals(cluster.Address)) {
                return name;
            }
        }
        return null;
    }

    /** Takes one record, as in {@code 10.0.0.9=10.0.0.101}, or without a server. */
    private static void take(String text, CMNAffinityRequest request, int index, boolean withServer) {
        String[] parts = text.split("=", 2);
        if ((parts.length == 2) != withServer) {
            throw new UsageError("'" + text + "' is not of the form " + (withServer ? "CLIENT=SERVER" : "A.B.C.D"));
        }
        request.aiClientAddr[index] = (int) Kind.HOST_ORDER_ADDRESS.parse(parts[0], 0);
        request.aiServerAddr[index] = withServer ? (int) Kind.HOST_ORDER_ADDRESS.parse(parts[1], 0) : 0;
    }
}
