package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.function.ToIntBiFunction;

/**
 * A server of a port. This names it, and holds nothing of it: each method asks or changes the executor.
 * {@link Port#server} makes one.
 */
public final class Server {
    private final Channel channel;
    private final Name name;

    // What a change of a thousand weights looks at, without going on to each name.
    private final int key;
    private Object mark;

    Server(Channel channel, Name name) {
        this.channel = channel;
        this.name = name;
        this.key = name.key();
    }

    /** {@return the identifier} */
    public String name() {
        return name.text();
    }

    /** {@return the key by which the executor knows the identifier} */
    public int key() {
        return key;
    }

    /** {@return the port} */
    public Port port() {
        return new Port(channel, name.cluster(), name.port());
    }

    /**
     * Adds the server.
     *
     * @param settings its listeners, and what else is not to be as it is for new servers
     * @return this server
     * @throws ExecutorException        when the executor refuses; when another server has the same key, it is named
     * @throws IllegalArgumentException when the name is empty, or has a plus sign: it could not be listed
     */
    public Server add(ServerSettings settings) {
        CMNServer server = identified(settings.toNative());
        channel.add(name, natives -> natives.addServerNative(server));
        return this;
    }

    /**
     * Changes settings.
     *
     * @param settings those that are given change
     * @throws ExecutorException when the executor refuses
     */
    public void change(ServerSettings settings) {
        perform(settings.toNative(), CMNExecutorInterface::setServerStatusNative);
    }

    /**
     * Removes the server.
     *
     * @throws ExecutorException when the executor refuses
     */
    public void remove() {
        channel.remove(name, natives -> natives.removeServerNative(identified(new CMNServer())));
    }

    /**
     * Marks the server up: it takes connections again, with the weight that it had.
     *
     * @throws ExecutorException when the executor refuses
     */
    public void up() {
        perform(new CMNServer(), CMNExecutorInterface::setServerUpNative);
    }

    /**
     * Marks the server down: it takes no connections.
     *
     * @throws ExecutorException when the executor refuses
     */
    public void down() {
        perform(new CMNServer(), CMNExecutorInterface::setServerDownNative);
    }

    /**
     * Reads the settings.
     *
     * @return the settings
     * @throws ExecutorException when the executor refuses
     */
    public ServerStatus status() {
        return ServerStatus.of(perform(new CMNServer(), CMNExecutorInterface::getServerStatusNative));
    }

    /**
     * Reads the counters.
     *
     * @return the counters
     * @throws ExecutorException when the executor refuses
     */
    public ServerReport report() {
        return ServerReport.of(perform(new CMNServer(), CMNExecutorInterface::getServerReportNative));
    }

    /**
     * Sets the counter of connections per second.
     *
     * @param rate what it is to be
     * @throws ExecutorException when the rate or the server's key is negative, or the executor refuses
     */
    public void setConnectionsPerSecond(int rate) {
        CMNServer server = new CMNServer();
        server._iCPSCount = rate;
        perform(server, CMNExecutorInterface::setServerCPSNative);
    }

    /**
     * Goes on only when this is a server of a port.
     *
     * @throws IllegalArgumentException when it is none
     */
    void requireOf(Port port) {
        if (!port.has(channel, name.place())) {
            throw new IllegalArgumentException(this + " is no server of " + port);
        }
    }

    /**
     * Goes on only when the executor would not take another server for this one, which has its port's mark then as long
     * as it is known; for who has the lock.
     */
    void requireOwnKey(Names names) {
        names.requireOwnKey(name);
        if (names.isKnown(name)) { // one that is not there may have another's key as soon as that is added
            mark = names.markOf(name.place());
        }
    }

    /** {@return whether this is one of the servers that a mark stands for: {@link Names#markOf}} */
    boolean hasMark(Object other) {
        return mark == other;
    }

    Name identity() {
        return name;
    }

    private CMNServer perform(CMNServer server, ToIntBiFunction<CMNExecutorInterface, Object> method) {
        identified(server);
        channel.perform(this, Family.SERVER, name, natives -> method.applyAsInt(natives, server));
        return server;
    }

    CMNServer identified(CMNServer server) {
        server.ClusterId = name.cluster().text();
        server.Port = name.port();
        server.sServerID = name.text();
        server.iServerIdKey = name.key();
        return server;
    }

    /** {@return whether the other is the server of the same name, of the same port} */
    @Override
    public boolean equals(Object other) {
        return other instanceof Server server && server.channel == channel && server.name.isSameAs(name);
    }

    /** {@return a number that is the same for equal servers} */
    @Override
    public int hashCode() {
        return name.key();
    }

    /** {@return what it is, for people} */
    @Override
    public String toString() {
        return name.toString();
    }
}
