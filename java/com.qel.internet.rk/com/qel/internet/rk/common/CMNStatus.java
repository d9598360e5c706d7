package com.qel.internet.rk.common;

import java.util.ArrayList;
import java.util.List;

/** Turns the status that a native method returned into words. */
public final class CMNStatus {
    /** The family of methods that a status came from: a few numbers mean different things in different families. */
    public enum Family {
        /** Methods of no family below: presence, user-space executor, keys, attack protection and the like. */
        SYSTEM,
        /** The executor's settings and counters. */
        EXECUTOR,
        /** Clusters. */
        CLUSTER,
        /** Ports. */
        PORT,
        /** Servers. */
        SERVER,
        /** Server weights. */
        WEIGHTS,
        /** Rules, and the servers of a rule. */
        RULE,
        /** The state of high availability, its backup and its timers. */
        HIGH_AVAILABILITY,
        /** Reach targets of high availability. */
        REACH,
        /** Heartbeats of high availability. */
        HEARTBEAT,
        /** Take-over from the high-availability partner. */
        TAKEOVER,
        /** Cluster addresses on network interfaces: positive statuses are those of the command that was run. */
        ALIAS,
        /** Methods that return the executor's own reason: making connections by hand, server-directed affinity. */
        REASON
    }

    /** What a status means; family is null where it means the same everywhere. */
    private record Row(int status, Family family, String meaning) {
    }

    private static final List<Row> ROWS = List.of(
            new Row(0, null, "success"),
            new Row(-1, Family.TAKEOVER, "the address does not parse"),
            new Row(-1, Family.ALIAS, "the command that sets the interface cannot be run"),
            new Row(-1, Family.REASON, "the port does not exist, or the executor cannot be reached"),
            new Row(-1, null, "the executor refused the command, or cannot be reached"),
            new Row(-3, Family.CLUSTER, "the address does not parse, or is not usable for a cluster"),
            new Row(-3, Family.PORT, "the address of the cluster does not parse"),
            new Row(-4, null, "the cluster exists already, or another one whose identifier has the same key"),
            new Row(-5, null, "the cluster does not exist"),
            new Row(-6, null, "a timer is negative, or no number"),
            new Row(-10, Family.SERVER,
                    "the port number is outside 0 to 65535, or there is no room for the server's listeners"),
            new Row(-10, Family.HIGH_AVAILABILITY, "the port is outside 1 to 65535, or no number"),
            new Row(-10, null, "the port number is outside 0 to 65535"),
            new Row(-11, Family.REASON, "the server does not exist"),
            new Row(-12, null, "the port does not exist"),
            new Row(-14, null, "the port exists already"),
            new Row(-17, Family.SERVER, "a listener of the server cannot be obtained"),
            new Row(-17, Family.HIGH_AVAILABILITY, "the executor refused the timers"),
            new Row(-18, null, "the server exists already, or another one whose identifier has the same key"),
            new Row(-19, null, "the server does not exist"),
            new Row(-20, null, "the weight is negative, or above the weight bound of the port"),
            new Row(-21, null, "the non-forwarding address does not parse"),
            new Row(-28, null, "out of memory"),
            new Row(-29, null, "the executor has as many clusters as it may have"),
            new Row(-30, null, "the cluster has as many ports as it may have"),
            new Row(-32, null, "the port has as many servers as it may have"),
            new Row(-34, null, "the executor refused the reach target"),
            new Row(-35, null, "the executor refused the heartbeat"),
            new Row(-36, null, "the executor refused to take over"),
            new Row(-38, null, "the forwarding method is unknown"),
            new Row(-43, null, "a collocated server cannot have a router address"),
            new Row(-44, null, "there is a heartbeat between these addresses already"),
            new Row(-45, null, "the addresses make no heartbeat, or there are as many heartbeats as there may be"),
            new Row(-46, Family.REACH, "the mask does not parse, or is 255.255.255.255"),
            new Row(-46, Family.HEARTBEAT, "the first address does not parse"),
            new Row(-47, Family.REACH,
                    "the address does not parse, or the executor has no such reach target to remove"),
            new Row(-47, Family.HEARTBEAT,
                    "the address, the second of two, does not parse, or the executor has no such heartbeat to remove"),
            new Row(-49, Family.EXECUTOR, "the client gateway's address does not parse"),
            new Row(-49, Family.SERVER, "the router address does not parse"),
            new Row(-50, null, "the rule exists already"),
            new Row(-51, null, "the rule name is missing, or longer than 20 characters"),
            new Row(-52, null, "the rule type is outside 0 to 9"),
            new Row(-53, null, "the begin of the range is not an address"),
            new Row(-54, null, "the end of the range is not an address"),
            new Row(-57, Family.PORT, "the server limit is negative, or below the number of servers that the port has"),
            new Row(-57, Family.RULE, "the rule does not exist"),
            new Row(-58, Family.SERVER, "the most connections per second are negative"),
            new Row(-58, Family.RULE, "the priority is out of range, or another rule of the port has it"),
            new Row(-59, null, "the server is not in the rule"),
            new Row(-60, null, "the server is in the rule already"),
            new Row(-62, null, "no interface is on the address's subnet, no alias number of it is free, or what was"
                    + " given is no plain name, address or mask"),
            new Row(-63, null, "no alias carries the address"),
            new Row(-65, null, "the sticky bits are outside 0 to 32"),
            new Row(-66, null, "the sticky time is out of range"),
            new Row(-67, null, "the weight bound is outside 1 to 100"),
            new Row(-68, null, "the cross port cannot be the port itself, nor a port that itself has a cross port"),
            new Row(-73, null, "the stale time-out is out of range"),
            new Row(-74, null, "the protocol is unknown"),
            new Row(-75, null, "the half-open limit is negative"),
            new Row(-76, null, "the return address does not parse"),
            new Row(-78, null, "a listener is not usable, or there are more than two"),
            new Row(-80, null, "the server identifier is missing"),
            new Row(-82, null, "the range is not valid for the rule's type, or begins above its end"),
            new Row(-84, null, "the port type is unknown"),
            new Row(-85, null, "the server identifier is longer than 64 characters"),
            new Row(-88, null, "the cluster identifier is missing"),
            new Row(-90, null, "the cluster identifier is longer than 64 characters"),
            new Row(-99, null, "the executor refused the command"),
            new Row(-101, null, "there are more than 3000 affinity records"),
            new Row(-102, null, "out of memory for the affinity records"),
            new Row(-103, Family.REASON, "a value is out of range"),
            new Row(-112, Family.REASON, "there is a connection between these ends already"),
            new Row(-114, Family.REASON, "the client has no affinity record"));

