package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/** The servers of a rule. */
final class RuleServerCommands {
    private static final String ARGUMENT = "--argument";
    private static final Identity[] RULE = {
        Identity.cluster("ClusterId", null), Identity.port("PortNumber"), Identity.rule("RuleName")};
    private static final Identity SERVER = Identity.server("sServerID", "iServerIdKey");

    /** A native method that changes whether a server is in a rule. */
    private interface Native {
        int call(CMNExecutorInterface natives, Object rule, Object server, int argument);
    }

    private RuleServerCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup members = new CommandGroup("server", "Servers of a rule.");
        addChange(members, session, "add", "Put a server of the port into a rule.",
                CMNExecutorInterface::addServertoRuleNative);
        addChange(members, session, "remove", "Take a server out of a rule.",
                CMNExecutorInterface::removeServerfromRuleNative);
        members.command("list", "List the servers of a rule.", typed -> {
            CMNRule rule = rule(session, typed);
            KeyClash.refuse(session, CommandGroup.given(typed, RULE));
            list(session, rule);
        }, RULE);
        return members.definition;
    }

    private static void addChange(CommandGroup members, Session session, String name, String description,
            Native method) {
        CommandSpec command = members.command(name, description, typed -> change(session, typed, method), RULE);
        CommandGroup.addArgument(command, SERVER);
        command.addOption(OptionSpec.builder(ARGUMENT)
                .type(int.class)
                .paramLabel("N")
                .defaultValue("0")
                .description("A number passed to the executor unchanged; 0 when left out.")
                .build());
    }

    private static void change(Session session, ParseResult typed, Native method) {
        CMNRule rule = rule(session, typed);
        CMNServer server = new CMNServer();
        String name = typed.matchedPositionalValue(RULE.length, "");
        SERVER.put(session, server, name);
        Map<String, String> given = CommandGroup.given(typed, RULE);
        given.put(Identity.SERVER, name);
        KeyClash.refuse(session, given);
        int argument = typed.matchedOptionValue(ARGUMENT, 0);
        session.finish(Family.RULE, method.call(session.natives(), rule, server, argument));
    }

    private static void list(Session session, CMNRule rule) {
        // The list is as long as the rule's status says.
        Refusal.check(Family.RULE, session.natives().getRuleStatusNative(rule));
        StringBuffer list = new StringBuffer();
        Refusal.check(Family.RULE, session.natives().getRuleServersListNative(rule, list));
        session.output.names(Names.split(list), Kind.TEXT);
    }

    private static CMNRule rule(Session session, ParseResult typed) {
        CMNRule rule = new CMNRule();
        CommandGroup.put(session, rule, typed, RULE);
        return rule;
    }
}
