package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/** Rules. */
final class RuleCommands {
    private static final String BEGIN = "--begin";
    private static final String END = "--end";

    private static final Table STATUS = Table.of(CMNRule::new,
            read("ClusterId", "cluster", Kind.TEXT),
            read("PortNumber", "port", Kind.INT),
            read("RuleName", "rule", Kind.TEXT),
            setting("RuleType", "type", Kind.INT8, "--type", "SetRuleType"),
            read("BeginRange", "range begins", Kind.RULE_BOUND).and("AddressBeginRange"),
            read("EndRange", "range ends", Kind.RULE_BOUND).and("AddressEndRange"),
            setting("Priority", "priority", Kind.INT, "--priority", "SetPriority"),
            read("NumServers", "servers", Kind.INT),
            setting("iShareLevel", "share level", Kind.INT, "--share-level", "SetShareLevel"),
            setting("ServiceTOS", "type of service", Kind.TYPE_OF_SERVICE, "--service", "SetServiceTOS"),
            setting("Pattern", "pattern", Kind.TEXT, "--pattern", "SetPattern").atMost(99),
            setting("bEvaluate", "evaluate", Kind.INT8, "--evaluate", "SetEvaluate"),
            setting("WhatAffinity", "affinity", Kind.INT, "--affinity", "SetWhatAffinity"),
            setting("StickyTime", "sticky time", Kind.INT, "--sticky-time", "SetStickyTime"),
            setting("CookieName", "cookie name", Kind.TEXT, "--cookie-name", "SetCookieName").atMost(99),
            setting("_iConfigSource", "configuration source", Kind.INT, "--config-source", "SetConfigSource"),
            setting("sHashID", "hash identifier; cleared where it is not given", Kind.TEXT, "--hash-id", null)
                    .atMost(39).writtenOnly());

    private static final List<String> COLUMNS = List.of("RuleName", "RuleType", "Priority", "BeginRange", "EndRange",
            "NumServers");

    private static final Table REPORT = Table.of(CMNRule::new,
            read("ClusterId", "cluster", Kind.TEXT),
            read("PortNumber", "port", Kind.INT),
            read("RuleName", "rule", Kind.TEXT),
            read("iUniqueId", "number", Kind.INT),
            read("TimesFired", "times fired", Kind.INT),
            read("NumServers", "servers", Kind.INT),
            read("ActiveConnections", "active connections", Kind.INT),
            read("iBytesPerSecond", "bytes per second", Kind.INT),
            read("iConnectionsPerSecond", "connections per second", Kind.INT));

    private RuleCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        ObjectFamily rules = new ObjectFamily(session, Family.RULE, "rule",
                "Rules of a port: which of its servers take a connection.",
                Identity.cluster("ClusterId", null), Identity.port("PortNumber"), Identity.rule("RuleName"));
        ObjectFamily.Extra range = (typed, rule) -> takeRange(session, typed, (CMNRule) rule);
        ObjectFamily.Extra rangeAndType = (typed, rule) -> {
            takeRange(session, typed, (CMNRule) rule);
            keepType(session, (CMNRule) rule);
        };
        addRangeOptions(rules.add("Add a rule to a port.", STATUS, CMNExecutorInterface::addRuleNative, range,
                "--type"));
        addRangeOptions(rules.set("Change settings of a rule.", STATUS, CMNExecutorInterface::setRuleStatusNative,
                rangeAndType));
        rules.remove("Remove a rule.", STATUS, CMNExecutorInterface::removeRuleNative);
        rules.show("status", "Show the settings of a rule.", STATUS, CMNExecutorInterface::getRuleStatusNative);
        rules.show("report", "Show the counters of a rule.", REPORT, CMNExecutorInterface::getRuleReportNative);
        rules.list("List the rules of a port.", STATUS, COLUMNS, CMNExecutorInterface::getRuleStatusNative);
        rules.cps("Set the connections-per-second counter of a rule.", STATUS, "iConnectionsPerSecond",
                CMNExecutorInterface::setRuleCPSNative);
        rules.definition().addSubcommand("server", RuleServerCommands.create(session));
        return rules.definition();
    }

    private static void addRangeOptions(CommandSpec command) {
        addRangeOption(command, BEGIN, "Begin of the range");
        addRangeOption(command, END, "End of the range");
    }

    private static void addRangeOption(CommandSpec command, String option, String what) {
        command.addOption(OptionSpec.builder(option)
                .type(String.class)
                .paramLabel("N|ADDRESS")
                .description(what + ": a number, or for a rule of type 1 an address.")
                .build());
    }

    private static void takeRange(Session session, ParseResult typed, CMNRule rule) {
        if (typed.hasMatchedOption(BEGIN)) {
            rule.AddressBeginRange = typed.matchedOptionValue(BEGIN, "");
            rule.BeginRange = rangeNumber(session, rule, BEGIN, rule.AddressBeginRange);
            rule.SetBeginRange = 1;
        }
        if (typed.hasMatchedOption(END)) {
            rule.AddressEndRange = typed.matchedOptionValue(END, "");
            rule.EndRange = rangeNumber(session, rule, END, rule.AddressEndRange);
            rule.SetEndRange = 1;
        }
    }

    /**
     * {@return a bound of the range as a number}
     *
     * The native method takes the text for a rule whose ranges are addresses, and the number for every other rule. A
     * text that is no number is refused here for those others.
     */
    private static int rangeNumber(Session session, CMNRule rule, String option, String text) {
        try {
            return ((Number) Kind.INT.parse(text, 0)).intValue();
        } catch (UsageError error) {
            if (typeOf(session, rule) != Property.ADDRESS_RULE) {
                throw new UsageError(option + ": " + error.getMessage());
            }
            return 0;
        }
    }

    /**
     * Gives the rule its present type when its configuration source changes. Without a type the native method reads the
     * rule's record first, and what it reads overwrites the new source.
     */
    private static void keepType(Session session, CMNRule rule) {
        if (rule.SetConfigSource == 1) {
            rule.RuleType = (byte) typeOf(session, rule);
            rule.SetRuleType = 1;
        }
    }

    /** {@return the type that the rule is given, or else has} */
    private static int typeOf(Session session, CMNRule rule) {
        if (rule.SetRuleType == 1) {
            return rule.RuleType;
        }
        CMNRule existing = new CMNRule();
        existing.ClusterId = rule.ClusterId;
        existing.PortNumber = rule.PortNumber;
        existing.RuleName = rule.RuleName;
        Refusal.check(Family.RULE, session.natives().getRuleStatusNative(existing));
        return existing.RuleType;
    }
}
