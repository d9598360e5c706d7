package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;

import com.qel.internet.rk.common.CMNAttackListener;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;

/** Attack protection. */
final class AttackCommands {
    static final int PARAMETERS = 8;
    private static final Identity[] PORT = {
        Identity.argument("CLUSTER_ADDRESS", "Address of the cluster.", Kind.HOST_ORDER_ADDRESS),
        Identity.argument("PORT", "Port number, 0 to 65535.", Kind.UINT16)};

    private static final List<Property> HALF_OPEN = List.of(read("count", "half-open connections", Kind.INT));
    private static final List<Property> HALF_OPEN_RECORD = List.of(
            read("index", "number", Kind.INT),
            read("address", "client", Kind.HOST_ORDER_ADDRESS),
            read("port", "port", Kind.INT),
            read("flag", "flag", Kind.TEXT));

    private static final List<Property> ATTACKERS = List.of(
            read("count", "attacking addresses", Kind.INT),
            read("summary", "summary", Kind.INT));
    private static final List<Property> ATTACKER = List.of(
            read("address", "address", Kind.HOST_ORDER_ADDRESS),
            read("value", "value", Kind.INT));

    /** Keeps what is reported. */
    private static final class Listener implements CMNAttackListener {
        final Map<String, Object> head = new LinkedHashMap<>();
        final List<Map<String, Object>> rows = new ArrayList<>();

        @Override
        public void setNumHalfOpenRecs(int count) {
            head.put("count", count);
        }

        @Override
        public void addHalfOpenRec(int index, int address, int port, boolean flag) {
            rows.add(Map.of("index", index, "address", address, "port", port, "flag", flag));
        }

        @Override
        public void reportAttackingAddrsResults(int count, int summary) {
            head.put("count", count);
            head.put("summary", summary);
        }

        @Override
        public void reportAttackingAddr(int address, int value) {
            rows.add(Map.of("address", address, "value", value));
        }
    }

    private AttackCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup attack = new CommandGroup("attack",
                "Attack protection: half-open connections, and who makes them.");
        attack.command("half-open", "Show the half-open connections.", typed -> {
            Listener listener = new Listener();
            Refusal.check(Family.SYSTEM, session.natives().getHalfOpenInfoNative(listener));
            session.output.object(listener.head, HALF_OPEN, new Rows("records", listener.rows, HALF_OPEN_RECORD));
        });
        attack.command("attackers", "Show the addresses that seem to attack a port.", typed -> {
            Listener listener = new Listener();
            Refusal.check(Family.SYSTEM, session.natives().getAttackingAddrsNative(listener,
                    PORT[0].number(typed, 0), PORT[1].number(typed, 1)));
            session.output.object(listener.head, ATTACKERS, new Rows("addresses", listener.rows, ATTACKER));
        }, PORT);
        Identity[] parameters = new Identity[PARAMETERS];
        for (int i = 0; i < PARAMETERS; i++) {
            parameters[i] = Identity.argument("P" + (i + 1), "A number that the executor defines.", Kind.UINT16);
        }
        attack.command("set", "Set the parameters of the attack protection.", typed -> {
            int[] values = new int[PARAMETERS];
            Arrays.setAll(values, i -> parameters[i].number(typed, i));
            session.finish(Family.SYSTEM, setParameters(session.natives(), values));
        }, parameters);
        return attack.definition;
    }

    /** Sends the parameters. {@return the status} */
    static int setParameters(CMNExecutorInterface natives, int[] p) {
        return natives.xDOSAttackNative(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7]);
    }
}
