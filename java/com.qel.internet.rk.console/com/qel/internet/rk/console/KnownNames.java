package com.qel.internet.rk.console;

import java.util.Collection;
import java.util.HashMap;
import java.util.HashSet;
import java.util.Map;
import java.util.Set;

/**
 * Names that the executor is known to have, so that a script of a thousand lines need not list them a thousand times.
 * Case does not count, as it does not count in keys.
 */
final class KnownNames {
    private static final String CLUSTERS = "";

    /** The names by where they are: clusters together, servers by their port. */
    private final Map<String, Set<String>> names = new HashMap<>();

    /** {@return whether the executor has this object, as far as is known} */
    boolean has(String label, Map<String, String> given) {
        return hasKey(label)
                && names.getOrDefault(place(label, given), Set.of()).contains(inCapitals(given.get(label)));
    }

    /** Keeps what was listed. */
    void listed(String label, Map<String, String> given, Collection<String> listed) {
        Set<String> all = new HashSet<>();
        listed.forEach(name -> all.add(inCapitals(name)));
        names.put(place(label, given), all);
    }

    /** Keeps that an object was added. */
    void added(String label, Map<String, String> given) {
        if (hasKey(label)) {
            names.computeIfAbsent(place(label, given), place -> new HashSet<>()).add(inCapitals(given.get(label)));
        }
    }

    /** Keeps that an object was removed, and with it what hung below it. */
    void removed(String label, Map<String, String> given) {
        if (!label.equals(Identity.SERVER)) {
            names.keySet().retainAll(Set.of(CLUSTERS));
        }
        if (has(label, given)) {
            names.get(place(label, given)).remove(inCapitals(given.get(label)));
        }
    }

    /** Takes nothing for known any more. */
    void forget() {
        names.clear();
    }

    /** {@return a name as keys see it: a to z are A to Z, and nothing else changes} */
    static String inCapitals(String name) {
        StringBuilder capitals = new StringBuilder(name);
        for (int i = 0; i < capitals.length(); i++) {
            char c = capitals.charAt(i);
            capitals.setCharAt(i, c >= 'a' && c <= 'z' ? (char) (c - 'a' + 'A') : c);
        }
        return capitals.toString();
    }

    private static boolean hasKey(String label) {
        return label.equals(Identity.CLUSTER) || label.equals(Identity.SERVER);
    }

    private static String place(String label, Map<String, String> given) {
        if (!label.equals(Identity.SERVER)) {
            return CLUSTERS;
        }
        int port = Identity.port(null).number(given.get(Identity.PORT));
        return port + " " + inCapitals(given.get(Identity.CLUSTER));
    }
}
