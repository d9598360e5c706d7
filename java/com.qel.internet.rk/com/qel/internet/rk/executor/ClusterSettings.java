package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNCluster;
import java.net.InetAddress;

/**
 * Settings of a cluster, for {@link Cluster#add} and {@link Cluster#change}.
 *
 * <p>Settings are given one after the other, and each gives another object that has it too: one object may be kept,
 * shared, and continued in several ways. Of a setting that is given twice, the second counts.
 */
public final class ClusterSettings {
    private static final Row<InetAddress> ADDRESS = Row.address("address", "Address").flag("SetIPAddress");
    private static final Row<Integer> MAX_PORTS = Row.number("most ports", "MaxNumberOfPorts");
    private static final Row<InetAddress> PRIMARY_HOST =
            Row.address("primary host", "sPrimaryHost").flag("SetPrimaryHost");
    private static final Row<Integer> SHARED_BANDWIDTH =
            Row.number("shared bandwidth", "iSharedBytesPerSecond").flag("SetSharedBandwidth");
    private static final Row<InetAddress> NAT_ADDRESS =
            Row.addressBytes("NAT address", "natPtAddress").flag("SetNatPtAddress");
    private static final Row<Integer> ACTIVE_SHARE = share("active connections", "iActiveConnsProp");
    private static final Row<Integer> NEW_SHARE = share("new connections", "iNewConnsProp");
    private static final Row<Integer> PORT_SHARE = share("port's own measure", "iPortSpecificProp");
    private static final Row<Integer> SYSTEM_SHARE = share("system load", "iSystemProp");

    private static final ClusterSettings NONE = new ClusterSettings(Changes.NONE);

    private final Changes changes;

    private ClusterSettings(Changes changes) {
        this.changes = changes;
    }

    /** {@return no settings: all stay as they are, or as the executor has them for what is new} */
    public static ClusterSettings none() {
        return NONE;
    }

    /**
     * Begins with what a new cluster needs most: its address.
     *
     * @param address an IPv4 address
     * @return the setting of the address
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public static ClusterSettings at(InetAddress address) {
        return NONE.address(address);
    }

    /**
     * Sets the address on which the cluster takes connections.
     *
     * @param address an IPv4 address
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public ClusterSettings address(InetAddress address) {
        return with(ADDRESS, address);
    }

    /**
     * Limits the ports.
     *
     * @param most how many there may be
     * @return these settings and this one
     */
    public ClusterSettings maxPorts(int most) {
        return with(MAX_PORTS, most);
    }

    /**
     * Sets the primary host of the cluster.
     *
     * @param address an IPv4 address
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public ClusterSettings primaryHost(InetAddress address) {
        return with(PRIMARY_HOST, address);
    }

    /**
     * Sets the most shared bandwidth that the cluster takes.
     *
     * @param bytes bytes per second
     * @return these settings and this one
     */
    public ClusterSettings sharedBandwidth(int bytes) {
        return with(SHARED_BANDWIDTH, bytes);
    }

    /**
     * Sets the address for network address translation.
     *
     * @param address an IPv4 address
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public ClusterSettings natAddress(InetAddress address) {
        return with(NAT_ADDRESS, address);
    }

    /**
     * Sets what a server's weight is made of.
     *
     * @param shares the four shares
     * @return these settings and these shares
     */
    public ClusterSettings proportions(Proportions shares) {
        return with(ACTIVE_SHARE, shares.activeConnections()).with(NEW_SHARE, shares.newConnections())
                .with(PORT_SHARE, shares.portSpecific()).with(SYSTEM_SHARE, shares.system());
    }

    /**
     * Sets what new ports begin with.
     *
     * @param settings those that are given change
     * @return these settings and those
     */
    public ClusterSettings newPorts(NewPortSettings settings) {
        return new ClusterSettings(changes.and(settings.changes()));
    }

    /** {@return what was given} */
    @Override
    public String toString() {
        return changes.toString();
    }

    /** {@return an object for the native methods, with these settings and their flags} */
    CMNCluster toNative() {
        return changes.putInto(new CMNCluster());
    }

    private static Row<Integer> share(String of, String field) {
        return Row.number("share of " + of, field).flag("SetClusterProportions");
    }

    private <V> ClusterSettings with(Row<V> row, V value) {
        return new ClusterSettings(changes.and(row, value));
    }
}
