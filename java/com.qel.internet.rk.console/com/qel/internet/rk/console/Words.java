package com.qel.internet.rk.console;

import java.util.Collection;
import java.util.LinkedHashMap;
import java.util.Map;

/**
 * The values of a setting that have names. Each may be typed by its name or by its number.
 *
 * @param numbers the numbers by the names
 */
record Words(Map<String, Integer> numbers) {
    static final Words PORT_TYPE = of("tcp-and-udp", 0, "tcp", 1, "udp", 2);
    static final Words METHOD = of("link", 1, "nat", 2, "content", 3);
    static final Words PROTOCOL = of("none", 0, "http", 1, "tls", 2);
    static final Words RULE_TYPE = of("always", 0, "address", 1, "hour", 2, "client-port", 3, "weekday", 4, "service", 7,
            "content", 8);

    private static Words of(Object... namesAndNumbers) {
        Map<String, Integer> numbers = new LinkedHashMap<>();
        for (int i = 0; i < namesAndNumbers.length; i += 2) {
            numbers.put((String) namesAndNumbers[i], (Integer) namesAndNumbers[i + 1]);
        }
        return new Words(numbers);
    }

    /** {@return the names} */
    Collection<String> names() {
        return numbers.keySet();
    }

    /** {@return the name of a number, or the number where it has none} */
    String name(long number) {
        return numbers.entrySet().stream()
                .filter(entry -> entry.getValue() == number)
                .map(Map.Entry::getKey)
                .findFirst()
                .orElse(Long.toString(number));
    }
}
