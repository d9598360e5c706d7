package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNPort;
import java.time.Duration;

/**
 * The settings of a port.
 *
 * @param number       port number
 * @param servers      number of servers
 * @param maxServers   most servers
 * @param staleTimeout how long an idle connection is kept
 * @param stickyTime   how long a client stays with its server; zero for not at all
 * @param stickyBits   leading bits of a client's address that count for affinity
 * @param weightBound  highest weight that a server may have
 * @param type         type, 0 to 255
 * @param method       forwarding method
 * @param protocol     protocol
 * @param replicate    what is replicated to the high-availability partner
 * @param maxHalfOpen  most half-open connections; 0 for no limit
 * @param crossPort    port whose affinity this one shares; 0 for none
 * @param sendReset    whether packets of no connection are answered with a reset
 */
public record PortStatus(int number, int servers, int maxServers, Duration staleTimeout, Duration stickyTime,
        int stickyBits, int weightBound, int type, int method, int protocol, int replicate, int maxHalfOpen,
        int crossPort, boolean sendReset) {
    static PortStatus of(CMNPort from) {
        return new PortStatus(from.PortNumber, from.NumServers, from.MaxNumberOfServers,
                Duration.ofSeconds(from.StaleTimeout), Duration.ofSeconds(from.StickyTime), from.iStickyBits,
                from.WeightBound, from.Type & 0xFF, from.iMethod, from.iPortProtocol, from.Replicate, from.iMaxHalfOpen,
                from.iCrossPort, from.SendReset != 0);
    }
}
