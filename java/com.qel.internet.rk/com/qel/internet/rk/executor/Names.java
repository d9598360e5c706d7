package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.ArrayList;
import java.util.Collection;
import java.util.HashMap;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.ToIntFunction;
import java.util.stream.Collectors;

/**
 * The names of what the executor has. The executor takes one of two names with the same key for the other; the lists of
 * names tell which of them it has. What was listed is kept, so that not every call has to list. Whoever calls has the
 * channel's lock.
 */
final class Names {
    /** More than any port has: a larger number is a mistake of the executor's. */
    private static final int MOST_SERVERS = 1_000_000;

    private static final int CLUSTER_EXISTS = -4;
    private static final int UNKNOWN_CLUSTER = -5;
    private static final int SERVER_EXISTS = -18;
    private static final int UNKNOWN_SERVER = -19;

    /** No time at which anything was known. */
    static final long NEVER = -1;

    private final Channel channel;
    private final CMNExecutorInterface natives;

    /** Names that the executor is known to have, in capitals, by their places. */
    private final Map<String, Set<String>> known = new HashMap<>();

    /** Goes on each time that a name may be known no more: names that were known before are looked up again. */
    private long time;

    /** What the servers that are known at this time have in common, by their places. */
    private final Map<String, Object> marks = new HashMap<>();

    Names(Channel channel, CMNExecutorInterface natives) {
        this.channel = channel;
        this.natives = natives;
    }

    /**
     * Goes on only when the executor would not take another object for the one of this name.
     *
     * @throws ExecutorException when it would, or when the names cannot be listed
     */
    void requireOwnKey(Name name) {
        if (isKnown(name)) {
            return; // and so is a server's cluster
        }
        if (name.isServer()) {
            requireOwnKey(name.cluster());
        }
        if (known.getOrDefault(name.place(), Set.of()).contains(name.capitals())) {
            name.lastKnown = time;
            return;
        }
        String other = otherWithItsKey(name);
        if (other != null) {
            throw new ExecutorException(name.toString(), name.family(),
                    name.isServer() ? UNKNOWN_SERVER : UNKNOWN_CLUSTER, "there is none of this name, and the executor"
                    + " would take '" + other + "' for it: both have the key " + hexadecimal(name.key()));
        }
    }

    /** {@return the refusal to add an object, with the name that stands in the way where one does} */
    ExecutorException explain(Name name, ExecutorException refusal) {
        if (refusal.status() != (name.isServer() ? SERVER_EXISTS : CLUSTER_EXISTS)) {
            return refusal;
        }
        try {
            String other = otherWithItsKey(name);
            return other == null ? refusal : new ExecutorException(name.toString(), name.family(), refusal.status(),
                    "'" + other + "' has the same key " + hexadecimal(name.key()));
        } catch (ExecutorException unlisted) {
            return refusal;
        }
    }

    /** {@return whether the executor is known to have it} */
    boolean isKnown(Name name) {
        return name.lastKnown == time;
    }

    /** {@return what stands for the servers of a place that are known: another one when they may be known no more} */
    Object markOf(String place) {
        return marks.computeIfAbsent(place, newPlace -> new Object());
    }

    private void goOn() {
        time++;
        marks.clear();
    }

    /** Lists the names of a name's place. {@return another one with the same key; null when there is none} */
    private String otherWithItsKey(Name name) {
        List<String> names = name.isServer() ? servers(name.cluster(), name.port()) : clusters();
        // A name with a plus sign stands in the list as if it were several.
        String list = Name.inCapitals("+" + String.join("+", names) + "+");
        if (list.contains("+" + name.capitals() + "+")) {
            added(name);
            return null;
        }
        return names.stream().filter(other -> natives.calcClusterIdKeyNative(other, "") == name.key()).findFirst()
                .orElse(null);
    }

    void added(Name name) {
        known.computeIfAbsent(name.place(), place -> new HashSet<>()).add(name.capitals());
    }

    /** Keeps that an object was removed, and what hung below it. */
    void removed(Name name) {
        goOn();
        known.getOrDefault(name.place(), new HashSet<>()).remove(name.capitals());
        if (!name.isServer()) {
            known.keySet().removeIf(place -> place.startsWith(name.capitals() + " "));
        }
    }

    /** Keeps that a port was removed, and its servers with it. */
    void removedPort(Name cluster, int port) {
        goOn();
        known.remove(Name.placeOf(cluster, port));
    }

    List<String> clusters() {
        List<String> names = list("clusters", Family.CLUSTER, natives::getClustersListNative);
        keep("", names);
        return names;
    }

    List<String> servers(Name cluster, int port) {
        int[] keys = new int[numberOfServers(cluster, port)];
        List<String> names = list("servers of port " + port + " of " + cluster, Family.SERVER,
                list -> natives.getServersListNative(cluster.text(), port, list, keys));
        keep(Name.placeOf(cluster, port), names);
        return names;
    }

    /** {@return how many servers a port has, if that can be: arrays are to be made for them} */
    int numberOfServers(Name cluster, int number) {
        CMNPort port = new CMNPort();
        port.ClusterId = cluster.text();
        port.PortNumber = number;
        channel.check("port " + number + " of " + cluster, Family.PORT, natives.getPortReportNative(port));
        if (port.NumServers < 0 || port.NumServers > MOST_SERVERS) {
            throw new ExecutorException("port " + number + " of " + cluster, Family.PORT, -99,
                    "the executor reports " + port.NumServers + " servers, which is impossible");
        }
        return port.NumServers;
    }

    /** {@return the names that a native method appends to a list, each with a plus sign before it} */
    List<String> list(String what, Family family, ToIntFunction<StringBuffer> method) {
        StringBuffer list = new StringBuffer();
        channel.check(what, family, method.applyAsInt(list));
        return list.isEmpty() ? List.of() : List.of(list.substring(1).split("\\+", -1));
    }

    private void keep(String place, Collection<String> names) {
        goOn();
        known.put(place, names.stream().map(Name::inCapitals).collect(Collectors.toCollection(HashSet::new)));
    }

    /** {@return which of several names have a key in common, in the order in which they were given} */
    static List<KeyClash> clashes(CMNExecutorInterface natives, Collection<String> names) {
        Map<Integer, Set<String>> byKey = new LinkedHashMap<>();
        for (String name : names) {
            byKey.computeIfAbsent(natives.calcClusterIdKeyNative(name, ""), key -> new LinkedHashSet<>()).add(name);
        }
        List<KeyClash> clashes = new ArrayList<>();
        byKey.forEach((key, same) -> {
            if (same.size() > 1) {
                clashes.add(new KeyClash(key, List.copyOf(same)));
            }
        });
        return clashes;
    }

    private static String hexadecimal(int key) {
        return String.format("0x%08X", key);
    }
}
