package com.qel.internet.rk.console;

import java.util.HashMap;
import java.util.List;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;
import picocli.CommandLine.ParseResult;

/** Commands that share a first word. */
final class CommandGroup {
    /** What a command does with what was typed. */
    interface Action {
        void run(ParseResult typed);
    }

    /** The same, for a command whose exit status says more than whether it succeeded. */
    interface Question {
        /** {@return the exit status} */
        int ask(ParseResult typed);
    }

    private static final String COUNTS = "--counts";

    final CommandSpec definition;

    CommandGroup(String name, String description) {
        definition = CommandSpec.create().name(name);
        definition.usageMessage().description(description);
    }

    /** Adds a command. {@return it, for further arguments and options} */
    CommandSpec command(String name, String description, Action action, Identity... arguments) {
        return command(name, description, (Object) action, arguments);
    }

    /** The same, for a command that answers by its exit status. */
    CommandSpec question(String name, String description, Question question, Identity... arguments) {
        return command(name, description, (Object) question, arguments);
    }

    private CommandSpec command(String name, String description, Object action, Identity... arguments) {
        CommandSpec command = CommandSpec.wrapWithoutInspection(action).name(name);
        command.usageMessage().description(description);
        for (Identity argument : arguments) {
            addArgument(command, argument);
        }
        definition.addSubcommand(name, command);
        return command;
    }

    /** Gives a command one more argument. */
    static void addArgument(CommandSpec command, Identity argument) {
        addArgument(command, argument, true);
    }

    /** Gives a command further arguments that may be left out, from the last on. */
    static void addOptional(CommandSpec command, Identity... arguments) {
        for (Identity argument : arguments) {
            addArgument(command, argument, false);
        }
    }

    /** Gives a command any number of further arguments. */
    static void addRest(CommandSpec command, String label, String description, boolean required) {
        command.addPositional(PositionalParamSpec.builder()
                .index(command.positionalParameters().size() + "..*")
                .arity(required ? "1..*" : "0..*")
                .paramLabel(label)
                .description(description)
                .type(List.class)
                .auxiliaryTypes(String.class)
                .required(required)
                .build());
    }

    /** {@return what was typed for the arguments of {@link #addRest}, which begin at a place} */
    static List<String> rest(ParseResult typed, int index) {
        return typed.hasMatchedPositional(index) ? typed.matchedPositional(index).getValue() : List.of();
    }

    /** Gives a command that shows records an option to show their number alone. */
    static void addCounts(CommandSpec command) {
        command.addOption(OptionSpec.builder(COUNTS).description("Show their number alone.").build());
    }

    /** {@return the detail that {@link #addCounts} leaves to show: 0 for numbers alone, else 1} */
    static int detail(ParseResult typed) {
        return typed.hasMatchedOption(COUNTS) ? 0 : 1;
    }

    private static void addArgument(CommandSpec command, Identity argument, boolean required) {
        command.addPositional(PositionalParamSpec.builder()
                .index(Integer.toString(command.positionalParameters().size()))
                .arity(required ? "1" : "0..1")
                .paramLabel(argument.label())
                .description(argument.help())
                .type(String.class)
                .required(required)
                .build());
    }

    /** {@return what was typed for the arguments, by their labels} */
    static Map<String, String> given(ParseResult typed, Identity... arguments) {
        Map<String, String> given = new HashMap<>();
        for (int i = 0; i < arguments.length; i++) {
            given.put(arguments[i].label(), typed.matchedPositionalValue(i, ""));
        }
        return given;
    }

    /** Puts what was typed for the arguments into an object. */
    static void put(Session session, Object object, ParseResult typed, Identity... arguments) {
        for (int i = 0; i < arguments.length; i++) {
            arguments[i].put(session, object, typed.matchedPositionalValue(i, ""));
        }
    }
}
