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
            candidates.add(new Candidate(mark + text));
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
        boolean wantsValue = false;
        for (String word : before) {
            CommandLine child = command.subcommands().get(word);
            if (wantsValue) {
                wantsValue = false;
            } else if (child != null) {
                command = child.getCommandSpec();
            } else if (word.startsWith("-")) {
                OptionSpec option = command.optionsMap().get(word);
                wantsValue = option != null && option.arity().max() > 0;
            } else {
                PositionalParamSpec positional = positional(command, given.size());
                given.put(positional == null ? word : positional.paramLabel(), word);
            }
        }
        if (wantsValue) {
            return List.of();
        }
        if (begun.startsWith("-")) {
            return new ArrayList<>(command.optionsMap().keySet());
        }
        if (!command.subcommands().isEmpty()) {
            return new ArrayList<>(command.subcommands().keySet());
        }
        return values(positional(command, given.size()), given);
    }

    private static PositionalParamSpec positional(CommandSpec command, int index) {
        for (PositionalParamSpec positional : command.positionalParameters()) {
            if (positional.index().contains(index)) {
                return positional;
            }
        }
        return null;
    }

    private List<String> values(PositionalParamSpec positional, Map<String, String> given) {
        List<String> values = new ArrayList<>();
        if (positional != null && positional.completionCandidates() != null) {
            positional.completionCandidates().forEach(values::add);
        }
        if (positional != null && values.isEmpty()) {
            try {
                values.addAll(Names.ofKind(session, positional.paramLabel(), given));
            } catch (Refusal | UsageError refused) {
                // Nothing is offered; the command itself will say why the names cannot be listed.
                values.clear();
            }
        }
        return values;
    }
}
