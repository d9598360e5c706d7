package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import java.util.function.ToIntBiFunction;
import java.util.stream.Stream;

/**
 * A cluster: an address on which the executor balances load. This names it, and holds nothing of it: each method asks
 * or changes the executor. {@link Executor#cluster} makes one.
 */
public final class Cluster {
    private final Channel channel;
    private final Name name;

    Cluster(Channel channel, Name name) {
        this.channel = channel;
        this.name = name;
    }

    /** {@return the identifier} */
    public String name() {
        return name.text();
    }

    /** {@return the key by which the executor knows the identifier} */
    public int key() {
        return name.key();
    }

    /**
     * Adds the cluster.
     *
     * @param settings its address, and what else is not to be as the executor has it for new clusters
     * @return this cluster
     * @throws ExecutorException        when the executor refuses; when another cluster has the same key, it is named
     * @throws IllegalArgumentException when the name is empty, or has a plus sign: it could not be listed
     */
    public Cluster add(ClusterSettings settings) {
        CMNCluster cluster = named(settings.toNative());
        channel.add(name, natives -> natives.addClusterNative(cluster));
        return this;
    }

    /**
     * Changes settings.
     *
     * @param settings those that are given change
     * @throws ExecutorException when the executor refuses
     */
    public void change(ClusterSettings settings) {
        perform(settings.toNative(), CMNExecutorInterface::setClusterStatusNative);
    }

    /**
     * Removes the cluster, and all that hangs below it.
     *
     * @throws ExecutorException when the executor refuses
     */
    public void remove() {
        channel.remove(name, natives -> natives.removeClusterNative(named(new CMNCluster())));
    }

    /**
     * Reads the settings.
     *
     * @return the settings
     * @throws ExecutorException when the executor refuses
     */
    public ClusterStatus status() {
        return ClusterStatus.of(perform(new CMNCluster(), CMNExecutorInterface::getClusterStatusNative));
    }

    /**
     * Reads the counters.
     *
     * @return the counters
     * @throws ExecutorException when the executor refuses
     */
    public ClusterReport report() {
        return ClusterReport.of(perform(new CMNCluster(), CMNExecutorInterface::getClusterReportNative));
    }

    /**
     * Sets the counter of connections per second.
     *
     * @param rate what it is to be
     * @throws ExecutorException when the executor refuses
     */
    public void setConnectionsPerSecond(int rate) {
        CMNCluster cluster = new CMNCluster();
        cluster.iConnectionsPerSecond = rate;
        perform(cluster, CMNExecutorInterface::setClusterCPSNative);
    }

    /**
     * Names a port, whether it is there or not: nothing is sent.
     *
     * @param number its number, 0 to 65535
     * @return the port of that number
     * @throws IllegalArgumentException when it is another number
     */
    public Port port(int number) {
        return new Port(channel, name, Values.port(number));
    }

    /**
     * Lists the ports.
     *
     * @return the ports, in the executor's order
     * @throws ExecutorException when the executor refuses
     */
    public List<Port> ports() {
        return channel.together(natives -> {
            channel.names().requireOwnKey(name);
            Stream<String> numbers = channel.names().list("ports of " + name, Family.PORT,
                    list -> natives.getPortsListNative(name.text(), list)).stream();
            return numbers.map(number -> port(Integer.parseInt(number))).toList();
        });
    }

    private CMNCluster perform(CMNCluster cluster, ToIntBiFunction<CMNExecutorInterface, Object> method) {
        named(cluster);
        channel.perform(this, Family.CLUSTER, name, natives -> method.applyAsInt(natives, cluster));
        return cluster;
    }

    private CMNCluster named(CMNCluster cluster) {
        cluster.sClusterId = name.text();
        cluster.iClusterIdKey = name.key();
        return cluster;
    }

    /** {@return whether the other is a cluster of the same executor and name} */
    @Override
    public boolean equals(Object other) {
        return other instanceof Cluster cluster && cluster.channel == channel && cluster.name.isSameAs(name);
    }

    /** {@return a number that is the same for equal clusters} */
    @Override
    public int hashCode() {
        return name.key();
    }

    /** {@return what it is, for people} */
    @Override
    public String toString() {
        return name.toString();
    }
}
