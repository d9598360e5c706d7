package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorStatus;
import java.time.Duration;

/**
 * What ports begin with that are added from now on, as {@link NewPortSettings} set it.
 *
 * @param maxServers   most servers
 * @param staleTimeout how long an idle connection is kept
 * @param stickyTime   how long a client stays with its server; zero for not at all
 * @param affinityType affinity type
 * @param weightBound  highest weight that a server may have
 * @param type         port type
 * @param replicate    what is replicated to the high-availability partner
 */
public record NewPortStatus(int maxServers, Duration staleTimeout, Duration stickyTime, int affinityType,
        int weightBound, int type, int replicate) {
    static NewPortStatus of(CMNExecutorStatus from) {
        return new NewPortStatus(from.DefaultPortMaxServers, Duration.ofSeconds(from.DefaultPortStaleTimeout),
                Duration.ofSeconds(from.DefaultPortStickyTime), from.DefaultPortAffinityType,
                from.DefaultPortWeightBound, from.DefaultPortType, from.DefaultPortReplicate);
    }

    static NewPortStatus of(CMNCluster from) {
        return new NewPortStatus(from.DefaultPortMaxServers, Duration.ofSeconds(from.DefaultPortStaleTimeout),
                Duration.ofSeconds(from.DefaultPortStickyTime), from.DefaultPortAffinityType,
                from.DefaultPortWeightBound, from.DefaultPortType, from.DefaultPortReplicate);
    }
}
