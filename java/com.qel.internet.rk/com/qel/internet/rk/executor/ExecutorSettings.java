package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorStatus;
import java.net.InetAddress;
import java.time.Duration;

/**
 * Settings of the executor, for {@link Executor#change}.
 *
 * <p>Settings are given one after the other, and each gives another object that has it too: one object may be kept,
 * shared, and continued in several ways. Of a setting that is given twice, the second counts.
 */
public final class ExecutorSettings {
    private static final Row<InetAddress> NON_FORWARDING_ADDRESS =
            Row.address("non-forwarding address", "NFA").flag("SetNonForwardingAddress");
    private static final Row<Integer> TRACE_LEVEL = Row.number("trace level", "TraceLevel");
    private static final Row<Integer> MAX_CLUSTERS = Row.number("most clusters", "MaxNumberOfClusters");
    private static final Row<Integer> MAX_PORTS = Row.number("most ports of new clusters", "DefaultClusterMaxPorts");
    private static final Row<Duration> FIN_TIMEOUT = Row.seconds("FIN time-out", "FINTimeout");
    private static final Row<Duration> HA_TIMEOUT = Row.seconds("high-availability time-out", "HaTimeout");
    private static final Row<Duration> HA_SYNC_TIMEOUT =
            Row.seconds("high-availability synchronisation time-out", "HaSyncTimeout");
    private static final Row<InetAddress> CLIENT_GATEWAY = Row.address("client gateway", "ClientGateway");
    private static final Row<InetAddress> CLIENT_GATEWAY6 = Row.address6Bytes("IPv6 client gateway", "v6ClientGateway");
    private static final Row<Integer> SHARED_BANDWIDTH =
            Row.number("shared bandwidth", "iSharedBytesPerSecond").flag("SetSharedBandwidth");
    private static final Row<Integer> WIDE_PORT = Row.number("wide-area port", "WidePortNumber");
    private static final Row<String> CONFIG_FILE = Row.text("configuration file", "ConfigFileName", 255);
    private static final Row<Duration> COOKIE_EXPIRY =
            Row.seconds("cookie expiry", "iCookieExpireInterval").flag("SetCookieExpireInterval");

    private static final ExecutorSettings NONE = new ExecutorSettings(Changes.NONE);

    private final Changes changes;

    private ExecutorSettings(Changes changes) {
        this.changes = changes;
    }

    /** {@return no settings: all stay as they are, or as the executor has them for what is new} */
    public static ExecutorSettings none() {
        return NONE;
    }

    /**
     * Sets the executor's own address, which it does not balance; the local time zone travels with it.
     *
     * @param address an IPv4 address
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public ExecutorSettings nonForwardingAddress(InetAddress address) {
        return with(NON_FORWARDING_ADDRESS, address);
    }

    /**
     * Sets how much the executor traces.
     *
     * @param level 0 for nothing
     * @return these settings and this one
     */
    public ExecutorSettings traceLevel(int level) {
        return with(TRACE_LEVEL, level);
    }

    /**
     * Limits the clusters.
     *
     * @param most how many there may be
     * @return these settings and this one
     */
    public ExecutorSettings maxClusters(int most) {
        return with(MAX_CLUSTERS, most);
    }

    /**
     * Limits the ports of a cluster that is added from now on.
     *
     * @param most how many there may be
     * @return these settings and this one
     */
    public ExecutorSettings maxPortsOfNewClusters(int most) {
        return with(MAX_PORTS, most);
    }

    /**
     * Sets how long a connection is remembered after its end.
     *
     * @param time whole seconds
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public ExecutorSettings finTimeout(Duration time) {
        return with(FIN_TIMEOUT, time);
    }

    /**
     * Sets how long the high-availability partner may be silent.
     *
     * @param time whole seconds
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public ExecutorSettings haTimeout(Duration time) {
        return with(HA_TIMEOUT, time);
    }

    /**
     * Sets how long synchronising with the high-availability partner may take.
     *
     * @param time whole seconds
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public ExecutorSettings haSyncTimeout(Duration time) {
        return with(HA_SYNC_TIMEOUT, time);
    }

    /**
     * Sets the IPv4 client gateway.
     *
     * @param address an IPv4 address
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public ExecutorSettings clientGateway(InetAddress address) {
        return with(CLIENT_GATEWAY, address);
    }

    /**
     * Sets the IPv6 client gateway.
     *
     * @param address an IPv6 address
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv6 address
     */
    public ExecutorSettings clientGateway6(InetAddress address) {
        return with(CLIENT_GATEWAY6, address);
    }

    /**
     * Sets the bandwidth that all clusters share.
     *
     * @param bytes bytes per second
     * @return these settings and this one
     */
    public ExecutorSettings sharedBandwidth(int bytes) {
        return with(SHARED_BANDWIDTH, bytes);
    }

    /**
     * Sets the port number of the wide-area load balancing.
     *
     * @param port the number
     * @return these settings and this one
     */
    public ExecutorSettings widePort(int port) {
        return with(WIDE_PORT, port);
    }

    /**
     * Names the configuration file.
     *
     * @param name at most 255 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public ExecutorSettings configFile(String name) {
        return with(CONFIG_FILE, name);
    }

    /**
     * Sets how long a cookie is valid; it cannot be read back.
     *
     * @param time whole seconds
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public ExecutorSettings cookieExpiry(Duration time) {
        return with(COOKIE_EXPIRY, time);
    }

    /**
     * Sets what new ports begin with.
     *
     * @param settings those that are given change
     * @return these settings and those
     */
    public ExecutorSettings newPorts(NewPortSettings settings) {
        return new ExecutorSettings(changes.and(settings.changes()));
    }

    /** {@return what was given} */
    @Override
    public String toString() {
        return changes.toString();
    }

    /** {@return an object for the native methods, with these settings and their flags} */
    CMNExecutorStatus toNative() {
        return changes.putInto(new CMNExecutorStatus());
    }

    private <V> ExecutorSettings with(Row<V> row, V value) {
        return new ExecutorSettings(changes.and(row, value));
    }
}
