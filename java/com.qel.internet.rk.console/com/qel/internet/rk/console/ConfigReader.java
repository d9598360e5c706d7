package com.qel.internet.rk.console;

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
        return executor;
    }

    private static void fill(Session session, ConfigNode node) {
        Object object = node.object(session);
        try {
            Refusal.check(node.level.family(), node.level.read().call(session.natives(), object));
        } catch (Refusal refusal) {
            throw new Refusal(refusal.status, node.words() + ": " + refusal.meaning);
        }
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
