package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;

import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParseResult;

/** The weights of the servers of a port, in one exchange. */
final class WeightsCommands {
    private static final Identity[] PORT = {Identity.cluster("ClusterId", null), Identity.port("PortNumber")};

    private static final List<Property> READ = List.of(
            read("sServerID", "server", Kind.TEXT),
            read("iAddress", "address", Kind.HOST_ORDER_ADDRESS),
            read("iWeight", "weight", Kind.INT),
            read("bFixedWeight", "fixed", Kind.SWITCH),
            read("iTotalConns", "connections", Kind.INT),
            read("iActiveConns", "active", Kind.INT),
            read("iRC", "result", Kind.INT));

    private static final List<Property> WRITTEN = List.of(
            read("sServerID", "server", Kind.TEXT),
            read("iWeight", "weight", Kind.INT),
            read("iRC", "result", Kind.INT));

    private WeightsCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup weights = new CommandGroup("weights", "Weights of the servers of a port, in one exchange.");
        weights.command("get", "Show the weights of all servers of a port.", typed -> get(session, typed), PORT);
        CommandSpec set = weights.command("set", "Change the weights of servers of a port. A server's fixed and"
                + " quiesced-down flags change with its weight: they are off unless they are named.",
                typed -> set(session, typed), PORT);
        CommandGroup.addRest(set, "SERVER=WEIGHT[,fixed][,down]", "A server, its weight, and its flags.", true);
        return weights.definition;
    }

    private static void get(Session session, ParseResult typed) {
        CMNPort port = port(session, typed);
        KeyClash.refuse(session, CommandGroup.given(typed, PORT));
        print(session, ofPort(session, port), READ);
    }

    /** {@return the weights of all servers of a port} */
    static CMNServerWeights ofPort(Session session, String cluster, int port) {
        CMNPort object = new CMNPort();
        PORT[0].put(session, object, cluster);
        object.PortNumber = port;
        return ofPort(session, object);
    }

    private static CMNServerWeights ofPort(Session session, CMNPort port) {
        CMNServerWeights weights = weights(port, Names.numberOfServers(session, port));
        check(session.natives().getServerWeightsNative(weights, weights.iWeight.length));
        return weights;
    }

    private static void set(Session session, ParseResult typed) {
        List<String> texts = CommandGroup.rest(typed, PORT.length);
        CMNServerWeights weights = weights(port(session, typed), texts.size());
        for (int i = 0; i < texts.size(); i++) {
            take(session, texts.get(i), weights, i);
        }
        for (String server : weights.sServerID) {
            Map<String, String> given = CommandGroup.given(typed, PORT);
            given.put(Identity.SERVER, server);
            KeyClash.refuse(session, given);
        }
        check(session.natives().setServerWeightsNative(weights, texts.size()));
        print(session, weights, WRITTEN);
        long refused = Arrays.stream(weights.iRC).filter(result -> result != 0).count();
        if (refused > 0) {
            throw new Refusal(null, refused + " of " + texts.size() + " servers were refused, see their results");
        }
    }

    private static CMNPort port(Session session, ParseResult typed) {
        CMNPort port = new CMNPort();
        CommandGroup.put(session, port, typed, PORT);
        return port;
    }

    static CMNServerWeights weights(CMNPort port, int capacity) {
        CMNServerWeights weights = new CMNServerWeights(capacity);
        weights.sClusterID = port.ClusterId;
        weights.iPortNumber = port.PortNumber;
        return weights;
    }

    /** Takes one server, as in {@code web1=20,fixed}; a name may itself have an equals sign. */
    private static void take(Session session, String text, CMNServerWeights weights, int index) {
        int equals = text.lastIndexOf('=');
        if (equals < 1) {
            throw new UsageError("'" + text + "' is not of the form SERVER=WEIGHT[,fixed][,down]");
        }
        CMNServer server = new CMNServer();
        Identity.server("sServerID", "iServerIdKey").put(session, server, text.substring(0, equals));
        String[] parts = text.substring(equals + 1).split(",", -1);
        weights.setServerId(server.sServerID, index);
        weights.iServerIdKey[index] = server.iServerIdKey;
        weights.iWeight[index] = ((Number) Kind.INT16.parse(parts[0], 0)).intValue();
        for (String flag : List.of(parts).subList(1, parts.length)) {
            switch (flag) {
                case "fixed" -> weights.bFixedWeight[index] = 1;
                case "down" -> weights.ucQuiescedDown[index] = 1;
                default -> throw new UsageError("'" + flag + "' is neither fixed nor down");
            }
        }
    }

    private static void print(Session session, CMNServerWeights weights, List<Property> properties) {
        Rows rows = Rows.ofArrays("servers", weights, weights.sServerID.length, properties);
        session.output.table(rows.rows(), rows.properties());
    }

    private static void check(int status) {
        Refusal.check(Family.WEIGHTS, status);
    }
}
