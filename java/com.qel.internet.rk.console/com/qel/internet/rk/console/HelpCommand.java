package com.qel.internet.rk.console;

import java.util.List;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

/** Help as a command: it needs no executor. */
@Command(name = HelpCommand.NAME, description = "Show help for a command.")
final class HelpCommand implements Runnable {
    static final String NAME = "help";

    @Parameters(paramLabel = "COMMAND", arity = "0..*", description = "The command, as in: help cluster add.")
    private List<String> words;

    private final CommandLine tree;
    private final Output output;

    HelpCommand(CommandLine tree, Output output) {
        this.tree = tree;
        this.output = output;
    }

    @Override
    public void run() {
        List<String> command = words == null ? List.of() : words;
        CommandLine at = tree;
        for (String word : command) {
            at = at.getSubcommands().get(word);
            if (at == null) {
                throw new UsageError("there is no command " + String.join(" ", command));
            }
        }
        output.plain(at.getUsageMessage());
    }
}
