package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Objects;

/**
 * The name of a cluster or of a server, which the executor knows by the name's key.
 *
 * @param text     the name as it was given
 * @param capitals the name as keys see it: a to z are A to Z, and nothing else changes
 * @param key      its key
 * @param place    names of the same place must not have the same key
 * @param cluster  the name of the server's cluster; null for that of a cluster
 * @param port     the server's port
 */
record Name(String text, String capitals, int key, String place, Name cluster, int port) {
    static final int LONGEST = 64; // bytes
    private static final String CLUSTERS = "";

    static Name ofCluster(Channel channel, String text) {
        check(text, "cluster identifier");
        return new Name(text, inCapitals(text), channel.key(text), CLUSTERS, null, 0);
    }

    static Name ofServer(Channel channel, Name cluster, int port, String text) {
        check(text, "server identifier");
        return new Name(text, inCapitals(text), channel.key(text), placeOf(cluster, port), cluster, port);
    }

    /** {@return the place of a port's servers} */
    static String placeOf(Name cluster, int port) {
        return cluster.capitals + " " + port;
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