    private CMNStatus() {
    }

    /**
     * Says what a status means. Where a number means different things in different families of methods, all are given.
     *
     * @param status what a native method returned
     * @return the meaning, in words; never null
     */
    public static String describe(int status) {
        List<String> meanings = new ArrayList<>();
        for (Row row : ROWS) {
            if (row.status == status && row.family == null) {
                return row.meaning;
            }
            if (row.status == status) {
                meanings.add(row.meaning);
            }
        }
        return meanings.isEmpty() ? describeUnlisted(status) : String.join("; or: ", meanings);
    }

    /**
     * Says what a status means in a family of methods.
     *
     * @param status what a native method returned
     * @param family the family of the method
     * @return the meaning, in words; never null
     */
    public static String describe(int status, Family family) {
        for (Row row : ROWS) {
            if (row.status == status && (row.family == family || row.family == null)) {
                return row.meaning;
            }
        }
        return family == Family.ALIAS && status > 0 ? describeCommand(status) : describe(status);
    }

    /** Says what a wait status means: that of a command, or of the shell that ran it. */
    private static String describeCommand(int status) {
        int signal = status & 0x7F;
        return "the command that sets the interface "
                + (signal == 0 ? "failed with exit status " + (status >> 8) : "was ended by signal " + signal);
    }

    private static String describeUnlisted(int status) {
        return status > 0 ? "the device reported error number " + status : "a status that the executor defines";
    }
}
