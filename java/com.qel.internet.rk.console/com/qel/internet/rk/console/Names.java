package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import java.util.Map;

/** The names of what the executor has. */
final class Names {
    /** More than any port has: a larger number is a mistake of the executor's. */
    private static final int MOST_SERVERS = 1_000_000;

    private Names() {
    }

    /**
     * {@return the names that there are of a kind}
     *
     * @param label the kind, as a command's arguments call it
     * @param given the names that lead to it, by kind
     * @throws Refusal    when they cannot be listed
     * @throws UsageError when the port that leads to them is no number
     */
    static List<String> ofKind(Session session, String label, Map<String, String> given) {
        StringBuffer list = new StringBuffer();
        CMNPort at = new CMNPort();
        Identity.cluster("ClusterId", null).put(session, at, given.getOrDefault(Identity.CLUSTER, ""));
        if (given.containsKey(Identity.PORT)) {
            Identity.port("PortNumber").put(session, at, given.get(Identity.PORT));
        }
        switch (label) {
            case Identity.CLUSTER -> Refusal.check(Family.CLUSTER, session.natives().getClustersListNative(list));
            case Identity.PORT ->
                    Refusal.check(Family.PORT, session.natives().getPortsListNative(at.ClusterId, list));
            case Identity.SERVER -> {
                int[] keys = new int[numberOfServers(session, at)];
                Refusal.check(Family.SERVER,
                        session.natives().getServersListNative(at.ClusterId, at.PortNumber, list, keys));
            }
            case Identity.RULE -> Refusal.check(Family.RULE,
                    session.natives().getRulesListNative(at.ClusterId, at.PortNumber, list));
            default -> {
            }
        }
        return split(list);
    }

    /** {@return a port's number as the executor lists it, if it is one} */
    static int port(String listed) {
        try {
            return Integer.parseInt(listed);
        } catch (NumberFormatException e) {
            throw new Refusal(null, "the executor lists a port '" + listed + "', which is no number");
        }
    }

    /** {@return how many servers a port has, if that can be: arrays are to be made for them} */
    static int numberOfServers(Session session, CMNPort port) {
        Refusal.check(Family.PORT, session.natives().getPortReportNative(port));
        if (port.NumServers < 0 || port.NumServers > MOST_SERVERS) {
            throw new Refusal(null, "the executor reports " + port.NumServers + " servers, which is impossible");
        }
        return port.NumServers;
    }

    /**
     * Takes apart a list as the native methods write it: each name has a plus sign before it. A name that contains a
     * plus sign cannot be told from two names.
     */
    static List<String> split(StringBuffer list) {
        return list.isEmpty() ? List.of() : List.of(list.substring(1).split("\\+", -1));
    }
}
