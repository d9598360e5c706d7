package com.qel.internet.rk.console;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import picocli.AutoComplete;
import picocli.CommandLine;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;

/** Writes what is installed around the console from its own table of commands: the manual's page, and completion. */
final class WritePages {
    private WritePages() {
    }

    /**
     * Writes both files.
     *
     * @param arguments the page with places for options and commands, the page to write, the completion to write
     */
    public static void main(String[] arguments) throws IOException {
        CommandLine root = Console.commands();
        String page = Files.readString(Path.of(arguments[0]))
                .replace("%OPTIONS%\n", options(root))
                .replace("%COMMANDS%\n", families(root));
        Files.writeString(Path.of(arguments[1]), page);
        // It is sourced, not run. What it does first in zsh changes that shell for good, and cannot be done from within
        // a completion.
        String completion = AutoComplete.bash(Console.NAME, root)
                .replaceFirst("^#!.*\n", "")
                .replaceFirst("(?s)elif \\[ -n \"\\$ZSH_VERSION\" ].*?\nfi\n", "fi\n");
        Files.writeString(Path.of(arguments[2]), completion);
    }

    private static String families(CommandLine root) {
        StringBuilder text = new StringBuilder();
        for (CommandLine family : subcommands(root)) {
            if (family.getSubcommands().isEmpty()) {
                command(text, family, family.getCommandName());
                continue;
            }
            text.append(".SS ").append(family.getCommandName()).append('\n').append(description(family));
            commands(text, family, family.getCommandName());
        }
        return text.toString();
    }

    /** Writes the commands below one, each with all its words. */
    private static void commands(StringBuilder text, CommandLine above, String words) {
        for (CommandLine command : subcommands(above)) {
            String name = words + " " + command.getCommandName();
            if (command.getSubcommands().isEmpty()) {
                command(text, command, name);
            } else {
                commands(text, command, name);
            }
        }
    }

    private static void command(StringBuilder text, CommandLine command, String name) {
        text.append(".TP\n\\fB").append(literal(name)).append("\\fR").append(operands(command)).append('\n');
        text.append(description(command));
        String details = positionals(command) + options(command);
        if (!details.isEmpty()) {
            text.append(".RS\n").append(details).append(".RE\n");
        }
    }

    private static List<CommandLine> subcommands(CommandLine command) {
        // A command that has a second name stands among them twice.
        return new ArrayList<>(new LinkedHashSet<>(command.getSubcommands().values()));
    }

    private static String operands(CommandLine command) {
        StringBuilder text = new StringBuilder();
        for (PositionalParamSpec argument : command.getCommandSpec().positionalParameters()) {
            String label = label(argument) + (argument.arity().max() > 1 ? "..." : "");
            text.append(' ').append(argument.required() ? label : "[" + label + "]");
        }
        return text.append(ownOptions(command).isEmpty() ? "" : " [\\fIOPTION\\fR]...").toString();
    }

    private static String positionals(CommandLine command) {
        StringBuilder text = new StringBuilder();
        for (PositionalParamSpec argument : command.getCommandSpec().positionalParameters()) {
            text.append(".TP\n").append(label(argument)).append('\n').append(paragraph(argument.description()));
        }
        return text.toString();
    }

    private static String options(CommandLine command) {
        StringBuilder text = new StringBuilder();
        for (OptionSpec option : ownOptions(command)) {
            text.append(".TP\n\\fB").append(literal(String.join("\\fR, \\fB", option.names()))).append("\\fR");
            if (option.arity().max() > 0) {
                text.append('=').append(label(option));
            }
            text.append('\n').append(paragraph(option.description()));
        }
        return text.toString();
    }

    /** {@return the options of a command, without those that all commands have} */
    private static List<OptionSpec> ownOptions(CommandLine command) {
        boolean isRoot = command.getParent() == null;
        return command.getCommandSpec().options().stream()
                .filter(option -> isRoot || !(option.usageHelp() || option.longestName().equals(JsonOption.NAME)))
                .toList();
    }

    private static String label(ArgSpec argument) {
        return "\\fI" + literal(argument.paramLabel()) + "\\fR";
    }

    private static String description(CommandLine command) {
        return paragraph(command.getCommandSpec().usageMessage().description());
    }

    private static String paragraph(String[] lines) {
        String text = String.join(" ", lines).strip().replace("\\", "\\e").replace("--", "\\-\\-");
        return (text.startsWith(".") || text.startsWith("'") ? "\\&" : "") + text + "\n";
    }

    private static String literal(String text) {
        return text.replace("-", "\\-");
    }
}
