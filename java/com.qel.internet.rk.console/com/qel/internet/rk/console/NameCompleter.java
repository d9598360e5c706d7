package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.jline.reader.Candidate;
import org.jline.reader.Completer;
import org.jline.reader.LineReader;
import org.jline.reader.ParsedLine;
import picocli.CommandLine;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;

/** Offers commands, options, and the names of what the executor has. */
final class NameCompleter implements Completer {
    private final CommandLine tree;
    private final Session session;

    NameCompleter(CommandLine tree, Session session) {
        this.tree = tree;
        this.session = session;
    }

    @Override
    public void complete(LineReader reader, ParsedLine line, List<Candidate> candidates) {
        List<String> before = line.words().subList(0, line.wordIndex());
        boolean isMarked = before.isEmpty() && line.word().startsWith(Lines.EXPECT_REFUSAL);
        String mark = isMarked ? Lines.EXPECT_REFUSAL : "";
        List<String> command = Lines.isExpectRefusal(before) ? Lines.behindMark(before) : before;
        for (String text : candidates(command, line.word().substring(mark.length()))) {
            boolean isWhole = !text.endsWith("/"); // within a folder, more is to be typed
            candidates.add(new Candidate(mark + text, mark + text, null, null, null, null, isWhole));
        }
    }

    /**
     * Finds what can stand next.
     *
     * @param before the words before
     * @param begun  what is typed of the next one
     */
    private List<String> candidates(List<String> before, String begun) {
        CommandSpec command = tree.getCommandSpec();
        Map<String, String> given = new HashMap<>();
        OptionSpec wanting = null;
        boolean isHelp = false;
        for (String word : before) {
            CommandLine child = command.subcommands().get(word);
            if (wanting != null) {
                wanting = null;
            } else if (takesCommand(child)) {
                isHelp = true; // what follows is a command again
            } else if (child != null) {
                command = child.getCommandSpec();
            } else if (word.startsWith("-")) {
                OptionSpec option = command.optionsMap().get(word);
                wanting = option != null && option.arity().max() > 0 ? option : null;
            } else {
                PositionalParamSpec positional = positional(command, given.size());
                given.put(positional == null ? word : positional.paramLabel(), word);
            }
        }
        if (wanting != null) {
            return values(wanting, given, begun);
        }
        if (begun.startsWith("-")) {
            return isHelp ? List.of() : options(command, begun);
        }
        if (!command.subcommands().isEmpty()) {
            return new ArrayList<>(command.subcommands().keySet());
        }
        return isHelp ? List.of() : values(positional(command, given.size()), given, begun);
    }

    /** {@return whether a command is followed by another one} */
    private static boolean takesCommand(CommandLine child) {
        return child != null && child.getCommandSpec().userObject() instanceof HelpCommand;
    }

    /** {@return the options, or with an equals sign one of them with its values} */
    private static List<String> options(CommandSpec command, String begun) {
        int equals = begun.indexOf('=');
        OptionSpec option = equals < 0 ? null : command.optionsMap().get(begun.substring(0, equals));
        List<String> offered = new ArrayList<>();
        if (option == null) {
            offered.addAll(command.optionsMap().keySet());
        } else if (option.completionCandidates() != null) {
            option.completionCandidates().forEach(value -> offered.add(begun.substring(0, equals + 1) + value));
        }
        return offered;
    }

    private static PositionalParamSpec positional(CommandSpec command, int index) {
        for (PositionalParamSpec positional : command.positionalParameters()) {
            if (positional.index().contains(index)) {
                return positional;
            }
        }
        return null;
    }

    private List<String> values(ArgSpec wanted, Map<String, String> given, String begun) {
        List<String> values = new ArrayList<>();
        if (wanted != null && wanted.completionCandidates() != null) {
            wanted.completionCandidates().forEach(values::add);
        }
        if (wanted != null && FileNames.isLabel(wanted.paramLabel())) {
            return FileNames.beginning(begun);
        }
        if (wanted != null && values.isEmpty()) {
            try {
                values.addAll(Names.ofKind(session, wanted.paramLabel(), given));
            } catch (Refusal | UsageError refused) {
                // Nothing is offered; the command itself will say why the names cannot be listed.
                values.clear();
            }
        }
        return values;
    }
}
