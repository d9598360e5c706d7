package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.ArrayList;
import java.util.Collection;
import java.util.Collections;
import java.util.HashMap;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Set;

/**
 * The way from the executor's configuration to a wanted one: only what differs, in an order that keeps traffic. What is
 * new comes before what goes, bounds are widened first and narrowed last, and weights change together.
 */
final class ConfigPlan {
    private static final String ADDRESS = "--address";
    private static final String CROSS_PORT = "--cross-port";
    private static final String PRIORITY = "--priority";
    private static final String WEIGHT = "--weight";
    private static final String FIXED = "--fixed-weight";
    /** What must not be lower than what it bounds, at any time; the first three bound how many objects there are. */
    private static final Map<String, Level> COUNTS = Map.of("--max-clusters", ClusterCommands.LEVEL, "--max-ports",
            PortCommands.LEVEL, "--max-servers", ServerCommands.LEVEL);
    private static final String WEIGHT_BOUND = "--weight-bound";
    /** A change of a rule carries these in any case: without them the library or the executor would change more. */
    private static final List<String> WITH_EVERY_RULE = List.of("--type", "--begin", "--end", "--hash-id");

    private final Session session;
    private final List<ConfigStep> steps = new ArrayList<>();

    private ConfigPlan(Session session) {
        this.session = session;
    }

    /**
     * {@return the steps from one configuration to another}
     *
     * @throws Refusal when the wanted one has names that the executor cannot tell apart
     */
    static List<ConfigStep> make(Session session, ConfigNode current, ConfigNode wanted) {
        ConfigPlan plan = new ConfigPlan(session);
        plan.object(current, wanted);
        plan.steps.addAll(ConfigEntryPlan.make(session, current, wanted));
        return plan.steps;
    }

    // --- From one object to another of the same name ---

    private void object(ConfigNode current, ConfigNode wanted) {
        Map<String, String> first = new LinkedHashMap<>(differences(current, wanted));
        Map<String, String> last = new LinkedHashMap<>();
        first.remove(CROSS_PORT); // the cluster sees to it
        if (wanted.level == ServerCommands.LEVEL && isForWeights(current, wanted)) {
            first.remove(WEIGHT);
            first.remove(FIXED);
        }
        // In between, there may be more objects than before or after, or weights of both.
        for (String option : bounds(wanted.level)) {
            String between = between(current, wanted, option);
            if (!between.equals(wanted.values.get(option))) {
                last.put(option, wanted.values.get(option));
                first.put(option, between);
            }
            if (between.equals(current.values.get(option))) {
                first.remove(option);
            }
        }
        Map<String, String> before = new HashMap<>(current.values);
        change(wanted, before, first);
        children(current, wanted);
        before.putAll(first);
        change(wanted, before, last);
        if (current.isDown() != wanted.isDown()) {
            mark(wanted, wanted.isDown());
        }
    }

    private static List<String> bounds(Level level) {
        return level.table().properties().stream().map(Property::option)
                .filter(option -> option != null && (COUNTS.containsKey(option) || option.equals(WEIGHT_BOUND))).toList();
    }

    /** {@return what a bound has to be while both the old and the new are there} */
    private static String between(ConfigNode current, ConfigNode wanted, String option) {
        int needed = 0;
        Level counted = COUNTS.get(option);
        if (counted != null) {
            needed = current.below(counted).size() + missing(wanted.below(counted), current).size();
        } else {
            for (ConfigNode server : current.below(ServerCommands.LEVEL)) {
                needed = Math.max(needed, number(server, WEIGHT));
            }
        }
        int bound = number(wanted, option);
        return Integer.toString(bound >= needed ? bound : Math.max(number(current, option), Math.max(bound, needed)));
    }

    private static int number(ConfigNode node, String option) {
        return Integer.parseInt(node.values.get(option));
    }

    /** {@return the settings that are to change, as they are wanted} */
    private static Map<String, String> differences(ConfigNode current, ConfigNode wanted) {
        Map<String, String> differences = new LinkedHashMap<>();
        wanted.values.forEach((option, value) -> {
            if (!value.equals(current.values.get(option))) {
                differences.put(option, value);
            }
        });
        return differences;
    }

