package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNAddressConfig;
import java.util.ArrayList;
import java.util.List;

/** What an exported configuration does not have in it, for people: nothing is lost without a word. */
final class ConfigLeftOut {
    private static final List<Level> LEVELS = List.of(ExecutorCommands.LEVEL, ClusterCommands.LEVEL,
            PortCommands.LEVEL, ServerCommands.LEVEL, RuleCommands.LEVEL);

    private ConfigLeftOut() {
    }

    /** {@return what cannot be read back, what is no configuration, and what belongs to the machine, a line each} */
    static List<String> of(Session session, ConfigNode executor) {
        List<String> unreadable = new ArrayList<>();
        for (Level level : LEVELS) {
            level.table().properties().stream().filter(row -> row.option() != null && !row.shown())
                    .forEach(row -> unreadable.add(level.word() + " set " + row.option()));
        }
        List<String> lines = new ArrayList<>();
        lines.add("Without what no executor tells: " + String.join(", ", unreadable)
                + ", rule server add --argument, attack set, ha timers, log filter.");
        lines.add("Without what is a state: affinities, connections, counters, statuses of high availability.");
        for (ConfigNode cluster : executor.below(ClusterCommands.LEVEL)) {
            String alias = alias(session, cluster.values.get("--address"));
            if (alias != null) {
                lines.add(alias);
            }
        }
        return lines;
    }

    /** {@return what puts a cluster's address on this machine's interface, where it is on one; else null} */
    private static String alias(Session session, String address) {
        CMNAddressConfig config = new CMNAddressConfig();
        config.Address = address;
        if (session.natives().getAddressConfigureInfoNative(config) != 0) {
            return null;
        }
        return "Without what is this machine's: alias configure " + address + " --interface "
                + ConfigScript.quoted(config.InterfaceName) + " --netmask " + ConfigScript.quoted(config.NetMask);
    }
}
