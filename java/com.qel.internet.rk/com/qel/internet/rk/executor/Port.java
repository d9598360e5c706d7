package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServerWeights;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Collections;
import java.util.List;
import java.util.function.ToIntBiFunction;

/**
 * A port of a cluster. This names it, and holds nothing of it: each method asks or changes the executor.
 * {@link Cluster#port} makes one.
 */
public final class Port {
    private final Channel channel;
    private final Name cluster;
    private final int number;
    private final String place; // of its servers' names

    Port(Channel channel, Name cluster, int number) {
        this.channel = channel;
        this.cluster = cluster;
        this.number = number;
        this.place = Name.placeOf(cluster, number);
    }

    /** {@return the port number} */
    public int number() {
        return number;
    }

    /** {@return the cluster} */
    public Cluster cluster() {
        return new Cluster(channel, cluster);
    }

    /**
     * Adds the port. When the executor is out of memory, this may take as long as {@link Wait#LONGEST_OF_PORTS}:
     * {@link Executor#askBeforeWaiting} asks first.
     *
     * @param settings what is not to be as the cluster has it for new ports
     * @return this port
     * @throws ExecutorException                          when the executor refuses
     * @throws java.util.concurrent.CancellationException when the wait is not wanted
     */
    public Port add(PortSettings settings) {
        CMNPort port = identified(settings.toNative());
        channel.performWaiting("add " + this, this, cluster, natives -> natives.addPortNative(port));
        return this;
    }

    /**
     * Changes settings. When the executor is out of memory, this may take as long as {@link #add}.
     *
     * @param settings those that are given change
     * @throws ExecutorException                          when the executor refuses
     * @throws java.util.concurrent.CancellationException when the wait is not wanted
     */
    public void change(PortSettings settings) {
        CMNPort port = identified(settings.toNative());
        channel.performWaiting("change " + this, this, cluster, natives -> natives.setPortStatusNative(port));
    }

    /**
     * Removes the port, with its servers and rules.
     *
     * @throws ExecutorException when the executor refuses
     */
    public void remove() {
        channel.together(natives -> {
            perform(new CMNPort(), CMNExecutorInterface::removePortNative);
            channel.names().removedPort(cluster, number);
            return null;
        });
    }

    /**
     * Reads the settings.
     *
     * @return the settings
     * @throws ExecutorException when the executor refuses
     */
    public PortStatus status() {
        return PortStatus.of(perform(new CMNPort(), CMNExecutorInterface::getPortStatusNative));
    }

    /**
     * Reads the counters.
     *
     * @return the counters
     * @throws ExecutorException when the executor refuses
     */
    public PortReport report() {
        return PortReport.of(perform(new CMNPort(), CMNExecutorInterface::getPortReportNative));
    }

    /**
     * Sets the counter of connections per second.
     *
     * @param rate what it is to be
     * @throws ExecutorException when the executor refuses
     */
    public void setConnectionsPerSecond(int rate) {
        CMNPort port = new CMNPort();
        port.iConnectionsPerSecond = rate;
        perform(port, CMNExecutorInterface::setPortCPSNative);
    }

    /**
     * Names a server, whether it is there or not: nothing is sent.
     *
     * @param name its identifier, at most 64 bytes; upper and lower case are the same
     * @return the server of that name
     * @throws IllegalArgumentException when the name is longer
     */
    public Server server(String name) {
        return new Server(channel, Name.ofServer(channel, cluster, number, place, name));
    }

    /**
     * Lists the servers.
     *
     * @return the servers, in the executor's order
     * @throws ExecutorException when the executor refuses
     */
    public List<Server> servers() {
        return channel.together(natives -> {
            channel.names().requireOwnKey(cluster);
            return channel.names().servers(cluster, number).stream().map(this::server).toList();
        });
    }

    /**
     * Names a rule, whether it is there or not: nothing is sent.
     *
     * @param name its name, at most 20 bytes
     * @return the rule of that name
     * @throws IllegalArgumentException when the name is longer
     */
    public Rule rule(String name) {
        return new Rule(channel, cluster, number, name);
    }

