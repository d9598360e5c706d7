package com.qel.internet.rk.executor;

import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Objects;

/** Settings that were given, in their order. Never changes: giving one more makes another object that has all. */
final class Changes {
    static final Changes NONE = new Changes(null, null, null);

    private final Changes before;
    private final Row<?> row;
    private final Object fieldValue;

    private Changes(Changes before, Row<?> row, Object fieldValue) {
        this.before = before;
        this.row = row;
        this.fieldValue = fieldValue;
    }

    /**
     * {@return these settings and one more, which counts when it was given before}
     *
     * @throws IllegalArgumentException when the value would not arrive as it was given
     */
    <V> Changes and(Row<V> more, V value) {
        return new Changes(this, more, more.fieldValue(Objects.requireNonNull(value, more.label())));
    }

    /** {@return these settings, and others after them} */
    Changes and(Changes others) {
        return others == NONE ? this : new Changes(and(others.before), others.row, others.fieldValue);
    }

    boolean has(Row<?> wanted) {
        for (Changes each = this; each != NONE; each = each.before) {
            if (each.row == wanted) {
                return true;
            }
        }
        return false;
    }

    /** Sets fields and flags of an object that the native methods take. {@return the object} */
    <T> T putInto(T object) {
        if (this != NONE) {
            before.putInto(object);
            row.put(object, fieldValue);
        }
        return object;
    }

    /** {@return what was given, for people} */
    @Override
    public String toString() {
        return collect(new LinkedHashMap<>()).toString();
    }

    private Map<String, Object> collect(Map<String, Object> values) {
        if (this != NONE) {
            before.collect(values);
            values.put(row.label(), fieldValue);
        }
        return values;
    }
}
