package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNServer;
import java.time.Duration;
import java.util.List;

/**
 * The addresses at which a server takes connections. They and their time-outs travel together.
 *
 * @param each            the listeners; the executor has room for two
 * @param connectTimeout  how long connecting may take, whole seconds
 * @param waitForComplete how long to wait for the end of a connection, whole seconds
 */
public record Listeners(List<Listener> each, Duration connectTimeout, Duration waitForComplete) {
    /**
     * Keeps a list that does not change any more.
     *
     * @param each            the listeners
     * @param connectTimeout  how long connecting may take
     * @param waitForComplete how long to wait for the end of a connection
     * @throws IllegalArgumentException when a time is no number of seconds that an int holds
     */
    public Listeners {
        each = List.copyOf(each);
        Values.seconds(connectTimeout, "connect time-out");
        Values.seconds(waitForComplete, "wait for complete");
    }

    /**
     * Listeners whose time-outs are zero.
     *
     * @param each the listeners
     * @return all of them
     */
    public static Listeners of(Listener... each) {
        return new Listeners(List.of(each), Duration.ZERO, Duration.ZERO);
    }

    static Listeners of(CMNServer from) {
        return new Listeners(from.listeners.stream().map(Listener::of).toList(),
                Duration.ofSeconds(from.iConnectTimeout), Duration.ofSeconds(from.iWaitForComplete));
    }

    void putInto(CMNServer server) {
        each.forEach(listener -> server.addListener(listener.toNative()));
        server.iConnectTimeout = (int) connectTimeout.getSeconds();
        server.iWaitForComplete = (int) waitForComplete.getSeconds();
        server.SetListeners = 1;
    }
}
