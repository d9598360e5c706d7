package com.qel.internet.rk.console;

import java.util.List;
import java.util.Locale;
import java.util.Map;

/**
 * The executor knows clusters and servers by the keys of their identifiers, and different identifiers may have one key.
 * What is typed for one object is not to reach another: the names that the executor lists tell which object has a key.
 */
final class KeyClash {
    private static final int CLUSTER_EXISTS = -4;
    private static final int SERVER_EXISTS = -18;

    private KeyClash() {
    }

    /**
     * Goes on only when no identifier that was typed would be taken for another one.
     *
     * @param given what was typed, by the arguments' labels; only clusters and servers have keys
     * @throws Refusal when one would, or when the names cannot be listed
     */
    static void refuse(Session session, Map<String, String> given) {
        for (String label : List.of(Identity.CLUSTER, Identity.SERVER)) {
            if (given.containsKey(label) && !session.known.has(label, given)) {
                String other = nameWithItsKey(session, label, given);
                if (other != null) {
                    throw new Refusal(null, "there is no " + label.toLowerCase(Locale.ROOT) + " '" + given.get(label)
                            + "', and the executor would take '" + other + "' for it: both have the key "
                            + Kind.KEY.format(key(session, other)));
                }
            }
        }
    }

    /**
     * {@return the refusal to add an object, with the name that stands in the way where one does}
     *
     * @param label the object's own label
     */
    static Refusal explain(Session session, Refusal refusal, String label, Map<String, String> given) {
        boolean exists = refusal.status != null && refusal.status == statusOfExisting(label);
        if (!exists) {
            return refusal;
        }
        String noun = "the " + label.toLowerCase(Locale.ROOT);
        try {
            String other = nameWithItsKey(session, label, given);
            if (other != null) {
                return new Refusal(refusal.status, noun + " '" + other + "' has the same key "
                        + Kind.KEY.format(key(session, other)) + ": choose another identifier");
            }
        } catch (Refusal unlisted) {
            return refusal;
        }
        return session.known.has(label, given) ? new Refusal(refusal.status, noun + " exists already") : refusal;
    }

    private static int statusOfExisting(String label) {
        return switch (label) {
            case Identity.CLUSTER -> CLUSTER_EXISTS;
            case Identity.SERVER -> SERVER_EXISTS;
            default -> 0;
        };
    }

    /** {@return the name of another object that has the key of the one that was typed; null when there is none} */
    private static String nameWithItsKey(Session session, String label, Map<String, String> given) {
        List<String> names = Names.ofKind(session, label, given);
        session.known.listed(label, given, names);
        // A name with a plus sign stands in the list as if it were several.
        String list = KnownNames.inCapitals("+" + String.join("+", names) + "+");
        String name = given.get(label);
        if (list.contains(KnownNames.inCapitals("+" + name + "+"))) {
            session.known.added(label, given);
            return null;
        }
        int key = key(session, name);
        return names.stream().filter(other -> key(session, other) == key).findFirst().orElse(null);
    }

    private static int key(Session session, String name) {
        return session.natives().calcClusterIdKeyNative(name, "");
    }
}
