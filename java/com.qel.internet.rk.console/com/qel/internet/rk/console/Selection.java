package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNServerWeights;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.regex.Pattern;
import picocli.CommandLine.MissingParameterException;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/**
 * Which objects a command is for: the one that was typed, all whose names match a pattern, or all servers with an
 * address.
 */
final class Selection {
    /** What is done with one object, given its names by the arguments' labels. */
    interface Verb {
        void run(Map<String, String> given);
    }

    private static final String ADDRESS = "--address";
    private static final String YES = "--yes";
    private static final int ASKED_ABOVE = 10;

    private Selection() {
    }

    /** Gives a command the options that go with patterns. Its arguments can be left out where an address selects. */
    static void addOptions(CommandSpec command, Level level) {
        command.addOption(OptionSpec.builder(YES)
                .description("Do not ask before more than " + ASKED_ABOVE + " are changed.").build());
        if (level == ServerCommands.LEVEL) {
            command.addOption(OptionSpec.builder(ADDRESS)
                    .type(String.class)
                    .paramLabel("A.B.C.D")
                    .description("Instead of names: all servers, of whatever port, with this address as their first"
                            + " listener's or as their identifier.")
                    .build());
        }
    }

    /**
     * Runs a verb for each object that is selected, and says that it succeeded.
     *
     * @throws Refusal when nothing is selected, or when an object is refused: those before it stay done
     */
    static void forEach(Session session, Level level, ParseResult typed, Verb verb) {
        Map<String, String> given = CommandGroup.given(typed, level.identities());
        boolean byAddress = level == ServerCommands.LEVEL && typed.hasMatchedOption(ADDRESS);
        if (!byAddress && given.values().stream().noneMatch(Selection::isPattern)) {
            requireAll(level, typed);
            verb.run(given);
            session.output.done();
            return;
        }
        List<Map<String, String>> selected = byAddress ? withAddress(session, typed) : matching(session, level, typed);
        confirm(session, level, typed, selected.size());
        for (int i = 0; i < selected.size(); i++) {
            try {
                verb.run(selected.get(i));
            } catch (Refusal refusal) {
                throw new Refusal(refusal.status, ConfigNode.words(level, selected.get(i)) + ": " + refusal.meaning
                        + "; " + i + " of " + selected.size() + " were done before it");
            }
        }
        session.output.counted(selected.size(), noun(level));
    }

    private static void requireAll(Level level, ParseResult typed) {
        List<ArgSpec> missing = new ArrayList<>(typed.commandSpec().positionalParameters());
        missing.removeAll(typed.matchedPositionals());
        if (!missing.isEmpty()) {
            List<String> labels = missing.stream().map(argument -> "'" + argument.paramLabel() + "'").toList();
            throw new MissingParameterException(typed.commandSpec().commandLine(), missing,
                    "Missing required parameter" + (labels.size() > 1 ? "s" : "") + ": " + String.join(", ", labels));
        }
    }

    private static void confirm(Session session, Level level, ParseResult typed, int count) {
        boolean isAsked = count > ASKED_ABOVE && session.question != null && !typed.hasMatchedOption(YES);
        String question = typed.commandSpec().qualifiedName().replaceFirst("^\\S+ ", "") + " for " + count + " "
                + noun(level) + "s?";
        if (isAsked && !session.question.ask(question)) {
            throw new Refusal(null, "nothing was done");
        }
    }

    static boolean isPattern(String text) {
        return text.contains("*") || text.contains("?");
    }

    /** {@return all objects whose names match what was typed; a name that is there itself is no pattern} */
    private static List<Map<String, String>> matching(Session session, Level level, ParseResult typed) {
        List<Map<String, String>> selected = List.of(Map.of());
        for (int i = 0; i < level.identities().length; i++) {
            String label = level.identities()[i].label();
            String text = typed.matchedPositionalValue(i, "");
            List<Map<String, String>> longer = new ArrayList<>();
            for (Map<String, String> above : selected) {
                for (String name : isPattern(text) ? matches(session, label, above, text) : List.of(text)) {
                    Map<String, String> given = new HashMap<>(above);
                    given.put(label, name);
                    longer.add(given);
                }
            }
            if (longer.isEmpty()) {
                throw new Refusal(null, "no " + label.toLowerCase(Locale.ROOT) + " matches '" + text + "'");
            }
            selected = longer;
        }
        requireAll(level, typed);
        return selected;
    }

    private static List<String> matches(Session session, String label, Map<String, String> above, String text) {
        List<String> names = Names.ofKind(session, label, above);
        String capitals = KnownNames.inCapitals(text);
        if (names.stream().anyMatch(name -> KnownNames.inCapitals(name).equals(capitals))) {
            return List.of(text);
        }
        Pattern pattern = pattern(text);
        return names.stream().filter(name -> pattern.matcher(KnownNames.inCapitals(name)).matches()).toList();
    }

    /** {@return what matches a text in capitals; * stands for any characters, ? for one} */
    static Pattern pattern(String text) {
        String quoted = Pattern.quote(KnownNames.inCapitals(text));
        return Pattern.compile(quoted.replace("*", "\\E.*\\Q").replace("?", "\\E.\\Q"), Pattern.DOTALL);
    }

    private static List<Map<String, String>> withAddress(Session session, ParseResult typed) {
        if (!typed.matchedPositionals().isEmpty()) {
            throw new UsageError(ADDRESS + " stands instead of names");
        }
        String text = typed.matchedOptionValue(ADDRESS, "");
        int address = Identity.argument(ADDRESS, "", Kind.HOST_ORDER_ADDRESS).number(text);
        List<Map<String, String>> selected = new ArrayList<>();
        for (String cluster : Names.ofKind(session, Identity.CLUSTER, Map.of())) {
            for (String port : Names.ofKind(session, Identity.PORT, Map.of(Identity.CLUSTER, cluster))) {
                CMNServerWeights weights = WeightsCommands.ofPort(session, cluster, Names.port(port));
                for (int i = 0; i < weights.iAddress.length; i++) {
                    if (weights.iAddress[i] == address && weights.sServerID[i] != null) {
                        selected.add(Map.of(Identity.CLUSTER, cluster, Identity.PORT, port, Identity.SERVER,
                                weights.sServerID[i]));
                    }
                }
            }
        }
        if (selected.isEmpty()) {
            throw new Refusal(null, "no server has the address " + text);
        }
        return selected;
    }

    private static String noun(Level level) {
        return level.own().label().toLowerCase(Locale.ROOT);
    }
}
