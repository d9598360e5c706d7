package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNHAStatus;
import com.qel.internet.rk.common.CMNIcmp;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;

/**
 * The way from the entries that the executor has to wanted ones: high availability, the record of an ICMP response,
 * and last the parameters of attack protection, as nobody can tell what they were.
 */
final class ConfigEntryPlan {
    private final Session session;
    private final ConfigNode wanted;
    /** The executor with the entries that it has when the steps so far are done. */
    private final ConfigNode present;
    private final List<ConfigStep> steps = new ArrayList<>();

    private ConfigEntryPlan(Session session, ConfigNode current, ConfigNode wanted) {
        this.session = session;
        this.wanted = wanted;
        present = new ConfigNode(ExecutorCommands.LEVEL, null, "");
        for (ConfigEntry kind : ConfigEntry.values()) {
            present.entries(kind).addAll(current.entries(kind));
        }
    }

    /** {@return the steps from the entries of one configuration to those of another} */
    static List<ConfigStep> make(Session session, ConfigNode current, ConfigNode wanted) {
        ConfigEntryPlan plan = new ConfigEntryPlan(session, current, wanted);
        plan.backup();
        plan.changeReachTargets();
        plan.list(ConfigEntry.HEARTBEAT);
        plan.list(ConfigEntry.REACH_TARGET);
        plan.icmp();
        plan.attack();
        return plan.steps;
    }

    /** An executor may drop the rest with its backup: what goes with it goes before it, and what stays comes again. */
    private void backup() {
        List<List<String>> after = wanted.entries(ConfigEntry.BACKUP);
        List<List<String>> before = List.copyOf(present.entries(ConfigEntry.BACKUP));
        if (before.equals(after)) {
            return;
        }
        if (!before.isEmpty()) {
            for (ConfigEntry kind : List.of(ConfigEntry.HEARTBEAT, ConfigEntry.REACH_TARGET)) {
                List.copyOf(present.entries(kind)).forEach(values -> remove(kind, values));
            }
            remove(ConfigEntry.BACKUP, before.get(0));
        }
        after.forEach(values -> add(ConfigEntry.BACKUP, values));
    }

    /** A target whose mask changes goes and comes again; one of another type changes where it is. */
    private void changeReachTargets() {
        for (List<String> after : wanted.entries(ConfigEntry.REACH_TARGET)) {
            List<String> before = present.entries(ConfigEntry.REACH_TARGET).stream()
                    .filter(values -> values.get(0).equals(after.get(0))).findFirst().orElse(after);
            boolean isSameMask = before.get(1).equals(after.get(1));
            if (!isSameMask) {
                remove(ConfigEntry.REACH_TARGET, before);
                add(ConfigEntry.REACH_TARGET, after);
            } else if (!before.equals(after)) {
                steps.add(new ConfigStep(
                        "change ha reach " + after.get(0) + ": type " + before.get(2) + " -> " + after.get(2),
                        () -> sendType(after), () -> sendType(before)));
                present.entries(ConfigEntry.REACH_TARGET).set(present.entries(ConfigEntry.REACH_TARGET).indexOf(before),
                        after);
            }
        }
    }

    /** What is new comes before what goes, if there is room for both. */
    private void list(ConfigEntry kind) {
        List<List<String>> added = without(wanted.entries(kind), present.entries(kind));
        List<List<String>> gone = without(present.entries(kind), wanted.entries(kind));
        boolean hasRoom = present.entries(kind).size() + added.size() <= CMNHAStatus.CAPACITY;
        if (hasRoom) {
            added.forEach(values -> add(kind, values));
        }
        gone.forEach(values -> remove(kind, values));
        if (!hasRoom) {
            added.forEach(values -> add(kind, values));
        }
    }

    private static List<List<String>> without(List<List<String>> some, List<List<String>> others) {
        Set<List<String>> left = new HashSet<>(others);
        return some.stream().filter(values -> !left.contains(values)).toList();
    }

    private void icmp() {
        List<String> before = onlyOr(present.entries(ConfigEntry.ICMP), ConfigEntry.NO_ICMP);
        List<String> after = onlyOr(wanted.entries(ConfigEntry.ICMP), ConfigEntry.NO_ICMP);
        if (!before.equals(after)) {
            steps.add(new ConfigStep("change icmp: " + String.join(" ", before) + " -> " + String.join(" ", after),
                    () -> sendIcmp(after), () -> sendIcmp(before)));
        }
    }

    private static List<String> onlyOr(List<List<String>> entries, List<String> otherwise) {
        return entries.isEmpty() ? otherwise : entries.get(0);
    }

