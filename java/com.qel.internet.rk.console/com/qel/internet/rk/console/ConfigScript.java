package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;
import picocli.CommandLine;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.ParseResult;

/** A configuration as a script of commands: written, and understood. */
final class ConfigScript {
    private static final String CROSS_PORT = "--cross-port";
    private static final String HEAD = "# A configuration: 'config apply' and 'source' take it.";
    private static final String DELETE = "delete";
    private static final Pattern PLAIN = Pattern.compile("[A-Za-z0-9_./:@%+,=][A-Za-z0-9_./:@%+,=-]*");
    private static final Pattern BREAK = Pattern.compile("[\\n\\r\\x00]");
    private static final List<Level> LEVELS = List.of(ExecutorCommands.LEVEL, ClusterCommands.LEVEL,
            PortCommands.LEVEL, ServerCommands.LEVEL, RuleCommands.LEVEL);

    private ConfigScript() {
    }

    // --- Writing ---

    /**
     * {@return the commands that make a configuration on an empty executor, a line each}
     *
     * @param leftOut what is not in it, for people
     */
    static String write(ConfigNode executor, List<String> leftOut) {
        StringBuilder text = new StringBuilder(HEAD).append('\n');
        leftOut.forEach(line -> text.append("# ").append(line).append('\n'));
        if (!executor.changed().isEmpty()) {
            line(text, executor, "set", executor.changed());
        }
        executor.below(ClusterCommands.LEVEL).forEach(cluster -> write(text, cluster));
        for (ConfigEntry kind : ConfigEntry.values()) {
            executor.entries(kind).forEach(values -> text.append(kind.line(values)).append('\n'));
        }
        return text.toString();
    }

    private static void write(StringBuilder text, ConfigNode node) {
        Map<String, String> settings = node.changed();
        settings.remove(CROSS_PORT);
        line(text, node, "add", settings);
        if (node.isDown()) {
            line(text, node, "down", Map.of());
        }
        for (Level lower : node.level.below()) {
            node.below(lower).forEach(child -> write(text, child));
        }
        if (node.level == RuleCommands.LEVEL) {
            node.members.values().forEach(server -> text.append("rule server add").append(names(node)).append(' ')
                    .append(quoted(server)).append('\n'));
        }
        if (node.level == ClusterCommands.LEVEL) {
            // A port can cross to another one that is there.
            for (ConfigNode port : node.below(PortCommands.LEVEL)) {
                String crossed = port.changed().get(CROSS_PORT);
                if (crossed != null) {
                    line(text, port, "set", Map.of(CROSS_PORT, crossed));
                }
            }
        }
    }

    private static void line(StringBuilder text, ConfigNode node, String verb, Map<String, String> settings) {
        text.append(node.level.word()).append(' ').append(verb).append(names(node));
        settings.forEach((option, value) -> options(text, node, option, value));
        text.append('\n');
    }

    private static String names(ConfigNode node) {
        StringBuilder text = new StringBuilder();
        Map<String, String> path = node.path();
        for (Identity identity : node.level.identities()) {
            String name = path.get(identity.label());
            if (name.startsWith("-") && !Kind.isNumber(name)) {
                throw new Refusal(null, node.words() + ": a script cannot name what begins with a dash");
            }
            text.append(' ').append(quoted(name));
        }
        return text.toString();
    }

    private static void options(StringBuilder text, ConfigNode node, String option, String value) {
        boolean isList = node.level.property(option).kind() == Kind.LISTENERS;
        for (String part : isList ? value.split("\n") : new String[] {value}) {
            boolean isJoined = part.isEmpty() || part.startsWith("-");
            text.append(' ').append(option).append(isJoined ? "=" : " ");
            text.append(part.isEmpty() ? "" : quoted(part));
        }
    }

    /** {@return a text as a word of a line} */
    static String quoted(String text) {
        if (PLAIN.matcher(text).matches()) {
            return text;
        }
        if (BREAK.matcher(text).find()) {
            throw new Refusal(null, "a script cannot have a text with a line break in it: " + text.strip());
        }
        return text.contains("'") ? '"' + text.replace("\\", "\\\\").replace("\"", "\\\"") + '"' : "'" + text + "'";
    }

