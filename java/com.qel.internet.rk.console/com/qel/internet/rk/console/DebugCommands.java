package com.qel.internet.rk.console;

import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParseResult;

/** The executor's debugging commands. */
final class DebugCommands {
    private static final List<String> SECTIONS = List.of("Primary FSM", "Backup FSM", "Misc debug");
    private static final String ERROR = "Error with kernel getting ";

    private static final Identity SUB = Identity.argument("SUB", "The command's number: 0 to 29 and 99 show counters;"
            + " 1 adds the network cards, 8 the interface list that the library has, 10 the return addresses, 11 the"
            + " connection lists, 12 the affinity lists; 43 walks over the byte counters; all others are actions of"
            + " the executor.", Kind.INT);
    private static final Identity[] ARGUMENTS = {argument("A"), argument("B"), argument("C")};

    /** Sub-commands whose report has records behind the counters. */
    enum Sub {
        NETWORK_CARDS(1, "networkCards", "Number of NIC records"),
        INTERFACES(8, "interfaces", "Interface List Info."),
        RETURN_ADDRESSES(10, "returnAddresses", "Number of RAT records"),
        CONNECTION_LISTS(11, "connectionLists", "Connection Record State LL Info."),
        AFFINITY_LISTS(12, "affinityLists", "Affinity Record LL Info.");

        private final int number;
        private final String name;
        private final String title; // the line before the records begins with it

        Sub(int number, String name, String title) {
            this.number = number;
            this.name = name;
            this.title = title;
        }

        /** {@return the records of the report} */
        List<Map<String, Object>> records(Session session) {
            return Report.recordsBehind(Report.require(session.natives().xmiscNative(number, 0, 0, 0)), title);
        }
    }

    private DebugCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup debug = new CommandGroup("debug", "The executor's debugging commands.");
        CommandSpec misc = debug.command("misc", "Run one of the debugging commands.",
                typed -> misc(session, typed), SUB);
        CommandGroup.addOptional(misc, ARGUMENTS);
        return debug.definition;
    }

    private static Identity argument(String label) {
        return Identity.argument(label, "A number passed to the executor unchanged; 0 when left out.", Kind.INT);
    }

    private static void misc(Session session, ParseResult typed) {
        int sub = SUB.number(typed, 0);
        String text = Report.require(session.natives().xmiscNative(sub, ARGUMENTS[0].number(typed, 1),
                ARGUMENTS[1].number(typed, 2), ARGUMENTS[2].number(typed, 3)));
        session.output.report(text, () -> parse(text, sub));
        text.lines().filter(line -> line.startsWith(ERROR)).findFirst().ifPresent(line -> {
            throw new Refusal(null, line);
        });
    }

    private static Map<String, Object> parse(String text, int sub) {
        Map<String, Object> report = new LinkedHashMap<>();
        for (String section : SECTIONS) {
            Map<String, Object> counters = Report.section(text, section + ":");
            if (!counters.isEmpty()) {
                report.put(section, counters);
            }
        }
        if (report.isEmpty()) {
            return Map.of("text", text);
        }
        for (Sub extended : Sub.values()) {
            if (extended.number == sub) {
                report.put(extended.name, Report.recordsBehind(text, extended.title));
            }
        }
        return report;
    }
}
