package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** What the executor has besides objects with settings: commands whose arguments are all that there is to say. */
enum ConfigEntry {
    /** The relation to the partner. */
    BACKUP("ha backup", "add", "backup", 0, new Part("role", Kind.INT), new Part("strategy", Kind.INT),
            new Part("port", Kind.UINT16)),
    /** A pair of addresses over which the partners talk. */
    HEARTBEAT("ha heartbeat", "add", "heartbeats", 2, new Part("local", Kind.ADDRESS),
            new Part("partner", Kind.ADDRESS)),
    /** An address that has to stay reachable. */
    REACH_TARGET("ha reach", "add", "reach-targets", 1, new Part("address", Kind.ADDRESS),
            new Part("mask", Kind.ADDRESS), new Part("type", Kind.INT)),
    /** The record of an ICMP response. */
    ICMP("icmp", "set", "icmp", 0, new Part("response", Kind.SWITCH), new Part("address", Kind.HOST_ORDER_ADDRESS)),
    /** The parameters of attack protection. They cannot be read back. */
    ATTACK("attack", "set", "attack", 0, attackParts());

    /**
     * A value of an entry.
     *
     * @param name what it is, in JSON
     * @param kind what it looks like
     */
    record Part(String name, Kind kind) {
    }

    /** What a new executor has as the record of an ICMP response. */
    static final List<String> NO_ICMP = List.of("off", "0.0.0.0");
    /** What concerns the partner. */
    static final List<ConfigEntry> HIGH_AVAILABILITY = List.of(BACKUP, HEARTBEAT, REACH_TARGET);

    /** The command's first words. */
    final String family;
    /** Its last word. */
    final String verb;
    /** How the entry is called in JSON. */
    final String member;
    private final int keys; // so many of the values name an entry; 0 where there is one at most
    private final List<Part> parts;

    ConfigEntry(String family, String verb, String member, int keys, Part... parts) {
        this.family = family;
        this.verb = verb;
        this.member = member;
        this.keys = keys;
        this.parts = List.of(parts);
    }

    private static Part[] attackParts() {
        Part[] parts = new Part[AttackCommands.PARAMETERS];
        Arrays.setAll(parts, i -> new Part("p" + (i + 1), Kind.UINT16));
        return parts;
    }

    /** {@return whether there may be several} */
    boolean isList() {
        return keys > 0;
    }

    /** {@return what names an entry among its like} */
    List<String> key(List<String> values) {
        return values.subList(0, keys);
    }

    /** {@return the values that say nothing; null where there are none} */
    List<String> usual() {
        return this == ICMP ? NO_ICMP : null;
    }

    int size() {
        return parts.size();
    }

    /** {@return an entry's values as the executor's own are typed} */
    List<String> understand(List<String> typed) {
        List<String> values = new ArrayList<>();
        for (int i = 0; i < parts.size(); i++) {
            try {
                values.add(parts.get(i).kind == Kind.ADDRESS ? address(typed.get(i))
                        : parts.get(i).kind.typed(parts.get(i).kind.parse(typed.get(i), 0)));
            } catch (UsageError error) {
                throw new UsageError(parts.get(i).name + ": " + error.getMessage());
            }
        }
        return values;
    }

    /** {@return an address, or that of a host, as the executor's own are typed} */
    static String address(String text) {
        String dotted = Kind.ADDRESS.typed(Kind.ADDRESS.parse(text, 0));
        return Kind.HOST_ORDER_ADDRESS.typed(Kind.HOST_ORDER_ADDRESS.parse(dotted, 0));
    }

    /** {@return the command that makes an entry} */
    String line(List<String> values) {
        return family + " " + verb + " " + String.join(" ", values);
    }

    /** {@return the words that make an entry, for one in JSON; whose parts these are by their names} */
    List<String> words(Map<?, ?> document) {
        List<String> words = new ArrayList<>(List.of((family + " " + verb).split(" ")));
        for (Part part : parts) {
            if (!(document.get(part.name) instanceof String text)) {
                throw new UsageError("there is no value '" + part.name + "'");
            }
            words.add(text);
        }
        for (Object name : document.keySet()) {
            if (parts.stream().noneMatch(part -> part.name.equals(name))) {
                throw new UsageError("there is no setting '" + name + "'");
            }
        }
        return words;
    }

    /** {@return an entry for JSON} */
    Map<String, Object> document(List<String> values) {
        Map<String, Object> document = new LinkedHashMap<>();
        for (int i = 0; i < parts.size(); i++) {
            document.put(parts.get(i).name, parts.get(i).kind.document(values.get(i)));
        }
        return document;
    }
}