    // --- Understanding ---

    /**
     * A command of a configuration.
     *
     * @param where its place, for people
     * @param words the command
     */
    record Command(String where, List<String> words) {
    }

    /**
     * Understands a file that makes a configuration: a script, or a document in JSON.
     *
     * @param tree the commands
     * @return the configuration that it makes on an empty executor
     * @throws UsageError with the place of what is no command, or of one that configures nothing
     */
    static ConfigNode read(CommandLine tree, List<String> lines) {
        ConfigNode executor = new ConfigNode(ExecutorCommands.LEVEL, null, "");
        executor.begin(Map.of());
        for (Command command : ConfigDocument.isDocument(lines) ? ConfigDocument.commands(lines) : commands(lines)) {
            try {
                take(executor, CommandRunner.leaf(CommandRunner.parse(tree, command.words)));
            } catch (ParameterException error) {
                throw new UsageError(command.where + ": " + CommandRunner.explain(error));
            } catch (UsageError error) {
                throw new UsageError(command.where + ": " + error.getMessage());
            }
        }
        return executor;
    }

    private static List<Command> commands(List<String> lines) {
        List<Command> commands = new ArrayList<>();
        for (int i = 0; i < lines.size(); i++) {
            String where = "line " + (i + 1);
            try {
                List<String> words = CommandLineSplitter.split(lines.get(i));
                if (!words.isEmpty()) {
                    commands.add(new Command(where, words));
                }
            } catch (UsageError error) {
                throw new UsageError(where + ": " + error.getMessage());
            }
        }
        return commands;
    }

    private static void take(ConfigNode executor, ParseResult typed) {
        String command = typed.commandSpec().qualifiedName().replaceFirst("^\\S+ ", "");
        if (typed.isUsageHelpRequested()) {
            throw new UsageError("'" + command + "' with a wish for help configures nothing");
        }
        int last = command.lastIndexOf(' ');
        String family = last < 0 ? command : command.substring(0, last);
        String verb = command.substring(last + 1);
        if (family.equals("rule server") && !verb.equals("list")) {
            takeMember(find(executor, RuleCommands.LEVEL, typed, 3), typed, verb);
            return;
        }
        for (ConfigEntry kind : ConfigEntry.values()) {
            boolean isDelete = verb.equals(DELETE) && ConfigEntry.HIGH_AVAILABILITY.contains(kind);
            if (family.equals(kind.family) && (verb.equals(kind.verb) || isDelete)) {
                if (isDelete) {
                    delete(executor, kind, typed);
                } else {
                    add(executor, kind, typed);
                }
                return;
            }
        }
        Level level = LEVELS.stream().filter(kind -> kind.word().equals(family)).findFirst().orElse(null);
        int names = level == null ? 0 : level.identities().length;
        switch (level == null ? "" : verb) {
            case "add" -> add(find(executor, level, typed, names - 1), level, typed);
            case "set" -> change(find(executor, level, typed, names), typed);
            case "remove" -> {
                ConfigNode node = find(executor, level, typed, names);
                node.above.remove(node);
            }
            case "down" -> find(executor, level, typed, names).isMarkedDown = true;
            case "up" -> find(executor, level, typed, names).isMarkedDown = false;
            default -> throw new UsageError("'" + command + "' configures nothing: a configuration is made of 'executor"
                    + " set', of adding, setting and removing clusters, ports, servers and rules, of 'server down', of"
                    + " 'ha backup', 'ha heartbeat' and 'ha reach', of 'icmp set' and 'attack set'");
        }
        if (typed.hasMatchedOption("--argument")) {
            throw new UsageError("--argument cannot be read back, so that a configuration cannot have it");
        }
    }

