package com.qel.internet.rk.console;

import com.google.gson.stream.JsonReader;
import com.google.gson.stream.MalformedJsonException;
import java.io.EOFException;
import java.io.IOException;
import java.io.StringReader;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** A configuration in JSON, its members named as the options: written, and turned into the commands that make it. */
final class ConfigDocument {
    private static final String SERVERS = "servers";
    private static final String DOWN = "down";
    /** What is not in the document; for people. */
    private static final String LEFT_OUT = "left-out";
    private static final int DEEPEST = 16; // twice what there is

    private ConfigDocument() {
    }

    // --- Writing ---

    /**
     * {@return a configuration as a document of maps and lists, with the same settings as the script}
     *
     * @param leftOut what is not in it, for people
     */
    static Map<String, Object> write(ConfigNode executor, List<String> leftOut) {
        Map<String, Object> document = new LinkedHashMap<>();
        document.put(LEFT_OUT, leftOut);
        document.putAll(write(executor));
        for (ConfigEntry kind : ConfigEntry.values()) {
            List<Map<String, Object>> entries = executor.entries(kind).stream().map(kind::document).toList();
            if (!entries.isEmpty()) {
                document.put(kind.member, kind.isList() ? entries : entries.get(0));
            }
        }
        return document;
    }

    private static Map<String, Object> write(ConfigNode node) {
        Map<String, Object> document = new LinkedHashMap<>();
        if (node.above != null) {
            document.put(node.level.word(), node.level.own().kind().document(node.name));
        }
        node.changed().forEach((option, value) -> {
            Kind kind = node.level.property(option).kind();
            document.put(option.substring(2), kind == Kind.LISTENERS ? List.of(value.split("\n")) : kind.document(value));
        });
        if (node.level == ServerCommands.LEVEL && node.isDown()) {
            document.put(DOWN, true);
        }
        if (node.level == RuleCommands.LEVEL) {
            document.put(SERVERS, new ArrayList<>(node.members.values()));
        }
        for (Level lower : node.level.below()) {
            document.put(member(lower), node.below(lower).stream().map(ConfigDocument::write).toList());
        }
        return document;
    }

    private static String member(Level lower) {
        return lower.word() + "s";
    }

    // --- Reading: a text is a String, as are a number and a truth value; there are Lists and Maps besides ---

    /** {@return whether a file is a document, and no script} */
    static boolean isDocument(List<String> lines) {
        String first = lines.stream().filter(line -> !line.isBlank()).findFirst().orElse("").strip();
        return first.startsWith("{") || first.startsWith("[");
    }

    /**
     * {@return the commands that make the configuration of a document}
     *
     * @throws UsageError with the place of what is no JSON, or no part of a configuration
     */
    static List<ConfigScript.Command> commands(List<String> lines) {
        Object document = parse(String.join("\n", lines));
        List<ConfigScript.Command> commands = new ArrayList<>();
        if (!(document instanceof Map<?, ?> executor)) {
            throw new UsageError("a configuration in JSON is an object");
        }
        object(commands, ExecutorCommands.LEVEL, executor, "the document", List.of());
        for (ConfigEntry kind : ConfigEntry.values()) {
            Object value = executor.get(kind.member);
            List<?> entries = value == null ? List.of() : kind.isList() ? list(value, kind.member) : List.of(value);
            for (int i = 0; i < entries.size(); i++) {
                String where = kind.member + (kind.isList() ? "[" + i + "]" : "");
                entry(commands, kind, map(entries.get(i), where), where);
            }
        }
        return commands;
    }

    private static void entry(List<ConfigScript.Command> commands, ConfigEntry kind, Map<?, ?> values, String where) {
        try {
            commands.add(new ConfigScript.Command(where, kind.words(values)));
        } catch (UsageError error) {
            throw new UsageError(where + ": " + error.getMessage());
        }
    }

    /** Adds the commands for an object and those below it. */
    private static void object(List<ConfigScript.Command> commands, Level level, Map<?, ?> document, String where,
            List<String> namesAbove) {
        boolean isExecutor = level == ExecutorCommands.LEVEL;
        List<String> names = new ArrayList<>(namesAbove);
        if (!isExecutor) {
            names.add(text(document.get(level.word()), where, level.word()));
        }
        List<String> words = new ArrayList<>(List.of(level.word(), isExecutor ? "set" : "add"));
        words.addAll(names);
        int withoutOptions = words.size();
        document.forEach((name, value) -> words.addAll(options(level, name.toString(), value, where)));
        if (!isExecutor || words.size() > withoutOptions) {
            commands.add(new ConfigScript.Command(where, words));
        }
        if (level == ServerCommands.LEVEL && isDown(document, where)) {
            commands.add(command(where, "server down", names, List.of()));
        }
        if (level == RuleCommands.LEVEL && document.containsKey(SERVERS)) {
            String place = where + "." + SERVERS;
            list(document.get(SERVERS), place).forEach(server -> commands.add(
                    command(place, "rule server add", names, List.of(text(server, place, "name")))));
        }
        for (Level lower : level.below()) {
            String place = (isExecutor ? "" : where + ".") + member(lower);
            List<?> children = document.containsKey(member(lower)) ? list(document.get(member(lower)), place) : List.of();
            for (int i = 0; i < children.size(); i++) {
                String child = place + "[" + i + "]";
                object(commands, lower, map(children.get(i), child), child, names);
            }
        }
    }

