package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Objects;

/** The name of a cluster or of a server, which the executor knows by the name's key. */
final class Name {
    static final int LONGEST = 64; // bytes
    private static final String CLUSTERS = "";

    private final String text;
    private final String capitals;
    private final int key;
    private final String place;
    private final Name cluster; // of a server
    private final int port; // of a server

    /** When {@link Names} knew last that the executor has it; whoever has the channel's lock may look. */
    long lastKnown = Names.NEVER;

    private Name(String text, int key, String place, Name cluster, int port) {
        this.text = text;
        this.capitals = inCapitals(text);
        this.key = key;
        this.place = place;
        this.cluster = cluster;
        this.port = port;
    }

    static Name ofCluster(Channel channel, String text) {
        check(text, "cluster identifier");
        return new Name(text, channel.key(text), CLUSTERS, null, 0);
    }

    /** {@return the name of a server; place is {@link #placeOf} its port, which many servers share} */
    static Name ofServer(Channel channel, Name cluster, int port, String place, String text) {
        check(text, "server identifier");
        return new Name(text, channel.key(text), place, cluster, port);
    }

    /** {@return the place of a port's servers} */
    static String placeOf(Name cluster, int port) {
        return cluster.capitals + " " + port;
    }

    /** {@return the name as it was given} */
    String text() {
        return text;
    }

    /** {@return the name as keys see it: a to z are A to Z, and nothing else changes} */
    String capitals() {
        return capitals;
    }

    int key() {
        return key;
    }

    /** {@return where it is: names of the same place must not have the same key} */
    String place() {
        return place;
    }

    /** {@return the name of a server's cluster; null for that of a cluster} */
    Name cluster() {
        return cluster;
    }

    /** {@return a server's port} */
    int port() {
        return port;
    }

    private static void check(String text, String what) {
        Values.text(Objects.requireNonNull(text, what), LONGEST, what);
    }

    /**
     * Refuses a name that an object cannot be added with.
     *
     * @throws IllegalArgumentException when it would come back from the executor's list as another one
     */
    static void checkListable(String text) {
        if (text.isEmpty() || text.indexOf('+') >= 0) {
            throw new IllegalArgumentException("'" + text + "': lists of names have a plus sign before each, so"
                    + " a name that is empty or has one in it would be listed as others");
        }
    }

    /** {@return whether the executor knows both as one: upper and lower case are the same} */
    boolean isSameAs(Name other) {
        return capitals.equals(other.capitals) && place.equals(other.place);
    }

    boolean isServer() {
        return cluster != null;
    }

    Family family() {
        return isServer() ? Family.SERVER : Family.CLUSTER;
    }

    static String inCapitals(String name) {
        StringBuilder capitals = new StringBuilder(name);
        for (int i = 0; i < capitals.length(); i++) {
            char c = capitals.charAt(i);
            capitals.setCharAt(i, c >= 'a' && c <= 'z' ? (char) (c - 'a' + 'A') : c);
        }
        return capitals.toString();
    }

    @Override
    public String toString() {
        return isServer() ? "server '" + text + "' of port " + port + " of " + cluster : "cluster '" + text + "'";
    }
}