    private void change(ConfigNode node, Map<String, String> present, Map<String, String> changes) {
        if (!changes.isEmpty()) {
            Map<String, String> before = new HashMap<>(present);
            Map<String, String> old = new LinkedHashMap<>();
            changes.keySet().forEach(option -> old.put(option, before.get(option)));
            old.values().removeIf(Objects::isNull);
            List<String> words = new ArrayList<>();
            changes.forEach((option, value) -> words.add(option.substring(2) + " "
                    + (before.get(option) == null ? "" : shown(before.get(option)) + " -> ") + shown(value)));
            Map<String, String> after = new HashMap<>(before);
            after.putAll(changes);
            steps.add(new ConfigStep("change " + node.words() + ": " + String.join(", ", words),
                    () -> send(node, changes, after), () -> send(node, old, before)));
        }
    }

    private static String shown(String value) {
        return value.isEmpty() ? "''" : value.replace("\n", " ");
    }

    /** Changes settings of an object, and with them those that share their flag. */
    private void send(ConfigNode node, Map<String, String> changes, Map<String, String> all) {
        Set<String> options = new LinkedHashSet<>(changes.keySet());
        if (node.level == RuleCommands.LEVEL) {
            options.addAll(WITH_EVERY_RULE);
            if (changes.getOrDefault("--type", "").equals("service")) {
                options.add("--service"); // it may still have bits from when it was of this type before
            }
        }
        Set<String> flags = new HashSet<>();
        options.forEach(option -> flags.add(String.valueOf(node.level.property(option).flag())));
        Object object = node.object(session);
        for (Property property : node.level.table().properties()) {
            boolean isSent = property.option() != null
                    && (options.contains(property.option()) || property.flag() != null && flags.contains(property.flag()));
            String value = isSent ? all.get(property.option()) : null;
            if (value != null) {
                property.set(object, property.kind() == Kind.TYPE_OF_SERVICE && value.isEmpty() ? "xxxxxxxx" : value);
            }
        }
        call(node, node.level.change(), object);
    }

    private void call(ConfigNode node, Level.Native method, Object object) {
        ConfigReader.check(node.words(), node.level.family(), method.call(session.natives(), object));
    }

    private void mark(ConfigNode server, boolean down) {
        Runnable markDown = () -> call(server, ServerCommands.DOWN, server.object(session));
        Runnable markUp = () -> call(server, ServerCommands.UP, server.object(session));
        steps.add(new ConfigStep("mark " + server.words() + (down ? " down" : " up"), down ? markDown : markUp,
                down ? markUp : markDown));
    }

    // --- The objects below ---

    private void children(ConfigNode current, ConfigNode wanted) {
        Map<Level, List<ConfigNode>> going = new LinkedHashMap<>();
        for (Level lower : wanted.level.below()) {
            List<ConfigNode> gone = new ArrayList<>(missing(current.below(lower), wanted));
            refuseOneKey(wanted.below(lower));
            removeObstacles(gone, missing(wanted.below(lower), current), wanted.below(lower));
            uncross(lower, current, wanted);
            park(lower, current, wanted);
            if (lower == ClusterCommands.LEVEL) {
                sameNames(lower, current, wanted); // they may leave addresses that new ones take
            }
            missing(wanted.below(lower), current).forEach(this::add);
            if (lower != ClusterCommands.LEVEL) {
                sameNames(lower, current, wanted);
            }
            cross(lower, current, wanted);
            going.put(lower, gone);
        }
        for (ConfigNode rule : wanted.level.below().contains(RuleCommands.LEVEL) ? wanted.below(RuleCommands.LEVEL)
                : List.<ConfigNode>of()) {
            members(current.child(RuleCommands.LEVEL, rule.name), rule);
        }
        List<Level> backwards = new ArrayList<>(going.keySet());
        Collections.reverse(backwards);
        backwards.forEach(lower -> going.get(lower).forEach(this::remove));
    }

    /** {@return those of the objects that have none of their name below another object} */
    private static List<ConfigNode> missing(Collection<ConfigNode> nodes, ConfigNode other) {
        return nodes.stream().filter(node -> other.child(node.level, node.name) == null).toList();
    }

