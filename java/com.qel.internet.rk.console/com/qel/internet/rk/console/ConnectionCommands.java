package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/** Connection records. */
final class ConnectionCommands {
    private static final String CLUSTER = "--cluster";
    private static final String CLIENT = "--client";
    private static final String SERVER = "--server";
    private static final String STATE = "--state";
    private static final String COLUMNS = "\t";
    private static final String MARK = "mark"; // the report's last column has no name

    private static final Identity[] ENDS = {
        Identity.argument("CLUSTER_ADDRESS", "Address of the cluster.", Kind.HOST_ORDER_ADDRESS),
        Identity.argument("PORT", "Port of the cluster.", Kind.UINT16),
        Identity.argument("CLIENT_ADDRESS", "Address of the client.", Kind.HOST_ORDER_ADDRESS),
        Identity.argument("CLIENT_PORT", "Port of the client.", Kind.INT),
        Identity.argument("SERVER_ADDRESS", "Address of the server.", Kind.HOST_ORDER_ADDRESS)};

    /** A native method that makes or removes a record. */
    private interface Native {
        int call(int cluster, int state, int client, int clientPort, int port, int server);
    }

    /** An address and a port to look for; 0 for any. */
    private record End(int address, int port) {
        static End parse(ParseResult typed, String option) {
            String[] parts = typed.matchedOptionValue(option, "0.0.0.0").split(":", 2);
            return new End(number(option, Kind.HOST_ORDER_ADDRESS, parts[0]),
                    parts.length == 1 ? 0 : number(option, Kind.UINT16, parts[1]));
        }
    }

    private ConnectionCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup connections = new CommandGroup("connection", "Connection records, for debugging.");
        addChange(connections, "allocate", "Make a connection record by hand.", typed -> {
            session.requireExecutor();
            session.finish(Family.REASON, change(typed, session.natives()::allocateConnectionNative));
        });
        addChange(connections, "release", "Remove a connection record by hand.", typed -> session.finish(Family.SYSTEM,
                change(typed, session.natives()::deallocateConnectionNative)));

        CommandSpec list = connections.command("list", "Show connection records.", typed -> list(session, typed));
        list.addOption(endOption(CLUSTER, "Only those to this address of a cluster."));
        list.addOption(endOption(CLIENT, "Only those of this client."));
        list.addOption(endOption(SERVER, "Only those with this server."));
        CommandGroup.addCounts(list);
        return connections.definition;
    }

    private static void addChange(CommandGroup connections, String name, String description,
            CommandGroup.Action action) {
        CommandSpec command = connections.command(name, description, action, ENDS);
        command.addOption(OptionSpec.builder(STATE)
                .type(String.class)
                .paramLabel("N")
                .description("State flags, 16 bits; 0 when left out. Of the executor that comes with the library: 1 for"
                        + " half-open.")
                .build());
    }

    private static OptionSpec endOption(String name, String description) {
        return OptionSpec.builder(name)
                .type(String.class)
                .paramLabel("A.B.C.D[:PORT]")
                .description(description)
                .build();
    }

    private static int change(ParseResult typed, Native method) {
        int state = number(STATE, Kind.UINT16, typed.matchedOptionValue(STATE, "0"));
        return method.call(ENDS[0].number(typed, 0), state, ENDS[2].number(typed, 2), ENDS[3].number(typed, 3),
                ENDS[1].number(typed, 1), ENDS[4].number(typed, 4));
    }

    private static int number(String option, Kind kind, String text) {
        return Identity.argument(option, "", kind).number(text);
    }

    private static void list(Session session, ParseResult typed) {
        End cluster = End.parse(typed, CLUSTER);
        End client = End.parse(typed, CLIENT);
        End server = End.parse(typed, SERVER);
        String text = Report.require(session.natives().getConnectionInfoNative(cluster.address, cluster.port,
                client.address, client.port, server.address, server.port, CommandGroup.detail(typed)));
        session.output.report(text, () -> {
            Map<String, Object> report = Report.summary(text);
            report.put("records", Report.table(text, COLUMNS, MARK));
            return report;
        });
    }
}