    /**
     * Lists the rules.
     *
     * @return the rules, in the executor's order
     * @throws ExecutorException when the executor refuses
     */
    public List<Rule> rules() {
        return channel.together(natives -> {
            channel.names().requireOwnKey(cluster);
            return channel.names().list("rules of " + this, Family.RULE,
                    list -> natives.getRulesListNative(cluster.text(), number, list)).stream().map(this::rule).toList();
        });
    }

    /**
     * Reads the weights of all servers in one exchange.
     *
     * @return a row for each server, in the executor's order
     * @throws ExecutorException when the executor refuses
     */
    public List<ServerWeight> weights() {
        return channel.together(natives -> {
            channel.names().requireOwnKey(cluster);
            CMNServerWeights weights = weights(channel.names().numberOfServers(cluster, number));
            int count = weights.iWeight.length;
            channel.check(this, Family.WEIGHTS, natives.getServerWeightsNative(weights, count));
            ServerWeight[] rows = new ServerWeight[count];
            Arrays.setAll(rows, i -> ServerWeight.of(weights, i));
            return Collections.unmodifiableList(Arrays.asList(rows));
        });
    }

    /**
     * Changes the weights of servers in one exchange.
     *
     * @param changes a server each
     * @throws ExecutorException when the executor refuses all, or some: those are named, and the others are changed
     * @throws IllegalArgumentException when a server is not of this port
     */
    public void changeWeights(Collection<WeightChange> changes) {
        WeightChange[] all = changes.toArray(WeightChange[]::new);
        CMNServerWeights weights = weights(all.length);
        channel.together(natives -> {
            Names names = channel.names();
            Object mark = names.markOf(place);
            for (int i = 0; i < all.length; i++) {
                if (!all[i].server().hasMark(mark)) {
                    all[i].server().requireOf(this);
                    all[i].server().requireOwnKey(names);
                    mark = names.markOf(place);
                }
                all[i].putInto(weights, i);
            }
            channel.check(this, Family.WEIGHTS, natives.setServerWeightsNative(weights, all.length));
            return null;
        });
        int results = 0;
        for (int result : weights.iRC) {
            results |= result;
        }
        if (results != 0) {
            throw refusalOf(all, weights.iRC);
        }
    }

    private static ExecutorException refusalOf(WeightChange[] changes, int[] results) {
        List<Server> refused = new ArrayList<>();
        int reason = 0; // of the first
        for (int i = 0; i < changes.length; i++) {
            if (results[i] != 0) {
                reason = refused.isEmpty() ? results[i] : reason;
                refused.add(changes[i].server());
            }
        }
        return new ExecutorException("weights of " + refused, Family.REASON, reason);
    }

    /** {@return the clients that stay with servers of this port} */
    public Affinities affinities() {
        return new Affinities(channel, cluster, number);
    }

    /** {@return whether a server is one of this port's} */
    boolean has(Channel its, String serversPlace) {
        return its == channel && serversPlace.equals(place);
    }

    private CMNPort perform(CMNPort port, ToIntBiFunction<CMNExecutorInterface, Object> method) {
        identified(port);
        channel.perform(this, Family.PORT, cluster, natives -> method.applyAsInt(natives, port));
        return port;
    }

    private CMNPort identified(CMNPort port) {
        port.ClusterId = cluster.text();
        port.PortNumber = number;
        return port;
    }

    private CMNServerWeights weights(int capacity) {
        CMNServerWeights weights = new CMNServerWeights(capacity);
        weights.sClusterID = cluster.text();
        weights.iPortNumber = number;
        return weights;
    }

    /** {@return whether the other is the port of the same number, of the same cluster} */
    @Override
    public boolean equals(Object other) {
        return other instanceof Port port && port.channel == channel && port.place.equals(place);
    }

    /** {@return a number that is the same for equal ports} */
    @Override
    public int hashCode() {
        return cluster.key() * 31 + number;
    }

    /** {@return what it is, for people} */
    @Override
    public String toString() {
        return "port " + number + " of " + cluster;
    }
}
