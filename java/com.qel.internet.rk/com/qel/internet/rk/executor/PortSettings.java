package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNPort;
import java.time.Duration;

/**
 * Settings of a port, for {@link Port#add} and {@link Port#change}.
 *
 * <p>Settings are given one after the other, and each gives another object that has it too: one object may be kept,
 * shared, and continued in several ways. Of a setting that is given twice, the second counts.
 */
public final class PortSettings {
    private static final Row<Integer> MAX_SERVERS = Row.number("most servers", "MaxNumberOfServers");
    private static final Row<Duration> STALE_TIMEOUT = Row.seconds("stale time-out", "StaleTimeout");
    private static final Row<Duration> STICKY_TIME = Row.seconds("sticky time", "StickyTime");
    private static final Row<Integer> STICKY_BITS = Row.number("sticky bits", "iStickyBits").flag("SetStickyBits");
    private static final Row<Integer> WEIGHT_BOUND =
            Row.number("weight bound", "WeightBound", Short.MIN_VALUE, Short.MAX_VALUE);
    private static final Row<Integer> TYPE = Row.number("type", "Type", 0, 0xFF);
    private static final Row<Integer> METHOD =
            Row.number("forwarding method", "iMethod", Short.MIN_VALUE, Short.MAX_VALUE).flag("SetMethod");
    private static final Row<Integer> PROTOCOL =
            Row.number("protocol", "iPortProtocol", 0, 0xFFFF).flag("SetPortProtocol");
    private static final Row<Integer> REPLICATE = Row.number("replication", "Replicate", 0, 0xFF);
    private static final Row<Integer> MAX_HALF_OPEN =
            Row.number("most half-open connections", "iMaxHalfOpen").flag("SetMaxHalfOpen");
    private static final Row<Integer> CROSS_PORT =
            Row.number("cross port", "iCrossPort", 0, 0xFFFF).flag("SetCrossPort");
    private static final Row<Boolean> SEND_RESET = Row.onOff("send resets", "SendReset");

    private static final PortSettings NONE = new PortSettings(Changes.NONE);

    private final Changes changes;

    private PortSettings(Changes changes) {
        this.changes = changes;
    }

    /** {@return no settings: all stay as they are, or as the executor has them for what is new} */
    public static PortSettings none() {
        return NONE;
    }

    /**
     * Limits the servers.
     *
     * @param most how many there may be
     * @return these settings and this one
     */
    public PortSettings maxServers(int most) {
        return with(MAX_SERVERS, most);
    }

    /**
     * Sets how long an idle connection is kept.
     *
     * @param time whole seconds
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public PortSettings staleTimeout(Duration time) {
        return with(STALE_TIMEOUT, time);
    }

    /**
     * Sets how long a client stays with its server.
     *
     * @param time whole seconds; zero for not at all
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public PortSettings stickyTime(Duration time) {
        return with(STICKY_TIME, time);
    }

    /**
     * Sets the leading bits of a client's address that count for affinity.
     *
     * @param bits 0 to 32
     * @return these settings and this one
     */
    public PortSettings stickyBits(int bits) {
        return with(STICKY_BITS, bits);
    }

    /**
     * Sets the highest weight that a server may have.
     *
     * @param highest the weight; 16 bits travel
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside -32768 to 32767
     */
    public PortSettings weightBound(int highest) {
        return with(WEIGHT_BOUND, highest);
    }

    /**
     * Sets the type.
     *
     * @param type 0 to 255; of the executor that comes with the library, 0 for TCP and UDP, 1 for TCP, 2 for UDP
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside 0 to 255
     */
    public PortSettings type(int type) {
        return with(TYPE, type);
    }

    /**
     * Sets the forwarding method.
     *
     * @param method 16 bits travel; of the executor that comes with the library, 1 for link level, 2 for address
     *               translation, 3 for contents
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside -32768 to 32767
     */
    public PortSettings method(int method) {
        return with(METHOD, method);
    }

    /**
     * Sets the protocol.
     *
     * @param protocol 0 to 65535; of the executor that comes with the library, 0 for none, 1 for HTTP, 2 for TLS
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside 0 to 65535
     */
    public PortSettings protocol(int protocol) {
        return with(PROTOCOL, protocol);
    }

    /**
     * Sets what is replicated to the high-availability partner.
     *
     * @param what 0 to 255; the executor gives the numbers their meaning
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside 0 to 255
     */
    public PortSettings replicate(int what) {
        return with(REPLICATE, what);
    }

    /**
     * Limits the half-open connections.
     *
     * @param most how many there may be; 0 for no limit
     * @return these settings and this one
     */
    public PortSettings maxHalfOpen(int most) {
        return with(MAX_HALF_OPEN, most);
    }

    /**
     * Shares the affinity of another port of the cluster.
     *
     * @param port its number; 0 for none
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside 0 to 65535
     */
    public PortSettings crossPort(int port) {
        return with(CROSS_PORT, port);
    }

    /**
     * Sets whether packets of no connection are answered with a reset.
     *
     * @param send whether they are
     * @return these settings and this one
     */
    public PortSettings sendReset(boolean send) {
        return with(SEND_RESET, send);
    }

    /** {@return what was given} */
    @Override
    public String toString() {
        return changes.toString();
    }

    /** {@return an object for the native methods, with these settings and their flags} */
    CMNPort toNative() {
        return changes.putInto(new CMNPort());
    }

    private <V> PortSettings with(Row<V> row, V value) {
        return new PortSettings(changes.and(row, value));
    }
}
