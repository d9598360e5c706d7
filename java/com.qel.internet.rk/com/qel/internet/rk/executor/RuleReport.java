package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNRule;

/**
 * The counters of a rule.
 *
 * @param name                 name
 * @param uniqueId             number of the rule, unique in the executor
 * @param timesFired           how often the rule fired
 * @param servers              number of servers of the rule
 * @param activeConnections    active connections
 * @param bytesPerSecond       bytes per second now
 * @param connectionsPerSecond connections per second now
 */
public record RuleReport(String name, int uniqueId, int timesFired, int servers, int activeConnections,
        int bytesPerSecond, int connectionsPerSecond) {
    static RuleReport of(CMNRule from) {
        return new RuleReport(from.RuleName, from.iUniqueId, from.TimesFired, from.NumServers, from.ActiveConnections,
                from.iBytesPerSecond, from.iConnectionsPerSecond);
    }
}
