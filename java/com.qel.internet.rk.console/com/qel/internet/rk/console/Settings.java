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
                        .type(String.class)
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
                    property.set(object, typed.matchedOptionValue(property.option(), ""));
                } catch (UsageError error) {
                    throw new UsageError(property.option() + ": " + error.getMessage());
                }
            }
        }
    }

    /** Refuses a command without an option that changes something. */
    static void requireSome(ParseResult typed) {
        if (typed.matchedOptions().stream().allMatch(option -> option.longestName().equals(JsonOption.NAME))) {
            throw new UsageError("there is nothing to change: give an option");
        }
    }
}
