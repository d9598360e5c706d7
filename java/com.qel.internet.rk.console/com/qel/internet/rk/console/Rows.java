package com.qel.internet.rk.console;

import java.lang.reflect.Array;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * What belongs to an object and is printed below it, a row each.
 *
 * @param name       what the rows are, in JSON
 * @param rows       the rows: their values by the fields' names
 * @param properties the fields
 */
record Rows(String name, List<Map<String, Object>> rows, List<Property> properties) {
    /**
     * Takes the rows from an object that has an array for each of the fields.
     *
     * @param count how many there are, as the executor says; no more are taken than the arrays hold
     */
    static Rows ofArrays(String name, Object object, int count, List<Property> properties) {
        List<Map<String, Object>> rows = new ArrayList<>();
        int capacity = Array.getLength(Property.get(object, properties.get(0).fields().get(0)));
        for (int i = 0; i < Math.min(count, capacity); i++) {
            Map<String, Object> row = new LinkedHashMap<>();
            for (Property property : properties) {
                String field = property.fields().get(0);
                row.put(field, Array.get(Property.get(object, field), i));
            }
            rows.add(row);
        }
        return new Rows(name, rows, properties);
    }
}
