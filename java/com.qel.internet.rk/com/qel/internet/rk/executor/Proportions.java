package com.qel.internet.rk.executor;

/**
 * What a server's weight is made of: four shares, in per cent.
 *
 * @param activeConnections share of the active connections
 * @param newConnections    share of the new connections
 * @param portSpecific      share of the port's own measure
 * @param system            share of the server's system load
 */
public record Proportions(int activeConnections, int newConnections, int portSpecific, int system) {
}