    private static ConfigScript.Command command(String where, String verb, List<String> names, List<String> further) {
        List<String> words = new ArrayList<>(List.of(verb.split(" ")));
        words.addAll(names);
        words.addAll(further);
        return new ConfigScript.Command(where, words);
    }

    private static boolean isDown(Map<?, ?> server, String where) {
        Object down = server.containsKey(DOWN) ? server.get(DOWN) : "false";
        if (!(down instanceof String text) || !List.of("true", "false").contains(text)) {
            throw new UsageError(where + "." + DOWN + ": is neither true nor false");
        }
        return text.equals("true");
    }

    /** {@return the options that a member stands for; none where it stands for something else} */
    private static List<String> options(Level level, String name, Object value, String where) {
        Property property = level.property("--" + name);
        if (property == null) {
            refuseUnknown(level, name, where);
            return List.of();
        }
        boolean isList = property.kind() == Kind.LISTENERS && value instanceof List<?>;
        List<?> values = isList ? (List<?>) value : List.of(value);
        return values.stream().map(one -> "--" + name + "=" + text(one, where, name)).toList();
    }

    private static void refuseUnknown(Level level, String name, String where) {
        boolean isExecutor = level == ExecutorCommands.LEVEL;
        boolean isKnown = !isExecutor && name.equals(level.word())
                || level.below().stream().anyMatch(lower -> member(lower).equals(name))
                || level == RuleCommands.LEVEL && name.equals(SERVERS)
                || level == ServerCommands.LEVEL && name.equals(DOWN)
                || isExecutor && name.equals(LEFT_OUT);
        for (ConfigEntry kind : ConfigEntry.values()) {
            isKnown |= isExecutor && kind.member.equals(name);
        }
        if (!isKnown) {
            throw new UsageError(where + ": there is no setting '" + name + "'");
        }
    }

    private static String text(Object value, String where, String name) {
        if (value == null) {
            throw new UsageError(where + ": there is no value '" + name + "'");
        }
        if (!(value instanceof String text)) {
            throw new UsageError(where + ": '" + name + "' is no text, number or truth value");
        }
        return text;
    }

    private static List<?> list(Object value, String where) {
        if (!(value instanceof List<?> list)) {
            throw new UsageError(where + " is no array");
        }
        return list;
    }

    private static Map<?, ?> map(Object value, String where) {
        if (!(value instanceof Map<?, ?> map)) {
            throw new UsageError(where + " is no object");
        }
        return map;
    }

    // --- Parsing, strictly: no JSON is half a configuration ---

    private static Object parse(String text) {
        JsonReader reader = new JsonReader(new StringReader(text));
        try {
            Object value = value(reader, 0);
            reader.peek(); // refuses what stands behind the document
            return value;
        } catch (EOFException error) {
            throw new UsageError("no JSON: the document has no end");
        } catch (MalformedJsonException error) {
            throw new UsageError("no JSON: " + place(error.getMessage()));
        } catch (IOException error) {
            throw new UsageError("no JSON: " + error.getMessage());
        }
    }

    /** {@return where a document is malformed, of what the parser says} */
    private static String place(String message) {
        int at = message.lastIndexOf(" at line ");
        return "it is malformed" + (at < 0 ? "" : message.substring(at).replaceFirst(" path \\$\\.?$", "")
                .replaceFirst(" path \\$\\.?", ", in "));
    }

    private static Object value(JsonReader reader, int depth) throws IOException {
        if (depth > DEEPEST) {
            throw new UsageError(reader.getPath() + ": a configuration is not that deep");
        }
        return switch (reader.peek()) {
            case BEGIN_OBJECT -> members(reader, depth);
            case BEGIN_ARRAY -> elements(reader, depth);
            case BOOLEAN -> Boolean.toString(reader.nextBoolean());
            case NULL -> throw new UsageError(reader.getPath() + " is null: a setting that has no value is left out");
            default -> reader.nextString();
        };
    }

    private static Map<String, Object> members(JsonReader reader, int depth) throws IOException {
        Map<String, Object> members = new LinkedHashMap<>();
        reader.beginObject();
        while (reader.hasNext()) {
            String name = reader.nextName();
            if (members.put(name, value(reader, depth + 1)) != null) {
                throw new UsageError(reader.getPath() + " is there twice");
            }
        }
        reader.endObject();
        return members;
    }

    private static List<Object> elements(JsonReader reader, int depth) throws IOException {
        List<Object> elements = new ArrayList<>();
        reader.beginArray();
        while (reader.hasNext()) {
            elements.add(value(reader, depth + 1));
        }
        reader.endArray();
        return elements;
    }
}
