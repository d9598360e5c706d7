package com.qel.internet.rk.executor;

import java.util.List;

/**
 * Names that the executor cannot tell apart, as they have the same key.
 *
 * @param key   the key
 * @param names the names, two or more, in the order in which they were given
 */
public record KeyClash(int key, List<String> names) {
    /**
     * Keeps a list that does not change any more.
     *
     * @param key   the key
     * @param names the names
     */
    public KeyClash {
        names = List.copyOf(names);
    }
}
