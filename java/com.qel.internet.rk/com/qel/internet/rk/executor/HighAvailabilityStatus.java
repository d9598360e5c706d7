package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNHAStatus;
import java.net.InetAddress;
import java.util.List;
import java.util.function.IntFunction;
import java.util.stream.IntStream;

/**
 * The state of high availability. The executor gives the numbers their meaning.
 *
 * @param address      address of the state machine
 * @param mode         mode
 * @param role         role of this load balancer
 * @param strategy     strategy by which a load balancer that was down gets its role back
 * @param state        state
 * @param substate     substate
 * @param port         port on which the partners talk; 0 for no partner
 * @param peer         state of the partner
 * @param heartbeats   the heartbeats
 * @param reachTargets the reach targets
 */
public record HighAvailabilityStatus(InetAddress address, int mode, int role, int strategy, int state, int substate,
        int port, int peer, List<Heartbeat> heartbeats, List<ReachTarget> reachTargets) {
    static HighAvailabilityStatus of(CMNHAStatus from) {
        return new HighAvailabilityStatus(Values.address(from.haFsmAddress), from.haFsmMode, from.haRole,
                from.haStrategy, from.haState, from.haSubstate, from.haPort, from.haPeer,
                rows(from.haHBCount, i -> new Heartbeat(Values.address(from.haLocal_Address[i]),
                        Values.address(from.haRemote_Address[i]), from.haStatus[i])),
                rows(from.haReachCount, i -> new ReachTarget(Values.address(from.haAddress[i]),
                        Values.address(from.haMask[i]), from.haType[i], from.haAddress_status[i], from.haLTimeStamp[i],
                        from.haRemote_status[i], from.haRTimeStamp[i])));
    }

    /** {@return as many rows as there are, and as the arrays have room for} */
    private static <T> List<T> rows(int count, IntFunction<T> row) {
        return IntStream.range(0, Math.min(count, CMNHAStatus.CAPACITY)).mapToObj(row).toList();
    }
}
