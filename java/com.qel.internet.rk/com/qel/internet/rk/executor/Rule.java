package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import java.util.Objects;
import java.util.function.ToIntBiFunction;

/**
 * A rule of a port: when it fires, it decides which of the port's servers take a connection. This names it, and holds
 * nothing of it: each method asks or changes the executor. {@link Port#rule} makes one.
 */
public final class Rule {
    private static final int LONGEST = 20; // bytes

    private final Channel channel;
    private final Name cluster;
    private final int port;
    private final String name;

    Rule(Channel channel, Name cluster, int port, String name) {
        this.channel = channel;
        this.cluster = cluster;
        this.port = port;
        this.name = Values.text(Objects.requireNonNull(name, "rule name"), LONGEST, "rule name");
    }

    /** {@return the name} */
    public String name() {
        return name;
    }

    /** {@return the port} */
    public Port port() {
        return new Port(channel, cluster, port);
    }

    /**
     * Adds the rule.
     *
     * @param settings its type, and what else is not to be as it is for new rules
     * @return this rule
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when the settings have no type, or a range that is not of it; when the name is
     *         empty,
     *                                  or has a plus sign: it could not be listed
     */
    public Rule add(RuleSettings settings) {
        Name.checkListable(name);
        if (!settings.hasType()) {
            throw new IllegalArgumentException("a new rule needs a type: begin with RuleSettings.ofType");
        }
        CMNRule rule = settings.toNative();
        settings.checkRange(rule.RuleType);
        perform(rule, CMNExecutorInterface::addRuleNative);
        return this;
    }

    /**
     * Changes settings. The hash identifier travels with every change: one that does not give it clears it.
     *
     * @param settings those that are given change
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when the settings have a range that is not of the rule's type
     */
    public void change(RuleSettings settings) {
        channel.together(natives -> {
            // The library picks the range by the type, and asks for a type that is missing: what it asks for would take
            // the place of a new configuration source.
            RuleSettings sent = settings.needsType() ? settings.ofPresentType(status().type()) : settings;
            CMNRule rule = sent.toNative();
            if (sent.hasType()) {
                sent.checkRange(rule.RuleType);
            }
            return perform(rule, CMNExecutorInterface::setRuleStatusNative);
        });
    }

    /**
     * Removes the rule.
     *
     * @throws ExecutorException when the executor refuses
     */
    public void remove() {
        perform(new CMNRule(), CMNExecutorInterface::removeRuleNative);
    }

    /**
     * Reads the settings.
     *
     * @return the settings
     * @throws ExecutorException when the executor refuses
     */
    public RuleStatus status() {
        return RuleStatus.of(perform(new CMNRule(), CMNExecutorInterface::getRuleStatusNative));
    }

    /**
     * Reads the counters.
     *
     * @return the counters
     * @throws ExecutorException when the executor refuses
     */
    public RuleReport report() {
        return RuleReport.of(perform(new CMNRule(), CMNExecutorInterface::getRuleReportNative));
    }

    /**
     * Sets the counter of connections per second.
     *
     * @param rate what it is to be
     * @throws ExecutorException when the executor refuses
     */
    public void setConnectionsPerSecond(int rate) {
        CMNRule rule = new CMNRule();
        rule.iConnectionsPerSecond = rate;
        perform(rule, CMNExecutorInterface::setRuleCPSNative);
    }

    /**
     * Puts a server of the port into the rule.
     *
     * @param server the server
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when the server is not of the rule's port
     */
    public void addServer(Server server) {
        addServer(server, 0);
    }

    /**
     * Puts a server of the port into the rule, with a number that the executor gives its meaning.
     *
     * @param server   the server
     * @param argument passed on to the executor as it is
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when the server is not of the rule's port
     */
    public void addServer(Server server, int argument) {
        CMNServer member = member(server);
        channel.perform(server + " in rule '" + name + "'", Family.RULE, server.identity(),
                natives -> natives.addServertoRuleNative(identified(new CMNRule()), member, argument));
    }

    /**
     * Takes a server out of the rule.
     *
     * @param server the server
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when the server is not of the rule's port
     */
    public void removeServer(Server server) {
        CMNServer member = member(server);
        channel.perform(server + " in rule '" + name + "'", Family.RULE, server.identity(),
                natives -> natives.removeServerfromRuleNative(identified(new CMNRule()), member, 0));
    }

    /**
     * Lists the servers of the rule.
     *
     * @return the servers, in the executor's order
     * @throws ExecutorException when the executor refuses
     */
    public List<Server> servers() {
        return channel.together(natives -> {
            // The list is as long as the rule's status says.
            CMNRule rule = perform(new CMNRule(), CMNExecutorInterface::getRuleStatusNative);
            return channel.names().list("servers of " + this, Family.RULE,
                    list -> natives.getRuleServersListNative(rule, list)).stream().map(port()::server).toList();
        });
    }

    private CMNServer member(Server server) {
        server.requireOf(port());
        return server.identified(new CMNServer());
    }

    private CMNRule perform(CMNRule rule, ToIntBiFunction<CMNExecutorInterface, Object> method) {
        identified(rule);
        channel.perform(this, Family.RULE, cluster, natives -> method.applyAsInt(natives, rule));
        return rule;
    }

    private CMNRule identified(CMNRule rule) {
        rule.ClusterId = cluster.text();
        rule.PortNumber = port;
        rule.RuleName = name;
        return rule;
    }

    /** {@return whether the other is the rule of the same name, of the same port} */
    @Override
    public boolean equals(Object other) {
        return other instanceof Rule rule && rule.port().equals(port()) && rule.name.equals(name);
    }

    /** {@return a number that is the same for equal rules} */
    @Override
    public int hashCode() {
        return name.hashCode();
    }

    /** {@return what it is, for people} */
    @Override
    public String toString() {
        return "rule '" + name + "' of port " + port + " of " + cluster;
    }
}
