package com.qel.internet.rk.executor;

import java.lang.reflect.Field;
import java.net.InetAddress;
import java.time.Duration;
import java.util.HashMap;
import java.util.Map;
import java.util.function.BiFunction;

/**
 * A row of a table of settings: a field of an object that the native methods take, the flag that marks it as changed,
 * and what its value is.
 *
 * @param label what the setting is, for messages
 * @param field the field's name
 * @param flag  the flag field's name; null for a setting that travels with every change
 * @param kind  makes the field's value of one of Java's types, with the label for the message of its refusal
 */
record Row<V>(String label, String field, String flag, BiFunction<V, String, Object> kind) {
    /**
     * The public fields of the classes, by name: looking one up in the class itself takes longer than a native call.
     */
    private static final ClassValue<Map<String, Field>> FIELDS = new ClassValue<>() {
        @Override
        protected Map<String, Field> computeValue(Class<?> type) {
            Map<String, Field> fields = new HashMap<>();
            for (Field field : type.getFields()) {
                fields.put(field.getName(), field);
            }
            return fields;
        }
    };

    private static <V> Row<V> of(String label, String field, BiFunction<V, String, Object> kind) {
        return new Row<>(label, field, "Set" + field, kind);
    }

    static Row<Integer> number(String label, String field) {
        return of(label, field, (value, what) -> value);
    }

    /** {@return the row of a number that travels as so few bits that not every int is one} */
    static Row<Integer> number(String label, String field, int low, int high) {
        return of(label, field, (value, what) -> Values.within(value, low, high, what));
    }

    static Row<Boolean> onOff(String label, String field) {
        return of(label, field, (value, what) -> value ? 1 : 0);
    }

    static Row<Duration> seconds(String label, String field) {
        return of(label, field, Values::seconds);
    }

    /** {@return the row of a text of at most this many bytes} */
    static Row<String> text(String label, String field, int most) {
        return of(label, field, (value, what) -> Values.text(value, most, what));
    }

    /** {@return the row of an IPv4 address that travels as a text} */
    static Row<InetAddress> address(String label, String field) {
        return of(label, field, Values::dotted);
    }

    static Row<InetAddress> addressBytes(String label, String field) {
        return of(label, field, Values::bytes4);
    }

    static Row<InetAddress> address6Bytes(String label, String field) {
        return of(label, field, Values::bytes16);
    }

    /** {@return the same row with a flag that is not named after the field} */
    Row<V> flag(String name) {
        return new Row<>(label, field, name, kind);
    }

    /** {@return the value of the field for a value of Java's} */
    Object fieldValue(V value) {
        return kind.apply(value, label);
    }

    /** Sets the field, and the flag with it. */
    void put(Object object, Object fieldValue) {
        Map<String, Field> fields = FIELDS.get(object.getClass());
        set(object, fields.get(field), fieldValue);
        if (flag != null) {
            set(object, fields.get(flag), 1);
        }
    }

    private static void set(Object object, Field field, Object value) {
        try {
            Class<?> type = field.getType();
            if (type == int.class) {
                field.setInt(object, (Integer) value);
            } else if (type == byte.class) {
                field.setByte(object, ((Integer) value).byteValue());
            } else if (type == char.class) {
                field.setChar(object, (char) ((Integer) value).intValue());
            } else {
                field.set(object, value);
            }
        } catch (IllegalAccessException e) {
            throw new IllegalStateException(e);
        }
    }
}
