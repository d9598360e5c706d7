package com.qel.internet.rk.console;

import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.PositionalParamSpec;
import picocli.CommandLine.ParseResult;

/** Commands that share a first word. */
final class CommandGroup {
    /** What a command does with what was typed. */
    interface Action {
        void run(ParseResult typed);
    }

    final CommandSpec spec;

    CommandGroup(String name, String description) {
        spec = CommandSpec.create().name(name);
        spec.usageMessage().description(description);
    }

    /** Adds a command. {@return it, for further arguments and options} */
    CommandSpec command(String name, String description, Action action, Identity... arguments) {
        CommandSpec command = CommandSpec.wrapWithoutInspection(action).name(name);
        command.usageMessage().description(description);
        for (Identity argument : arguments) {
            addArgument(command, argument);
        }
        spec.addSubcommand(name, command);
        return command;
    }

    /** Gives a command one more argument. */
    static void addArgument(CommandSpec command, Identity argument) {
        command.addPositional(PositionalParamSpec.builder()
                .index(Integer.toString(command.positionalParameters().size()))
                .paramLabel(argument.label())
                .description(argument.help())
                .type(String.class)
                .required(true)
                .build());
    }

    /** Puts what was typed for the arguments into an object. */
    static void put(Session session, Object object, ParseResult typed, Identity... arguments) {
        for (int i = 0; i < arguments.length; i++) {
            arguments[i].put(session, object, typed.matchedPositionalValue(i, ""));
        }
    }
}
