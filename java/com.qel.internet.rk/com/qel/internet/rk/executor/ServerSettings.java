package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNServer;
import java.net.InetAddress;
import java.util.Objects;

/**
 * Settings of a server, for {@link Server#add} and {@link Server#change}.
 *
 * <p>Settings are given one after the other, and each gives another object that has it too: one object may be kept,
 * shared, and continued in several ways. Of a setting that is given twice, the second counts.
 */
public final class ServerSettings {
    private static final Row<Integer> WEIGHT =
            Row.number("weight", "_iWeight", Short.MIN_VALUE, Short.MAX_VALUE).flag("SetWeight");
    private static final Row<Boolean> FIXED_WEIGHT = Row.onOff("fixed weight", "_bFixedWeight").flag("SetFixedWeight");
    private static final Row<InetAddress> RETURN_ADDRESS =
            Row.address("return address", "_sReturnAddress").flag("SetReturnAddress");
    private static final Row<InetAddress> ROUTER_ADDRESS =
            Row.address("router address", "_sRouterAddress").flag("SetRouterAddress");
    private static final Row<Boolean> COLLOCATED = Row.onOff("collocated", "bCollocated").flag("SetCollocated");
    private static final Row<Boolean> STICKY = Row.onOff("sticky", "bSticky").flag("SetSticky");
    private static final Row<Boolean> QUIESCED = Row.onOff("quiesced", "_iQuiesced").flag("SetQuiesced");
    private static final Row<String> ADVISOR_REQUEST =
            Row.text("advisor request", "_sAdvisorRequest", 255).flag("SetAdvisorRequest");
    private static final Row<String> ADVISOR_RESPONSE =
            Row.text("advisor response", "_sAdvisorResponse", 255).flag("SetAdvisorResponse");
    private static final Row<String> COOKIE_VALUE = Row.text("cookie value", "CookieValue", 99);
    private static final Row<String> CLONE_ID = Row.text("clone identifier", "CloneID", 105);
    private static final Row<Integer> MAX_CPS =
            Row.number("most connections per second", "_iCPSMaximum").flag("SetCPSMaximum");

    private static final ServerSettings NONE = new ServerSettings(Changes.NONE, null);

    private final Changes changes;
    private final Listeners listeners; // null when they stay as they are

    private ServerSettings(Changes changes, Listeners listeners) {
        this.changes = changes;
        this.listeners = listeners;
    }

    /** {@return no settings: all stay as they are, or as the executor has them for what is new} */
    public static ServerSettings none() {
        return NONE;
    }

    /**
     * Begins with what a new server needs most: its address.
     *
     * @param address an IPv4 address
     * @return the setting of the address
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public static ServerSettings at(InetAddress address) {
        return NONE.listeners(Listeners.of(new Listener(address)));
    }

    /**
     * Sets the weight: a server with twice the weight gets twice the connections.
     *
     * @param weight 0 to the port's weight bound; 16 bits travel
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside -32768 to 32767
     */
    public ServerSettings weight(int weight) {
        return with(WEIGHT, weight);
    }

    /**
     * Sets whether the weight stays as it is when weights are computed.
     *
     * @param fixed whether it does
     * @return these settings and this one
     */
    public ServerSettings fixedWeight(boolean fixed) {
        return with(FIXED_WEIGHT, fixed);
    }

    /**
     * Sets the address from which the executor contacts the server.
     *
     * @param address an IPv4 address
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public ServerSettings returnAddress(InetAddress address) {
        return with(RETURN_ADDRESS, address);
    }

    /**
     * Sets the router through which the server is reached.
     *
     * @param address an IPv4 address; 0.0.0.0 for none
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public ServerSettings routerAddress(InetAddress address) {
        return with(ROUTER_ADDRESS, address);
    }

    /**
     * Sets whether the server runs on the executor's own machine.
     *
     * @param collocated whether it does
     * @return these settings and this one
     */
    public ServerSettings collocated(boolean collocated) {
        return with(COLLOCATED, collocated);
    }

    /**
     * Sets whether clients stay with the server.
     *
     * @param sticky whether they do
     * @return these settings and this one
     */
    public ServerSettings sticky(boolean sticky) {
        return with(STICKY, sticky);
    }

    /**
     * Sets whether the server takes no new connections.
     *
     * @param quiesced whether it takes none
     * @return these settings and this one
     */
    public ServerSettings quiesced(boolean quiesced) {
        return with(QUIESCED, quiesced);
    }

    /**
     * Sets what an advisor asks the server.
     *
     * @param text at most 255 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public ServerSettings advisorRequest(String text) {
        return with(ADVISOR_REQUEST, text);
    }

    /**
     * Sets what an advisor expects of the server.
     *
     * @param text at most 255 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public ServerSettings advisorResponse(String text) {
        return with(ADVISOR_RESPONSE, text);
    }

    /**
     * Sets the value of the cookie that names the server.
     *
     * @param value at most 99 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public ServerSettings cookieValue(String value) {
        return with(COOKIE_VALUE, value);
    }

    /**
     * Sets the clone identifier.
     *
     * @param identifier at most 105 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public ServerSettings cloneId(String identifier) {
        return with(CLONE_ID, identifier);
    }

    /**
     * Limits the connections per second.
     *
     * @param most how many there may be; 0 for no limit
     * @return these settings and this one
     */
    public ServerSettings maxConnectionsPerSecond(int most) {
        return with(MAX_CPS, most);
    }

    /**
     * Sets at which addresses the server takes connections, and how long the executor waits for it there.
     *
     * @param listeners all of them: they take the place of those before
     * @return these settings and the listeners
     */
    public ServerSettings listeners(Listeners listeners) {
        return new ServerSettings(changes, Objects.requireNonNull(listeners, "listeners"));
    }

    /** {@return what was given} */
    @Override
    public String toString() {
        return listeners == null ? changes.toString() : changes + " " + listeners;
    }

    /** {@return an object for the native methods, with these settings and their flags} */
    CMNServer toNative() {
        CMNServer server = changes.putInto(new CMNServer());
        if (listeners != null) {
            listeners.putInto(server);
        }
        return server;
    }

    private <V> ServerSettings with(Row<V> row, V value) {
        return new ServerSettings(changes.and(row, value), listeners);
    }
}
