package com.qel.internet.rk.console;

import java.util.List;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/** The options that change settings: made from the rows of a table, and taken into an object. */
final class Settings {
    private Settings() {
    }

    /** Gives a command an option for each row that has one. */
    static void addOptions(CommandSpec command, List<Property> properties, String... required) {
        for (Property property : properties) {
            if (property.option() != null) {
                command.addOption(OptionSpec.builder(property.option())
                        .completionCandidates(property.candidates())
                        .type(property.kind() == Kind.LISTENERS ? String[].class : String.class)
                        .paramLabel(property.argument())
                        .description(property.help())
                        .required(List.of(required).contains(property.option()))
                        .build());
            }
        }
    }

    /** Takes the values of the options that were typed into the object. */
    static void take(ParseResult typed, List<Property> properties, Object object) {
        for (Property property : properties) {
            if (property.option() != null && typed.hasMatchedOption(property.option())) {
                try {
                    property.set(object, typed(typed, property));
                } catch (UsageError error) {
                    throw new UsageError(property.option() + ": " + error.getMessage());
                }
            }
        }
    }

    /** {@return what was typed for an option; for listeners, one a line} */
    static String typed(ParseResult typed, Property property) {
        if (property.kind() == Kind.LISTENERS) {
            return String.join("\n", typed.matchedOptionValue(property.option(), new String[0]));
        }
        return typed.matchedOptionValue(property.option(), "");
    }

    /** Refuses a command without an option that changes something. */
    static void requireSome(ParseResult typed, List<Property> properties) {
        if (properties.stream().noneMatch(row -> row.option() != null && typed.hasMatchedOption(row.option()))) {
            throw new UsageError("there is nothing to change: give an option");
        }
    }
}
