package com.qel.internet.rk.console;

import java.lang.reflect.Field;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Map;

/**
 * A row of the table of an object's fields: what a field means, and the option that changes it.
 *
 * @param fields the field's name; several where one option and one flag govern them together
 * @param label  what it is, for people
 * @param kind   what its value is
 * @param limit  the most bytes of a text; 0 for no limit
 * @param option the option that gives the value; null where it is only read
 * @param flag   the flag field that marks the setting as changed; null where there is none
 * @param shown  whether it is printed: some settings can only be written
 * @param domain which values it takes
 */
record Property(List<String> fields, String label, Kind kind, int limit, String option, String flag, boolean shown,
        Domain domain) {

    /** The type of a rule whose ranges are addresses. */
    static final int ADDRESS_RULE = 1;

    /** {@return a field that is only read} */
    static Property read(String field, String label, Kind kind) {
        return new Property(List.of(field), label, kind, 0, null, null, true, Domain.ANY);
    }

    /** {@return a setting: printed, and changed by an option; a new object has the kind's usual value} */
    static Property setting(String field, String label, Kind kind, String option, String flag) {
        Domain domain = new Domain(null, "", kind.initial, null, null);
        return new Property(List.of(field), label, kind, 0, option, flag, true, domain);
    }

    /** {@return the same property, for a text of at most this many bytes} */
    Property atMost(int bytes) {
        return new Property(fields, label, kind, bytes, option, flag, shown, domain);
    }

    /** {@return the same property, governing these further fields too} */
    Property and(String... further) {
        List<String> all = new ArrayList<>(fields);
        all.addAll(List.of(further));
        return new Property(all, label, kind, limit, option, flag, shown, domain);
    }

    /** {@return the same property, for a setting that cannot be read back} */
    Property writtenOnly() {
        Domain unknown = new Domain(domain.words(), domain.range(), null, null, null);
        return new Property(fields, label, kind, limit, option, flag, false, unknown);
    }

    /** {@return the same property, whose values have names} */
    Property named(Words words) {
        return in(new Domain(words, domain.range(), domain.initial(), domain.inherits(), domain.atMost()));
    }

    /** {@return the same property, for values within a range, which help tells} */
    Property within(String range) {
        return in(new Domain(domain.words(), range, domain.initial(), domain.inherits(), domain.atMost()));
    }

    /** {@return the same property, with this value in a new object; null where nobody can say} */
    Property initially(String value) {
        return in(new Domain(domain.words(), domain.range(), value, domain.inherits(), domain.atMost()));
    }

    /** {@return the same property, which a new object takes from this option of the object above it} */
    Property inherits(String above) {
        return in(new Domain(domain.words(), domain.range(), domain.initial(), above, domain.atMost()));
    }

    /** {@return the same property, which is in a new object at most what this option of the object above it says} */
    Property initiallyAtMost(String above) {
        return in(new Domain(domain.words(), domain.range(), domain.initial(), domain.inherits(), above));
    }

    private Property in(Domain changed) {
        return new Property(fields, label, kind, limit, option, flag, shown, changed);
    }

    /** {@return how help calls the option's value} */
    String argument() {
        boolean isOne = kind == Kind.RULE_BOUND || kind == Kind.LISTENERS;
        return isOne ? kind.argument : String.join(",", Collections.nCopies(fields.size(), kind.argument));
    }

    /** {@return values that completion offers; none where there are too many} */
    List<String> candidates() {
        if (domain.words() != null) {
            return List.copyOf(domain.words().names());
        }
        return kind == Kind.SWITCH ? List.of("on", "off") : List.of();
    }

    /** {@return what help says about the option} */
    String help() {
        String bounds = domain.range().isEmpty() ? kind.bounds() : "";
        return Character.toUpperCase(label.charAt(0)) + label.substring(1) + domain.help() + bounds + "."
                + domain.initialHelp();
    }

    /** {@return the values as people read them} */
    String format(Object object) {
        if (kind == Kind.RULE_BOUND) {
            return kind.format(get(object, boundField(object)));
        }
        List<String> values = new ArrayList<>();
        for (String field : fields) {
            values.add(kind.format(get(object, field)));
        }
        return String.join(",", values);
    }

    /** {@return the values as they are typed for the option; for listeners, one a line} */
    String typed(Object object) {
        if (kind == Kind.RULE_BOUND) {
            return kind.typed(get(object, boundField(object)));
        }
        List<String> values = new ArrayList<>();
        for (String field : fields) {
            Object value = get(object, field);
            values.add(domain.words() == null ? kind.typed(value) : domain.words().name(((Number) value).longValue()));
        }
        return String.join(",", values);
    }

    /** The bound of a rule is an address or a number, as the rule's type says. */
    private String boundField(Object rule) {
        return fields.get(((Number) get(rule, "RuleType")).intValue() == ADDRESS_RULE ? 1 : 0);
    }

    /** Takes what was typed into the object, and marks the setting as changed. */
    void set(Object object, String text) {
        switch (kind) {
            case RULE_BOUND -> {
                // Both ways to read it travel: the native method takes the one that goes with the rule's type.
                put(object, fields.get(0), Kind.isNumber(text) ? Kind.INT.parse(text, 0) : 0L);
                put(object, fields.get(1), text);
            }
            case LISTENERS -> text.lines().forEach(line -> ServerCommands.addListener(object, line));
            default -> setEach(object, text);
        }
        if (flag != null) {
            put(object, flag, 1L);
        }
    }

    private void setEach(Object object, String text) {
        String[] parts = fields.size() == 1 ? new String[] {text} : text.split(",", -1);
        if (parts.length != fields.size()) {
            throw new UsageError("'" + text + "' is not " + fields.size() + " values with commas between them");
        }
        for (int i = 0; i < parts.length; i++) {
            put(object, fields.get(i), parse(parts[i]));
        }
    }

    private Object parse(String text) {
        Words words = domain.words();
        if (words == null || Kind.isNumber(text)) {
            return kind.parse(text, limit);
        }
        Integer number = words.numbers().get(text);
        if (number == null) {
            throw new UsageError("'" + text + "' is not a number, nor one of " + String.join(", ", words.names()));
        }
        return number;
    }

    /** {@return the value of a field of an object, or of a row; a char as its number} */
    static Object get(Object object, String field) {
        if (object instanceof Map<?, ?> row) {
            return row.get(field);
        }
        try {
            Object value = object.getClass().getField(field).get(object);
            return value instanceof Character character ? (Object) (int) character : value;
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException(e);
        }
    }

    /** Sets a field, whose type may be narrower than the value's. */
    static void put(Object object, String name, Object value) {
        try {
            Field field = object.getClass().getField(name);
            Class<?> type = field.getType();
            if (type == int.class) {
                field.setInt(object, ((Number) value).intValue());
            } else if (type == byte.class) {
                field.setByte(object, ((Number) value).byteValue());
            } else if (type == char.class) {
                field.setChar(object, (char) ((Number) value).intValue());
            } else {
                field.set(object, value);
            }
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException(e);
        }
    }
}