    private void sameNames(Level lower, ConfigNode current, ConfigNode wanted) {
        List<ConfigNode> same = wanted.below(lower).stream()
                .filter(node -> current.child(lower, node.name) != null).toList();
        if (lower == ClusterCommands.LEVEL) {
            inOrderOfAddresses(current, same);
            return;
        }
        for (ConfigNode node : same) {
            object(current.child(lower, node.name), node);
        }
        if (lower == ServerCommands.LEVEL) {
            weights(current, same);
        }
    }

    /** A cluster takes another one's address after that one has left it; where all wait, one goes aside. */
    private void inOrderOfAddresses(ConfigNode current, List<ConfigNode> clusters) {
        Set<String> held = new HashSet<>();
        clusters.forEach(cluster -> held.add(current.child(cluster.level, cluster.name).values.get(ADDRESS)));
        List<ConfigNode> waiting = new ArrayList<>(clusters);
        Set<ConfigNode> aside = new HashSet<>();
        while (!waiting.isEmpty()) {
            int before = waiting.size();
            waiting.removeIf(cluster -> takeAddress(current.child(cluster.level, cluster.name), cluster, held));
            if (waiting.size() == before) {
                ConfigNode first = waiting.get(0);
                ConfigNode present = current.child(first.level, first.name);
                String address = aside.add(first) ? freeAddress(held) : first.values.get(ADDRESS); // two want the same
                change(present, present.values, Map.of(ADDRESS, address));
                held.remove(present.values.put(ADDRESS, address));
                held.add(address);
            }
        }
    }

    /** Changes a cluster when its address is its own or free. {@return whether it was} */
    private boolean takeAddress(ConfigNode current, ConfigNode wanted, Set<String> held) {
        String present = current.values.get(ADDRESS);
        String address = wanted.values.get(ADDRESS);
        boolean isFree = address.equals(present) || !held.contains(address);
        if (isFree) {
            object(current, wanted);
            held.remove(present);
            held.add(address);
        }
        return isFree;
    }

    /** {@return an address of this machine alone, which no cluster has} */
    private static String freeAddress(Set<String> held) {
        int last = 1;
        while (held.contains("127.255.255." + last)) {
            last++;
        }
        return "127.255.255." + last;
    }

    /** Names with one key are one name to the executor. */
    private void refuseOneKey(Collection<ConfigNode> nodes) {
        Map<Integer, String> names = new HashMap<>();
        for (ConfigNode node : nodes) {
            String other = hasKey(node.level) ? names.put(key(node), node.name) : null;
            if (other != null) {
                throw new Refusal(null, node.words() + ": '" + other + "' has the same key "
                        + Kind.KEY.format(key(node)) + ": choose another identifier");
            }
        }
    }

    private static boolean hasKey(Level level) {
        return level == ClusterCommands.LEVEL || level == ServerCommands.LEVEL;
    }

    private int key(ConfigNode node) {
        return session.natives().calcClusterIdKeyNative(node.name, "");
    }

    /** What goes and has the key or the address of what is wanted must go before. */
    private void removeObstacles(List<ConfigNode> gone, List<ConfigNode> added, Collection<ConfigNode> wanted) {
        Set<Integer> keys = new HashSet<>();
        Set<String> addresses = new HashSet<>();
        added.stream().filter(node -> hasKey(node.level)).forEach(node -> keys.add(key(node)));
        wanted.stream().filter(node -> node.level == ClusterCommands.LEVEL)
                .forEach(node -> addresses.add(node.values.get(ADDRESS)));
        List<ConfigNode> obstacles = gone.stream()
                .filter(node -> addresses.contains(node.values.get(ADDRESS))
                        || hasKey(node.level) && keys.contains(key(node)))
                .toList();
        for (ConfigNode node : obstacles) {
            takeOutOfRules(node);
            remove(node);
        }
        gone.removeAll(obstacles);
    }