    /** Of those that are one at most, a command that sets takes the place of the one before. */
    private static void add(ConfigNode executor, ConfigEntry kind, ParseResult typed) {
        List<String> words = new ArrayList<>();
        for (int i = 0; i < kind.size(); i++) {
            words.add(typed.matchedPositionalValue(i, ""));
        }
        List<String> values = kind.understand(words);
        List<List<String>> entries = executor.entries(kind);
        if (kind.verb.equals("set")) {
            entries.clear();
        } else if (entries.stream().anyMatch(entry -> kind.key(entry).equals(kind.key(values)))) {
            throw new UsageError("there is '" + kind.line(values) + "' already, or another one in its place");
        }
        if (!values.equals(kind.usual())) {
            entries.add(values);
        }
    }

    /** A backup takes the rest along, as in the executor that comes with the library. */
    private static void delete(ConfigNode executor, ConfigEntry kind, ParseResult typed) {
        boolean isThere;
        if (kind == ConfigEntry.BACKUP) {
            isThere = !executor.entries(kind).isEmpty();
            ConfigEntry.HIGH_AVAILABILITY.forEach(other -> executor.entries(other).clear());
        } else {
            String address = ConfigEntry.address(typed.matchedPositionalValue(0, ""));
            int ends = kind == ConfigEntry.HEARTBEAT ? 2 : 1;
            isThere = executor.entries(kind).removeIf(values -> values.subList(0, ends).contains(address));
        }
        if (!isThere) {
            throw new UsageError("there is no such one before this");
        }
    }

    /** {@return the object that the first names lead to} */
    private static ConfigNode find(ConfigNode executor, Level level, ParseResult typed, int names) {
        ConfigNode at = executor;
        for (int i = 0; i < names; i++) {
            Identity identity = level.identities()[i];
            String name = name(identity, typed, i);
            Level lower = at.level.below().stream()
                    .filter(kind -> kind.own().label().equals(identity.label())).findFirst().orElseThrow();
            ConfigNode child = at.child(lower, name);
            if (child == null) {
                throw new UsageError("there is no " + lower.word() + " '" + name + "' before this");
            }
            at = child;
        }
        return at;
    }

    /** {@return a name as it was typed; a port's as a number is written} */
    private static String name(Identity identity, ParseResult typed, int index) {
        if (!typed.hasMatchedPositional(index)) {
            throw new UsageError("a configuration names each object");
        }
        return identity.value(typed.matchedPositionalValue(index, "")).toString();
    }

    private static void add(ConfigNode above, Level level, ParseResult typed) {
        String name = name(level.own(), typed, level.identities().length - 1);
        if (above.child(level, name) != null) {
            throw new UsageError("there is a " + level.word() + " '" + name + "' already");
        }
        Map<String, String> given = given(level, typed, new HashMap<>());
        above.add(level, name).begin(given);
    }

    private static void change(ConfigNode node, ParseResult typed) {
        node.values.putAll(given(node.level, typed, node.values));
    }

    private static void takeMember(ConfigNode rule, ParseResult typed, String verb) {
        String name = name(ServerCommands.LEVEL.own(), typed, 3);
        ConfigNode server = rule.above.child(ServerCommands.LEVEL, name);
        if (server == null) {
            throw new UsageError("there is no server '" + name + "' before this");
        }
        if (verb.equals("add")) {
            rule.members.put(KnownNames.inCapitals(name), server.name);
        } else {
            rule.members.remove(KnownNames.inCapitals(name));
        }
    }

    /** {@return what was typed for the options, each as the executor's own value is typed} */
    private static Map<String, String> given(Level level, ParseResult typed, Map<String, String> before) {
        Object object = level.table().create().get();
        if (before.containsKey("--type")) {
            level.property("--type").set(object, before.get("--type")); // the ends of a rule's range depend on it
        }
        Settings.take(typed, level.table().properties(), object);
        Map<String, String> given = new LinkedHashMap<>();
        for (Property property : level.table().properties()) {
            if (property.option() != null && typed.hasMatchedOption(property.option())) {
                given.put(property.option(), property.typed(object));
            }
        }
        boolean isHidden = level == RuleCommands.LEVEL
                && !given.getOrDefault("--type", before.getOrDefault("--type", "")).equals("service");
        if (isHidden) {
            given.computeIfPresent("--service", (option, value) -> ""); // the executor tells it for that type alone
        }
        return given;
    }
}
