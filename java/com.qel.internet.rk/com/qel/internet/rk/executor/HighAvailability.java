package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNHAStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.net.InetAddress;
import java.util.List;

/**
 * High availability: the partner that takes over, the heartbeats between both, and the reach targets, addresses that
 * have to stay reachable. {@link Executor#highAvailability} makes one.
 */
public final class HighAvailability {
    private static final int REFUSED = -99;
    private static final int UNKNOWN_REACH_TARGET = -47;
    private static final String NO_TIME = "0";

    private final Channel channel;

    HighAvailability(Channel channel) {
        this.channel = channel;
    }

    /**
     * Reads the state.
     *
     * @return the state, with heartbeats and reach targets
     * @throws ExecutorException when the executor refuses
     */
    public HighAvailabilityStatus status() {
        CMNHAStatus status = new CMNHAStatus();
        channel.perform(this, Family.HIGH_AVAILABILITY, natives -> natives.getHAInfoNative(status));
        return HighAvailabilityStatus.of(status);
    }

    /**
     * Defines the partner. The native method does not tell whether the executor took it: the state is read
     * afterwards, and tells.
     *
     * @param role     role of this load balancer; of the executor that comes with the library, 0 for primary, 1 for
     *                 backup,
     *                 2 for both
     * @param strategy how a load balancer that was down gets its role back; of the executor that comes with the
     *                 library, 0
     *                 for by itself, 1 for by hand
     * @param port     port on which the partners talk, 1 to 65535
     * @throws ExecutorException when the executor has another role, strategy or port afterwards
     */
    public void definePartner(int role, int strategy, int port) {
        channel.withAnswer(this, natives -> {
            channel.check("partner", Family.HIGH_AVAILABILITY,
                    natives.backupAddNative(role, strategy, Integer.toString(port)));
            HighAvailabilityStatus now = status();
            if (now.role() != role || now.strategy() != strategy || now.port() != port) {
                throw refusal("the executor did not take it: role " + now.role() + ", strategy " + now.strategy()
                        + " and port " + now.port() + " stand");
            }
            return null;
        });
    }

    /**
     * Removes the partner. The native method does not tell whether the executor did so: the state is read before and
     * afterwards, and tells.
     *
     * @throws ExecutorException when there was none, or the port on which the partners talk still stands
     */
    public void removePartner() {
        channel.withAnswer(this, natives -> {
            if (status().port() == 0) {
                throw refusal("there is none");
            }
            channel.check("partner", Family.HIGH_AVAILABILITY, natives.backupDelNative());
            if (status().port() != 0) {
                throw refusal("the executor keeps it");
            }
            return null;
        });
    }

    /**
     * Adds a heartbeat.
     *
     * @param local   address of this load balancer
     * @param partner address of the partner
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when one is no IPv4 address
     */
    public void addHeartbeat(InetAddress local, InetAddress partner) {
        String from = Values.dotted(local, "local address");
        String to = Values.dotted(partner, "partner's address");
        channel.perform("heartbeat " + from + " to " + to, Family.HEARTBEAT, natives -> natives.addHBNative(from, to));
    }

    /**
     * Removes the heartbeats of an address.
     *
     * @param address the address at either end
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public void removeHeartbeat(InetAddress address) {
        String either = Values.dotted(address, "address");
        channel.perform("heartbeat of " + either, Family.HEARTBEAT, natives -> natives.delHBNative(either));
    }

    /**
     * Adds a reach target.
     *
     * @param address the address that has to stay reachable
     * @param mask    its mask; the library takes any but 255.255.255.255
     * @param type    its type; the executor gives the numbers their meaning
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when address or mask are none of IPv4
     */
    public void addReachTarget(InetAddress address, InetAddress mask, int type) {
        String target = Values.dotted(address, "address");
        String its = Values.dotted(mask, "mask");
        channel.perform("reach target " + target, Family.REACH, natives -> natives.addReachNative(target, its, type));
    }

    /**
     * Removes a reach target.
     *
     * @param address its address
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public void removeReachTarget(InetAddress address) {
        String target = Values.dotted(address, "address");
        channel.perform("reach target " + target, Family.REACH, natives -> natives.delReachNative(target));
    }

    /**
     * Changes type and status of a reach target. The executor knows it by its place in the list: it is looked up there.
     *
     * @param address its address
     * @param type    its type; the executor gives the numbers their meaning, as of the status
     * @param status  its status
     * @throws ExecutorException        when the executor refuses, or has no such target
     * @throws IllegalArgumentException when the address is none of IPv4
     */
    public void changeReachTarget(InetAddress address, int type, int status) {
        String what = "reach target " + Values.dotted(address, "address");
        channel.together(natives -> {
            List<InetAddress> targets = status().reachTargets().stream().map(ReachTarget::address).toList();
            if (!targets.contains(address)) {
                throw new ExecutorException(what, Family.REACH, UNKNOWN_REACH_TARGET, "there is none of this address");
            }
            channel.check(what, Family.REACH, natives.chgReachNative(targets.indexOf(address), type, status));
            return null;
        });
    }

    /**
     * Makes the executor take its own timers anew. The library sends none.
     *
     * @throws ExecutorException when the executor refuses
     */
    public void renewTimers() {
        channel.perform("timers", Family.HIGH_AVAILABILITY, natives ->
                natives.setTimersNative(NO_TIME, NO_TIME, NO_TIME, NO_TIME, NO_TIME, NO_TIME, NO_TIME));
    }

    /**
     * Takes over from the partner.
     *
     * @param address the address that is sent with it
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public void takeOver(InetAddress address) {
        String taken = Values.dotted(address, "address");
        channel.perform("take-over", Family.TAKEOVER, natives -> natives.takeoverNative(taken));
    }

    private static ExecutorException refusal(String meaning) {
        return new ExecutorException("partner", Family.HIGH_AVAILABILITY, REFUSED, meaning);
    }

    /** {@return what it is, for people} */
    @Override
    public String toString() {
        return "high availability";
    }
}