    private void takeOutOfRules(ConfigNode node) {
        boolean isServer = node.level == ServerCommands.LEVEL;
        for (ConfigNode rule : isServer ? node.above.below(RuleCommands.LEVEL) : List.<ConfigNode>of()) {
            if (rule.members.remove(KnownNames.inCapitals(node.name)) != null) {
                member(rule, node.name, false);
            }
        }
    }

    // --- Ports that cross ---

    private void uncross(Level lower, ConfigNode current, ConfigNode wanted) {
        for (ConfigNode port : lower == PortCommands.LEVEL ? current.below(lower) : List.<ConfigNode>of()) {
            ConfigNode after = wanted.child(lower, port.name);
            String crossed = port.values.get(CROSS_PORT);
            if (!crossed.equals("0") && (after == null || !crossed.equals(after.values.get(CROSS_PORT)))) {
                change(port, port.values, Map.of(CROSS_PORT, "0"));
            }
        }
    }

    private void cross(Level lower, ConfigNode current, ConfigNode wanted) {
        for (ConfigNode port : lower == PortCommands.LEVEL ? wanted.below(lower) : List.<ConfigNode>of()) {
            ConfigNode before = current.child(lower, port.name);
            String crossed = port.values.get(CROSS_PORT);
            if (!crossed.equals("0") && wanted.child(lower, crossed) == null) {
                throw new Refusal(null, port.words() + ": there is no port " + crossed + " to cross to");
            }
            if (!crossed.equals("0") && (before == null || !crossed.equals(before.values.get(CROSS_PORT)))) {
                Map<String, String> uncrossed = new HashMap<>(port.values);
                uncrossed.put(CROSS_PORT, "0");
                change(port, uncrossed, Map.of(CROSS_PORT, crossed));
            }
        }
    }

    // --- Rules ---

    /** A rule whose priority another one is to have goes behind all others first. */
    private void park(Level lower, ConfigNode current, ConfigNode wanted) {
        if (lower != RuleCommands.LEVEL) {
            return;
        }
        Map<String, ConfigNode> after = new HashMap<>();
        wanted.below(lower).forEach(rule -> after.put(rule.values.get(PRIORITY), rule));
        long free = 1;
        for (ConfigNode root : List.of(current, wanted)) {
            for (ConfigNode rule : root.below(lower)) {
                free = Math.max(free, Long.parseLong(rule.values.get(PRIORITY)) + 1);
            }
        }
        for (ConfigNode rule : current.below(lower)) {
            ConfigNode taker = after.get(rule.values.get(PRIORITY));
            if (taker != null && !taker.name.equals(rule.name)) {
                change(rule, rule.values, Map.of(PRIORITY, Long.toString(free)));
                rule.values.put(PRIORITY, Long.toString(free++));
            }
        }
    }

    private void members(ConfigNode current, ConfigNode wanted) {
        Map<String, String> before = current == null ? Map.of() : current.members;
        wanted.members.forEach((key, name) -> {
            if (!before.containsKey(key)) {
                member(wanted, name, true);
            }
        });
        before.forEach((key, name) -> {
            if (!wanted.members.containsKey(key)) {
                member(wanted, name, false);
            }
        });
    }

    private void member(ConfigNode rule, String server, boolean isAdded) {
        Runnable add = () -> ConfigReader.check(rule.words(), Family.RULE,
                session.natives().addServertoRuleNative(rule.object(session), server(server), 0));
        Runnable remove = () -> ConfigReader.check(rule.words(), Family.RULE,
                session.natives().removeServerfromRuleNative(rule.object(session), server(server), 0));
        steps.add(new ConfigStep((isAdded ? "put server " : "take server ") + server + (isAdded ? " into " : " out of ")
                + rule.words(), isAdded ? add : remove, isAdded ? remove : add));
    }

    private CMNServer server(String name) {
        CMNServer server = new CMNServer();
        ServerCommands.LEVEL.own().put(session, server, name);
        return server;
    }

    // --- Weights ---

    /** Weights change together, but for one that is fixed and stays so: the executor would keep it. */
    private static boolean isForWeights(ConfigNode current, ConfigNode wanted) {
        boolean differs = !current.values.get(WEIGHT).equals(wanted.values.get(WEIGHT));
        boolean isFixed = current.values.get(FIXED).equals("on") && wanted.values.get(FIXED).equals("on");
        return differs && !isFixed;
    }

