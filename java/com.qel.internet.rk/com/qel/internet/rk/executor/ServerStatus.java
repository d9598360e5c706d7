package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNServer;
import java.net.InetAddress;

/**
 * The settings of a server.
 *
 * @param name                    identifier
 * @param listeners               the addresses at which it takes connections, and their time-outs
 * @param weight                  weight
 * @param fixedWeight             whether the weight stays as it is when weights are computed
 * @param returnAddress           address from which the executor contacts the server
 * @param routerAddress           router through which the server is reached; 0.0.0.0 for none
 * @param remote                  whether it is reached through a router
 * @param collocated              whether it runs on the executor's own machine
 * @param sticky                  whether clients stay with it
 * @param quiesced                whether it takes no new connections
 * @param advisorRequest          what an advisor asks it
 * @param advisorResponse         what an advisor expects of it
 * @param cookieValue             value of the cookie that names it
 * @param cloneId                 clone identifier
 * @param maxConnectionsPerSecond most connections per second; 0 for no limit
 */
public record ServerStatus(String name, Listeners listeners, int weight, boolean fixedWeight, InetAddress returnAddress,
        InetAddress routerAddress, boolean remote, boolean collocated, boolean sticky, boolean quiesced,
        String advisorRequest, String advisorResponse, String cookieValue, String cloneId,
        int maxConnectionsPerSecond) {
    static ServerStatus of(CMNServer from) {
        return new ServerStatus(from.sServerID, Listeners.of(from), from._iWeight, from._bFixedWeight != 0,
                Values.address(from._sReturnAddress), Values.address(from._sRouterAddress), from.IsRemote != 0,
                from.bCollocated != 0, from.bSticky != 0, from._iQuiesced != 0, from._sAdvisorRequest,
                from._sAdvisorResponse, from.CookieValue, from.CloneID, from._iCPSMaximum);
    }
}
