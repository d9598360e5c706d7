package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.Collection;
import java.util.EnumMap;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** An object of a configuration, in memory: its settings, and the objects below it. */
final class ConfigNode {
    private static final String PRIORITY = "--priority";

    final Level level;
    /** The object above; null for the executor. */
    final ConfigNode above;
    /** Its name; empty for the executor. */
    final String name;
    /** The settings as they are typed, by their options; those that cannot be read are there where a file has them. */
    final Map<String, String> values = new LinkedHashMap<>();
    /** For a server: whether it is marked down. Its weight is then the one that it has when it is up. */
    boolean isMarkedDown;
    /** For a rule: its servers, by their names in capitals. */
    final Map<String, String> members = new LinkedHashMap<>();
    private final Map<ConfigEntry, List<List<String>>> entries = new EnumMap<>(ConfigEntry.class);
    private final Map<Level, Map<String, ConfigNode>> below = new LinkedHashMap<>();

    ConfigNode(Level level, ConfigNode above, String name) {
        this.level = level;
        this.above = above;
        this.name = name;
        level.below().forEach(lower -> below.put(lower, new LinkedHashMap<>()));
    }

    /** {@return for the executor: the values of each entry of a kind, in their order} */
    List<List<String>> entries(ConfigEntry kind) {
        return entries.computeIfAbsent(kind, unused -> new ArrayList<>());
    }

    /** {@return the objects of a kind below this one, in their order} */
    Collection<ConfigNode> below(Level lower) {
        return below.get(lower).values();
    }

    /** {@return the object of this name below this one, whatever the case of its letters; null when there is none} */
    ConfigNode child(Level lower, String childName) {
        return below.get(lower).get(key(lower, childName));
    }

    /** Puts an object below this one. {@return it} */
    ConfigNode add(Level lower, String childName) {
        ConfigNode child = new ConfigNode(lower, this, childName);
        below.get(lower).put(key(lower, childName), child);
        return child;
    }

    void remove(ConfigNode child) {
        below.get(child.level).remove(key(child.level, child.name));
        if (child.level == ServerCommands.LEVEL) {
            below(RuleCommands.LEVEL).forEach(rule -> rule.members.remove(KnownNames.inCapitals(child.name)));
        }
        if (child.level == PortCommands.LEVEL) {
            below(PortCommands.LEVEL).forEach(port -> port.values.replace("--cross-port", child.name, "0"));
        }
    }

    /** {@return whether this is a server that is marked down; with a weight of 0, nobody could tell and nothing differs} */
    boolean isDown() {
        return isMarkedDown && !values.get("--weight").equals("0");
    }

    /** Only identifiers have no case; the executor tells rules by the bytes of their names. */
    private static String key(Level level, String name) {
        return level == RuleCommands.LEVEL ? name : KnownNames.inCapitals(name);
    }

    /** {@return the names that lead to this object, by the labels of arguments} */
    Map<String, String> path() {
        Map<String, String> path = new HashMap<>();
        for (ConfigNode at = this; at.above != null; at = at.above) {
            path.put(at.level.own().label(), at.name);
        }
        return path;
    }

    /** {@return what a command for an object begins with, as in {@code server shop 80 web1}, for people} */
    static String words(Level level, Map<String, String> path) {
        List<String> words = new ArrayList<>(List.of(level.word()));
        for (Identity identity : level.identities()) {
            words.add(path.get(identity.label()));
        }
        return String.join(" ", words);
    }

    String words() {
        return words(level, path());
    }

    /** {@return an object for the native methods with the names that lead to this one} */
    Object object(Session session) {
        Object object = level.table().create().get();
        Map<String, String> path = path();
        for (Identity identity : level.identities()) {
            identity.put(session, object, path.get(identity.label()));
        }
        return object;
    }

    /** {@return what a setting of this object is when nobody sets it; null where nobody can say} */
    String initial(Property property) {
        if (property.kind() == Kind.RULE_BOUND) {
            return values.getOrDefault("--type", "").equals("address") ? "0.0.0.0" : "0";
        }
        return property.option().equals(PRIORITY) ? null : property.domain().initialBelow(above);
    }

    /** Gives a new object its settings: what is given, and what such an object has by itself. */
    void begin(Map<String, String> given) {
        if (level == RuleCommands.LEVEL) {
            values.put("--type", given.getOrDefault("--type", ""));
            values.put(PRIORITY, nextPriority());
        }
        for (Property property : level.table().properties()) {
            if (property.option() != null) {
                String value = given.getOrDefault(property.option(), initial(property));
                if (value != null) {
                    values.put(property.option(), value);
                }
            }
        }
    }

    private String nextPriority() {
        return Integer.toString(1 + above.below(RuleCommands.LEVEL).stream()
                .filter(rule -> rule != this)
                .mapToInt(rule -> Integer.parseInt(rule.values.get(PRIORITY)))
                .max().orElse(0));
    }

    /** {@return the settings that differ from what a new object has, as a new object is given them} */
    Map<String, String> changed() {
        Map<String, String> changed = new LinkedHashMap<>();
        for (Property property : level.table().properties()) {
            String value = property.option() == null ? null : values.get(property.option());
            if (value != null && !value.equals(initial(property))) {
                changed.put(property.option(), value);
            }
        }
        return changed;
    }
}
