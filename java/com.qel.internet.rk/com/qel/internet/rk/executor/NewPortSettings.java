package com.qel.internet.rk.executor;

import java.time.Duration;

/**
 * What ports begin with that are added from now on: the executor hands its own to new clusters, and a cluster to its
 * new ports.
 *
 * <p>Settings are given one after the other, and each gives another object that has it too: one object may be kept,
 * shared, and continued in several ways. Of a setting that is given twice, the second counts.
 */
public final class NewPortSettings {
    private static final Row<Integer> MAX_SERVERS = Row.number("most servers of new ports", "DefaultPortMaxServers");
    private static final Row<Duration> STALE_TIMEOUT =
            Row.seconds("stale time-out of new ports", "DefaultPortStaleTimeout");
    private static final Row<Duration> STICKY_TIME = Row.seconds("sticky time of new ports", "DefaultPortStickyTime");
    private static final Row<Integer> AFFINITY_TYPE =
            Row.number("affinity type of new ports", "DefaultPortAffinityType", 0, 0xFFFF);
    private static final Row<Integer> WEIGHT_BOUND =
            Row.number("weight bound of new ports", "DefaultPortWeightBound", Short.MIN_VALUE, Short.MAX_VALUE);
    private static final Row<Integer> TYPE = Row.number("type of new ports", "DefaultPortType", 0, 0xFF);
    private static final Row<Integer> REPLICATE =
            Row.number("replication of new ports", "DefaultPortReplicate", 0, 0xFF);

    private static final NewPortSettings NONE = new NewPortSettings(Changes.NONE);

    private final Changes changes;

    private NewPortSettings(Changes changes) {
        this.changes = changes;
    }

    /** {@return no settings: all stay as they are, or as the executor has them for what is new} */
    public static NewPortSettings none() {
        return NONE;
    }

    /**
     * Limits the servers of a port.
     *
     * @param most how many servers there may be
     * @return these settings and this one
     */
    public NewPortSettings maxServers(int most) {
        return with(MAX_SERVERS, most);
    }

    /**
     * Sets how long an idle connection is kept.
     *
     * @param time whole seconds
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public NewPortSettings staleTimeout(Duration time) {
        return with(STALE_TIMEOUT, time);
    }

    /**
     * Sets how long a client stays with its server.
     *
     * @param time whole seconds; zero for not at all
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public NewPortSettings stickyTime(Duration time) {
        return with(STICKY_TIME, time);
    }

    /**
     * Sets the affinity type.
     *
     * @param type 0 to 65535; the executor gives the numbers their meaning
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside 0 to 65535
     */
    public NewPortSettings affinityType(int type) {
        return with(AFFINITY_TYPE, type);
    }

    /**
     * Sets the highest weight that a server may have.
     *
     * @param highest the weight; 16 bits travel
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside -32768 to 32767
     */
    public NewPortSettings weightBound(int highest) {
        return with(WEIGHT_BOUND, highest);
    }

    /**
     * Sets the port type.
     *
     * @param type 0 to 255; of the executor that comes with the library, 0 for TCP and UDP, 1 for TCP, 2 for UDP
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside 0 to 255
     */
    public NewPortSettings type(int type) {
        return with(TYPE, type);
    }

    /**
     * Sets what is replicated to the high-availability partner.
     *
     * @param what 0 to 255; the executor gives the numbers their meaning
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside 0 to 255
     */
    public NewPortSettings replicate(int what) {
        return with(REPLICATE, what);
    }

    /** {@return what was given} */
    @Override
    public String toString() {
        return changes.toString();
    }

    /** {@return these settings among those of an executor or of a cluster: the fields have the same names} */
    Changes changes() {
        return changes;
    }

    private <V> NewPortSettings with(Row<V> row, V value) {
        return new NewPortSettings(changes.and(row, value));
    }
}
