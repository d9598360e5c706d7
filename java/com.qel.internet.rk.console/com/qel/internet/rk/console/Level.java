package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Arrays;
import java.util.List;

/**
 * A kind of object that is configured: how it is named, its settings, and the native methods for it.
 *
 * @param word       what its commands begin with
 * @param family     whose statuses its native methods return
 * @param table      its settings
 * @param read       reads the settings
 * @param change     changes settings
 * @param add        adds an object; null where there is always one
 * @param remove     removes an object; null where there is always one
 * @param identities what names it, from the cluster down; the last is its own
 */
record Level(String word, Family family, Table table, Native read, Native change, Native add, Native remove,
        Identity... identities) {
    /** A native method that takes one object and returns a status. */
    interface Native {
        int call(CMNExecutorInterface natives, Object object);
    }

    /** {@return the kinds that hang below this one, in the order in which they are made} */
    List<Level> below() {
        if (this == ExecutorCommands.LEVEL) {
            return List.of(ClusterCommands.LEVEL);
        }
        if (this == ClusterCommands.LEVEL) {
            return List.of(PortCommands.LEVEL);
        }
        return this == PortCommands.LEVEL ? List.of(ServerCommands.LEVEL, RuleCommands.LEVEL) : List.of();
    }

    /** {@return what names an object of this kind itself} */
    Identity own() {
        return identities[identities.length - 1];
    }

    /** {@return what names the objects above it} */
    Identity[] above() {
        return Arrays.copyOf(identities, identities.length - 1);
    }

    /** {@return the row of an option; null where there is none} */
    Property property(String option) {
        return table.properties().stream().filter(row -> option.equals(row.option())).findFirst().orElse(null);
    }
}
