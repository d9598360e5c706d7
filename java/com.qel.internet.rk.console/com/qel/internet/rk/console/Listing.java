package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.Locale;
import java.util.function.Predicate;
import java.util.regex.Pattern;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/** What a list shows of its objects: which columns, which rows, in which order. */
final class Listing {
    private static final String COLUMNS = "--columns";
    private static final String FILTER = "--filter";
    private static final String SORT = "--sort";

    private Listing() {
    }

    static void addOptions(CommandSpec command, List<Property> properties) {
        List<String> names = properties.stream().map(Listing::name).toList();
        command.addOption(OptionSpec.builder(COLUMNS).type(String.class).paramLabel("COLUMN,...")
                .completionCandidates(names)
                .description("Show these columns; one of them is " + names.get(names.size() - 1) + ", and 'all' are"
                        + " all. A wrong name tells them.").build());
        command.addOption(OptionSpec.builder(FILTER).type(String.class).paramLabel("[COLUMN=]PATTERN")
                .description("Show only rows with this text in a column that is shown, or whose COLUMN is PATTERN, which"
                        + " may have * and ?.").build());
        command.addOption(OptionSpec.builder(SORT).type(String.class).paramLabel("[-]COLUMN")
                .completionCandidates(names)
                .description("Show the rows in the order of a column; with a minus sign, the highest first.").build());
    }

    /** {@return whether there is an option that makes a list a long one} */
    static boolean isWanted(ParseResult typed) {
        return List.of(COLUMNS, FILTER, SORT).stream().anyMatch(typed::hasMatchedOption);
    }

    /** Prints what is wanted of objects. */
    static void print(Output output, ParseResult typed, List<Object> objects, List<Property> properties,
            List<String> usual) {
        List<String> columns = usual;
        if (typed.hasMatchedOption(COLUMNS)) {
            columns = new ArrayList<>();
            for (String name : typed.matchedOptionValue(COLUMNS, "").split(",")) {
                if (name.equals("all")) {
                    for (Property property : properties) {
                        columns.add(property.fields().get(0));
                    }
                } else {
                    columns.add(column(COLUMNS, name, properties).fields().get(0));
                }
            }
        }
        List<String> shown = columns;
        List<Property> visible = properties.stream().filter(row -> shown.contains(row.fields().get(0))).toList();
        List<Object> rows = new ArrayList<>(objects);
        if (typed.hasMatchedOption(FILTER)) {
            rows.removeIf(filter(typed.matchedOptionValue(FILTER, ""), properties, visible).negate());
        }
        if (typed.hasMatchedOption(SORT)) {
            rows.sort(order(typed.matchedOptionValue(SORT, ""), properties));
        }
        output.table(rows, properties, columns);
    }

    /** {@return a column's name as it is typed: its heading, with dashes} */
    private static String name(Property property) {
        String label = property.label().replaceFirst(" \\(.*|[;,].*", "");
        return label.replaceAll("[^A-Za-z0-9]+", "-").toLowerCase(Locale.ROOT);
    }

    private static Property column(String option, String text, List<Property> properties) {
        return properties.stream().filter(row -> row.shown() && name(row).equals(text.toLowerCase(Locale.ROOT)))
                .findFirst()
                .orElseThrow(() -> new UsageError(option + ": there is no column '" + text + "'; there are "
                        + String.join(", ", properties.stream().filter(Property::shown).map(Listing::name).toList())));
    }

    private static Predicate<Object> filter(String text, List<Property> properties, List<Property> visible) {
        int equals = text.indexOf('=');
        if (equals > 0) {
            Property column = column(FILTER, text.substring(0, equals), properties);
            Pattern pattern = Selection.pattern(text.substring(equals + 1));
            return object -> pattern.matcher(KnownNames.inCapitals(column.format(object))).matches();
        }
        String part = KnownNames.inCapitals(text);
        return object -> visible.stream().anyMatch(row -> KnownNames.inCapitals(row.format(object)).contains(part));
    }

    private static Comparator<Object> order(String text, List<Property> properties) {
        boolean isDown = text.startsWith("-");
        Property column = column(SORT, isDown ? text.substring(1) : text, properties);
        Comparator<Object> order = (one, other) -> compare(Property.get(one, column.fields().get(0)),
                Property.get(other, column.fields().get(0)), column.format(one), column.format(other));
        return isDown ? order.reversed() : order;
    }

    private static int compare(Object one, Object other, String oneText, String otherText) {
        if (one instanceof Number number && other instanceof Number second) {
            return Long.compare(number.longValue(), second.longValue());
        }
        return oneText.compareToIgnoreCase(otherText);
    }
}