    private void attack() {
        for (List<String> values : wanted.entries(ConfigEntry.ATTACK)) {
            int[] parameters = values.stream().mapToInt(Integer::parseInt).toArray();
            steps.add(new ConfigStep("set attack protection: " + String.join(" ", values),
                    () -> ConfigReader.check("attack protection", Family.SYSTEM,
                            AttackCommands.setParameters(session.natives(), parameters)), () -> { }));
        }
    }

    private void add(ConfigEntry kind, List<String> values) {
        present.entries(kind).add(values);
        steps.add(new ConfigStep("add " + words(kind, values), () -> sendAdd(kind, values), () -> sendRemove(kind, values)));
    }

    private void remove(ConfigEntry kind, List<String> values) {
        present.entries(kind).remove(values);
        steps.add(new ConfigStep("remove " + words(kind, values), () -> sendRemove(kind, values),
                () -> sendAdd(kind, values)));
    }

    private static String words(ConfigEntry kind, List<String> values) {
        return kind.family + " " + String.join(" ", values);
    }

    // --- Sending ---

    private void sendAdd(ConfigEntry kind, List<String> values) {
        switch (kind) {
            case BACKUP -> {
                check(kind, values, Family.HIGH_AVAILABILITY, session.natives().backupAddNative(
                        Integer.parseInt(values.get(0)), Integer.parseInt(values.get(1)), values.get(2)));
                requireBackup(List.of(values), values);
            }
            case HEARTBEAT -> check(kind, values, Family.HEARTBEAT,
                    session.natives().addHBNative(values.get(0), values.get(1)));
            default -> check(kind, values, Family.REACH, session.natives().addReachNative(values.get(0), values.get(1),
                    Integer.parseInt(values.get(2))));
        }
    }

    private void sendRemove(ConfigEntry kind, List<String> values) {
        switch (kind) {
            case BACKUP -> {
                check(kind, values, Family.HIGH_AVAILABILITY, session.natives().backupDelNative());
                requireBackup(List.of(), values);
            }
            case HEARTBEAT -> removeHeartbeat(values);
            default -> check(kind, values, Family.REACH, session.natives().delReachNative(values.get(0)));
        }
    }

    private static void check(ConfigEntry kind, List<String> values, Family family, int status) {
        ConfigReader.check(words(kind, values), family, status);
    }

    /** The library does not tell what becomes of a backup: it shows. */
    private void requireBackup(List<List<String>> expected, List<String> values) {
        if (!executor().entries(ConfigEntry.BACKUP).equals(expected)) {
            throw new Refusal(null, words(ConfigEntry.BACKUP, values) + ": the executor refused it");
        }
    }

    private ConfigNode executor() {
        ConfigNode executor = new ConfigNode(ExecutorCommands.LEVEL, null, "");
        ConfigReader.fillHighAvailability(session, executor);
        return executor;
    }

    /** All heartbeats of an address go together: one is taken that no other has, or the others come again. */
    private void removeHeartbeat(List<String> pair) {
        List<List<String>> others = new ArrayList<>(executor().entries(ConfigEntry.HEARTBEAT));
        others.remove(pair);
        String address = pair.stream().filter(end -> others.stream().noneMatch(other -> other.contains(end)))
                .findFirst().orElse(pair.get(1));
        check(ConfigEntry.HEARTBEAT, pair, Family.HEARTBEAT, session.natives().delHBNative(address));
        others.stream().filter(other -> other.contains(address)).forEach(other -> sendAdd(ConfigEntry.HEARTBEAT, other));
    }

    /** The target's place may be another one by now, and its status is the executor's. */
    private void sendType(List<String> target) {
        CMNHAStatus status = ConfigReader.readHighAvailability(session);
        int address = (Integer) Kind.HOST_ORDER_ADDRESS.parse(target.get(0), 0);
        for (int i = 0; i < Math.min(status.haReachCount, CMNHAStatus.CAPACITY); i++) {
            if (status.haAddress[i] == address) {
                check(ConfigEntry.REACH_TARGET, target, Family.REACH, session.natives().chgReachNative(i,
                        Integer.parseInt(target.get(2)), status.haAddress_status[i]));
                return;
            }
        }
        throw new Refusal(null, words(ConfigEntry.REACH_TARGET, target) + ": the executor has no such target");
    }

    private void sendIcmp(List<String> values) {
        CMNIcmp icmp = new CMNIcmp();
        icmp.iGotIcmpResp = ((Number) Kind.SWITCH.parse(values.get(0), 0)).intValue();
        icmp.iIcmpRespAddr = (Integer) Kind.HOST_ORDER_ADDRESS.parse(values.get(1), 0);
        ConfigReader.check("icmp", Family.SYSTEM, session.natives().setIcmpInfoNative(icmp));
    }
}
