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
 */
record Property(List<String> fields, String label, Kind kind, int limit, String option, String flag, boolean shown) {

    /** The type of a rule whose ranges are addresses. */
    static final int ADDRESS_RULE = 1;

    /** {@return a field that is only read} */
    static Property read(String field, String label, Kind kind) {
        return new Property(List.of(field), label, kind, 0, null, null, true);
    }

    /** {@return a setting: printed, and changed by an option} */
    static Property setting(String field, String label, Kind kind, String option, String flag) {
        return new Property(List.of(field), label, kind, 0, option, flag, true);
    }

    /** {@return the same property, for a text of at most this many bytes} */
    Property atMost(int bytes) {
        return new Property(fields, label, kind, bytes, option, flag, shown);
    }

    /** {@return the same property, governing these further fields too} */
    Property and(String... further) {
        List<String> all = new ArrayList<>(fields);
        all.addAll(List.of(further));
        return new Property(all, label, kind, limit, option, flag, shown);
    }

    /** {@return the same property, for a setting that cannot be read back} */
    Property writtenOnly() {
        return new Property(fields, label, kind, limit, option, flag, false);
    }

    /** {@return how help calls the option's value} */
    String argument() {
        return String.join(",", Collections.nCopies(fields.size(), kind.argument));
    }

    /** {@return what help says about the option} */
    String help() {
        return Character.toUpperCase(label.charAt(0)) + label.substring(1) + kind.bounds() + ".";
    }

    /** {@return the values as people read them} */
    String format(Object object) {
        if (kind == Kind.RULE_BOUND) {
            boolean isAddress = ((Number) get(object, "RuleType")).intValue() == ADDRESS_RULE;
            return kind.format(get(object, fields.get(isAddress ? 1 : 0)));
        }
        List<String> values = new ArrayList<>();
        for (String field : fields) {
            values.add(kind.format(get(object, field)));
        }
        return String.join(",", values);
    }

    /** Takes what was typed into the object, and marks the setting as changed. */
    void set(Object object, String text) {
        String[] parts = fields.size() == 1 ? new String[] {text} : text.split(",", -1);
        if (parts.length != fields.size()) {
            throw new UsageError("'" + text + "' is not " + fields.size() + " values with commas between them");
        }
        for (int i = 0; i < parts.length; i++) {
            put(object, fields.get(i), kind.parse(parts[i], limit));
        }
        if (flag != null) {
            put(object, flag, 1L);
        }
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
