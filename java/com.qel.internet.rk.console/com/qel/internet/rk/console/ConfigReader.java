package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNHAStatus;
import com.qel.internet.rk.common.CMNIcmp;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import java.util.Map;

/** Reads a configuration from the executor. */
final class ConfigReader {
    private ConfigReader() {
    }

    /** {@return all that the executor has} */
    static ConfigNode read(Session session) {
        ConfigNode executor = new ConfigNode(ExecutorCommands.LEVEL, null, "");
        fill(session, executor);
        fillHighAvailability(session, executor);
        fillIcmp(session, executor);
        return executor;
    }

    /** Reads what concerns the partner into the executor of a configuration. */
    static void fillHighAvailability(Session session, ConfigNode executor) {
        CMNHAStatus status = readHighAvailability(session);
        ConfigEntry.HIGH_AVAILABILITY.forEach(kind -> executor.entries(kind).clear());
        if (status.haFsmMode != 0) {
            executor.entries(ConfigEntry.BACKUP).add(List.of(Integer.toString(status.haRole),
                    Integer.toString(status.haStrategy), Integer.toString(status.haPort)));
        }
        for (int i = 0; i < Math.min(status.haHBCount, CMNHAStatus.CAPACITY); i++) {
            executor.entries(ConfigEntry.HEARTBEAT).add(List.of(address(status.haLocal_Address[i]),
                    address(status.haRemote_Address[i])));
        }
        for (int i = 0; i < Math.min(status.haReachCount, CMNHAStatus.CAPACITY); i++) {
            executor.entries(ConfigEntry.REACH_TARGET).add(List.of(address(status.haAddress[i]),
                    address(status.haMask[i]), Integer.toString(status.haType[i])));
        }
    }

    static CMNHAStatus readHighAvailability(Session session) {
        CMNHAStatus status = new CMNHAStatus();
        check("high availability", Family.HIGH_AVAILABILITY, session.natives().getHAInfoNative(status));
        return status;
    }

    private static void fillIcmp(Session session, ConfigNode executor) {
        CMNIcmp icmp = new CMNIcmp();
        check("icmp", Family.SYSTEM, session.natives().getIcmpInfoNative(icmp));
        List<String> values = List.of(icmp.iGotIcmpResp == 0 ? "off" : "on", address(icmp.iIcmpRespAddr));
        if (!values.equals(ConfigEntry.NO_ICMP)) {
            executor.entries(ConfigEntry.ICMP).add(values);
        }
    }

    private static String address(int hostOrder) {
        return Kind.HOST_ORDER_ADDRESS.typed(hostOrder);
    }

    /** Goes on only when a native method returned 0; else says for what it did not. */
    static void check(String what, Family family, int status) {
        try {
            Refusal.check(family, status);
        } catch (Refusal refusal) {
            throw new Refusal(refusal.status, what + ": " + refusal.meaning);
        }
    }

    private static void fill(Session session, ConfigNode node) {
        Object object = node.object(session);
        check(node.words(), node.level.family(), node.level.read().call(session.natives(), object));
        for (Property property : node.level.table().properties()) {
            if (property.option() != null && property.shown()) {
                node.values.put(property.option(), property.typed(object));
            }
        }
        if (object instanceof CMNServer server) {
            fillDown(session, node, server);
        }
        if (object instanceof CMNRule rule) {
            fillMembers(session, node, rule);
        }
        Map<String, String> path = node.path();
        for (Level lower : node.level.below()) {
            for (String name : Names.ofKind(session, lower.own().label(), path)) {
                fill(session, node.add(lower, name));
            }
        }
    }

    /** A server that is marked down has the weight 0, and keeps the other one until it is up. */
    private static void fillDown(Session session, ConfigNode node, CMNServer server) {
        if (server._iWeight == 0) {
            Refusal.check(Family.SERVER, session.natives().getServerReportNative(server));
            node.isMarkedDown = server._iSavedWeight > 0;
            node.values.put("--weight", Integer.toString(server._iSavedWeight));
        }
    }

    private static void fillMembers(Session session, ConfigNode node, CMNRule rule) {
        StringBuffer list = new StringBuffer();
        Refusal.check(Family.RULE, session.natives().getRuleServersListNative(rule, list));
        List<String> names = Names.split(list);
        names.forEach(name -> node.members.put(KnownNames.inCapitals(name), name));
    }
}
