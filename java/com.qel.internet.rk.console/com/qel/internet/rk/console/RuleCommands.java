package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import picocli.CommandLine.Model.CommandSpec;

/** Rules. */
final class RuleCommands {
    private static final String BEGIN = "--begin";
    private static final String END = "--end";

    private static final Table STATUS = Table.of(CMNRule::new,
            read("ClusterId", "cluster", Kind.TEXT),
            read("PortNumber", "port", Kind.INT),
            read("RuleName", "rule", Kind.TEXT),
            setting("RuleType", "type", Kind.INT8, "--type", "SetRuleType").named(Words.RULE_TYPE)
                    .within("0 to 9").initially(null),
            setting("BeginRange", "range begins", Kind.RULE_BOUND, BEGIN, "SetBeginRange").and("AddressBeginRange"),
            setting("EndRange", "range ends", Kind.RULE_BOUND, END, "SetEndRange").and("AddressEndRange"),
            setting("Priority", "priority", Kind.INT, "--priority", "SetPriority")
                    .within("0 to 2147483647, that of no other rule of the port").initially(null),
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

    static final Level LEVEL = new Level("rule", Family.RULE, STATUS, CMNExecutorInterface::getRuleStatusNative,
            CMNExecutorInterface::setRuleStatusNative, CMNExecutorInterface::addRuleNative,
            CMNExecutorInterface::removeRuleNative, Identity.cluster("ClusterId", null), Identity.port("PortNumber"),
            Identity.rule("RuleName"));

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
        ObjectFamily rules = new ObjectFamily(session, LEVEL,
                "Rules of a port: which of its servers take a connection.");
        rules.add("Add a rule to a port.", STATUS, LEVEL.add(), (typed, rule) -> checkRange(session, (CMNRule) rule),
                "--type");
        rules.set("Change settings of a rule.", STATUS, LEVEL.change(), (typed, rule) -> {
            checkRange(session, (CMNRule) rule);
            keepType(session, (CMNRule) rule);
        });
        rules.remove("Remove a rule.", STATUS, LEVEL.remove());
        rules.show("status", "Show the settings of a rule.", STATUS, LEVEL.read());
        rules.show("report", "Show the counters of a rule.", REPORT, CMNExecutorInterface::getRuleReportNative);
        rules.list("List the rules of a port.", STATUS, COLUMNS, LEVEL.read());
        rules.cps("Set the connections-per-second counter of a rule.", STATUS, "iConnectionsPerSecond",
                CMNExecutorInterface::setRuleCPSNative);
        rules.definition().addSubcommand("server", RuleServerCommands.create(session));
        return rules.definition();
    }

    /** A text that is no number can only be the bound of a rule whose ranges are addresses. */
    private static void checkRange(Session session, CMNRule rule) {
        checkBound(session, rule, BEGIN, rule.SetBeginRange, rule.AddressBeginRange);
        checkBound(session, rule, END, rule.SetEndRange, rule.AddressEndRange);
    }

    private static void checkBound(Session session, CMNRule rule, String option, byte isSet, String text) {
        if (isSet == 1 && !Kind.isNumber(text) && typeOf(session, rule) != Property.ADDRESS_RULE) {
            throw new UsageError(option + ": '" + text + "' is not a number");
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
