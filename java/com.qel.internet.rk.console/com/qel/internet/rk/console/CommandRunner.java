package com.qel.internet.rk.console;

import java.util.List;
import java.util.Set;
import picocli.CommandLine;
import picocli.CommandLine.MissingParameterException;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.ParseResult;
import picocli.CommandLine.UnmatchedArgumentException;

/** Carries out one command, and turns all that can go wrong into a message and an exit status. */
final class CommandRunner {
    private final Session session;

    CommandRunner(Session session) {
        this.session = session;
    }

    /**
     * Parses and runs a command.
     *
     * @param tree  the commands
     * @param words the command
     * @param line  the line of the script that it stands in; 0 when there is none
     * @return the exit status
     */
    int run(CommandLine tree, List<String> words, int line) {
        session.output.json = session.output.jsonAlways || words.contains(JsonOption.NAME);
        ParseResult typed;
        try {
            typed = parse(tree, words);
        } catch (ParameterException error) {
            return usage(line, error.getCommandLine(), explain(error));
        }
        Integer helpShown = CommandLine.executeHelpRequest(typed);
        return helpShown != null ? helpShown : execute(typed, line);
    }

    /** Parses a command, and refuses what only looks like a value. */
    static ParseResult parse(CommandLine tree, List<String> words) {
        ParseResult typed;
        try {
            typed = tree.parseArgs(words.toArray(new String[0]));
        } catch (MissingParameterException error) {
            // A misspelt option may be why something is missing.
            words.forEach(word -> refuseUnknownOption(error.getCommandLine(), word));
            throw error;
        }
        ParseResult leaf = leaf(typed);
        if (!leaf.isUsageHelpRequested()) {
            refuseGroup(leaf, leaf == typed);
            for (ArgSpec positional : leaf.matchedPositionals()) {
                if (leaf.commandSpec().userObject() instanceof WatchCommand) {
                    continue; // what it runs has options of its own
                }
                positional.stringValues().forEach(word -> refuseUnknownOption(leaf.commandSpec().commandLine(), word));
            }
        }
        return typed;
    }

    /** Runs a parsed command. {@return its exit status} */
    int execute(ParseResult typed, int line) {
        ParseResult leaf = leaf(typed);
        CommandLine command = leaf.commandSpec().commandLine();
        try {
            if (leaf.commandSpec().userObject() instanceof CommandGroup.Action action) {
                action.run(leaf);
                return ExitStatus.SUCCESS;
            }
            if (leaf.commandSpec().userObject() instanceof CommandGroup.Question question) {
                return answered(question.ask(leaf), line, command);
            }
            return new CommandLine.RunLast().execute(typed);
        } catch (ParameterException error) {
            return usage(line, command, explain(error));
        } catch (CommandLine.ExecutionException error) {
            return failed(line, command, error.getCause());
        } catch (RuntimeException | Error error) {
            return failed(line, command, error);
        } finally {
            session.output.finish();
        }
    }

    /** A script that ends because of an answer says where. {@return the exit status} */
    private int answered(int exitStatus, int line, CommandLine command) {
        if (exitStatus == ExitStatus.DIFFERENT && line > 0) {
            String name = nameWithoutRoot(command.getCommandSpec().qualifiedName());
            session.output.failure(line, name, null, "what was compared differs");
        }
        return exitStatus;
    }

    /** Reports a command that cannot be carried out as it stands. {@return the exit status} */
    int usage(int line, CommandLine command, String reason) {
        String name = nameWithoutRoot(command.getCommandSpec().qualifiedName());
        session.output.failure(line, name, null, reason);
        if (line == 0 && !session.output.json) {
            session.output.note("Try: " + (name.isEmpty() ? "--help" : name + " --help"));
        }
        return ExitStatus.USAGE;
    }

    /** Reports the failure of a step that is no command. {@return the exit status} */
    int failed(String step, Refusal refusal) {
        session.output.failure(0, step, refusal.status, refusal.meaning + session.hint());
        return ExitStatus.REFUSED;
    }

    private int failed(int line, CommandLine command, Throwable cause) {
        String name = nameWithoutRoot(command.getCommandSpec().qualifiedName());
        if (cause instanceof Refusal refusal) {
            session.output.failure(line, name, refusal.status, refusal.meaning + session.hint());
            return ExitStatus.REFUSED;
        }
        if (cause instanceof UsageError) {
            return usage(line, command, cause.getMessage());
        }
        if (cause instanceof LinkageError) {
            session.output.failure(line, name, null, "the native library does not fit: " + cause.getMessage());
            return ExitStatus.NO_LIBRARY;
        }
        session.output.failure(line, name, null, "the console itself failed: " + cause);
        return ExitStatus.REFUSED;
    }

    static ParseResult leaf(ParseResult typed) {
        ParseResult leaf = typed;
        while (leaf.hasSubcommand()) {
            leaf = leaf.subcommand();
        }
        return leaf;
    }

    /** Refuses the name of a group that no command follows. */
    private static void refuseGroup(ParseResult leaf, boolean isRoot) {
        Set<String> commands = leaf.commandSpec().subcommands().keySet();
        if (!isRoot && !commands.isEmpty()) {
            throw new ParameterException(leaf.commandSpec().commandLine(),
                    "a command is missing: one of " + String.join(", ", commands));
        }
    }

    /** Numbers may be negative, so picocli takes everything with a leading minus for a value; all else is a mistake. */
    private static void refuseUnknownOption(CommandLine command, String word) {
        if (!word.startsWith("-") || word.matches("-\\d.*|-")) {
            return;
        }
        String name = word.split("=", 2)[0];
        for (CommandLine at = command; at != null; at = at.getParent()) {
            if (at.getCommandSpec().optionsMap().containsKey(name)) {
                return;
            }
        }
        throw new UnmatchedArgumentException(command, List.of(word));
    }

    /** {@return the reason, with what may have been meant} */
    static String explain(ParameterException error) {
        if (!(error instanceof UnmatchedArgumentException unmatched)) {
            return error.getMessage();
        }
        String word = unmatched.getUnmatched().get(0);
        boolean isGroup = !error.getCommandLine().getSubcommands().isEmpty();
        String what = word.startsWith("-") ? "option" : isGroup ? "command" : "further argument";
        List<String> guesses = suggestions(unmatched);
        String guess = guesses.isEmpty() ? "" : " (did you mean " + guesses.get(0) + "?)";
        return "there is no " + what + " '" + word + "'" + guess;
    }

    private static List<String> suggestions(UnmatchedArgumentException unmatched) {
        CommandLine command = unmatched.getCommandLine();
        // Options are only suggested where unknown ones are not taken for values.
        command.setUnmatchedOptionsArePositionalParams(false);
        List<String> suggestions = unmatched.getSuggestions();
        command.setUnmatchedOptionsArePositionalParams(true);
        return suggestions;
    }

    private static String nameWithoutRoot(String qualifiedName) {
        int blank = qualifiedName.indexOf(' ');
        return blank < 0 ? "" : qualifiedName.substring(blank + 1);
    }
}
