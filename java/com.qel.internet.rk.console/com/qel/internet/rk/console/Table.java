package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.List;
import java.util.function.Supplier;

/**
 * What the commands of a family have to do with one kind of object.
 *
 * @param create     makes an empty object
 * @param properties its fields, in the order in which they are printed
 */
record Table(Supplier<Object> create, List<Property> properties) {
    static Table of(Supplier<Object> create, Property... properties) {
        return new Table(create, List.of(properties));
    }

    /** {@return the same table, with further properties at its end} */
    Table with(List<Property> further) {
        List<Property> all = new ArrayList<>(properties);
        all.addAll(further);
        return new Table(create, all);
    }
}