    private void weights(ConfigNode port, List<ConfigNode> servers) {
        List<ConfigNode> after = servers.stream()
                .filter(server -> isForWeights(port.child(server.level, server.name), server)).toList();
        if (after.isEmpty()) {
            return;
        }
        List<ConfigNode> before = after.stream().map(server -> port.child(server.level, server.name)).toList();
        List<String> words = new ArrayList<>();
        for (int i = 0; i < after.size(); i++) {
            boolean isFixedElse = !before.get(i).values.get(FIXED).equals(after.get(i).values.get(FIXED));
            words.add(after.get(i).name + " " + before.get(i).values.get(WEIGHT) + " -> "
                    + after.get(i).values.get(WEIGHT) + (isFixedElse ? ", fixed " + after.get(i).values.get(FIXED) : ""));
        }
        steps.add(new ConfigStep("change weights of " + port.words() + ": " + String.join("; ", words),
                () -> sendWeights(port, after, before), () -> sendWeights(port, before, after)));
    }

    /** Sends weights together. When one is refused, the others get back what they had. */
    private void sendWeights(ConfigNode port, List<ConfigNode> servers, List<ConfigNode> before) {
        CMNServerWeights weights = exchange(port, servers);
        for (int i = 0; i < servers.size(); i++) {
            if (weights.iRC[i] != 0) {
                exchange(port, before);
                throw new Refusal(null, servers.get(i).words() + ": the executor refused the weight "
                        + weights.iWeight[i] + ", with the reason " + weights.iRC[i]);
            }
        }
    }

    private CMNServerWeights exchange(ConfigNode port, List<ConfigNode> servers) {
        CMNServerWeights weights = WeightsCommands.weights((CMNPort) port.object(session), servers.size());
        for (int i = 0; i < servers.size(); i++) {
            ConfigNode server = servers.get(i);
            weights.setServerId(server.name, i);
            weights.iServerIdKey[i] = key(server);
            weights.iWeight[i] = number(server, WEIGHT);
            weights.bFixedWeight[i] = (byte) (server.values.get(FIXED).equals("on") ? 1 : 0);
        }
        ConfigReader.check(port.words(), Family.WEIGHTS,
                session.natives().setServerWeightsNative(weights, servers.size()));
        return weights;
    }

    // --- Objects that come and go ---

    private void add(ConfigNode node) {
        Map<String, String> told = node.changed();
        told.remove(CROSS_PORT);
        List<String> words = new ArrayList<>();
        told.forEach((option, value) -> words.add(option.substring(2) + " " + shown(value)));
        steps.add(new ConfigStep("add " + node.words() + (words.isEmpty() ? "" : ": " + String.join(", ", words)),
                () -> sendAdd(node), () -> call(node, node.level.remove(), node.object(session))));
        addBelow(node);
    }

    private void addBelow(ConfigNode node) {
        if (node.isDown()) {
            mark(node, true);
        }
        children(new ConfigNode(node.level, node.above, node.name), node);
    }

    /** What depends on the object above is sent even where it is as usual: that object may be about to change. */
    private void sendAdd(ConfigNode node) {
        Map<String, String> changed = node.changed();
        Object object = node.object(session);
        for (Property property : node.level.table().properties()) {
            String option = property.option();
            boolean isSent = option != null && !option.equals(CROSS_PORT) && node.values.get(option) != null
                    && (changed.containsKey(option) || property.domain().inherits() != null
                            || property.domain().atMost() != null);
            if (isSent) {
                property.set(object, node.values.get(option));
            }
        }
        call(node, node.level.add(), object);
    }

    private void remove(ConfigNode node) {
        steps.add(new ConfigStep("remove " + node.words(),
                () -> call(node, node.level.remove(), node.object(session)), () -> addAgain(node)));
    }

    private void addAgain(ConfigNode node) {
        ConfigPlan again = new ConfigPlan(session);
        again.add(node);
        if (node.level == RuleCommands.LEVEL) {
            again.members(null, node);
        }
        again.steps.forEach(step -> step.send().run());
    }
}
