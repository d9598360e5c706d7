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

    /** What a status is called, means and asks for; family is null where it means the same everywhere. */
    private record Row(int status, Family family, String name, String meaning, String advice) {
    }

    private static final List<Row> ROWS = List.of(
            new Row(0, null, "SUCCESS", "success", "nothing is to be done"),
            new Row(-1, Family.TAKEOVER, "BAD_TAKEOVER_ADDRESS",
                    "the address does not parse",
                    "give a dotted IPv4 address"),
            new Row(-1, Family.ALIAS, "COMMAND_NOT_RUN",
                    "the command that sets the interface cannot be run",
                    "look whether the process may start programs"),
            new Row(-1, Family.REASON, "UNKNOWN_PORT_OR_NO_EXECUTOR",
                    "the port does not exist, or the executor cannot be reached",
                    "add the port first; start the executor when it does not answer"),
            new Row(-1, null, "REFUSED_OR_NO_EXECUTOR",
                    "the executor refused the command, or cannot be reached",
                    "start the executor, or look into its log for why it refused"),
            new Row(-3, Family.CLUSTER, "BAD_CLUSTER_ADDRESS",
                    "the address does not parse, or is not usable for a cluster",
                    "give an IPv4 address that one host can have"),
            new Row(-3, Family.PORT, "BAD_CLUSTER_ADDRESS",
                    "the address of the cluster does not parse",
                    "give a dotted IPv4 address"),
            new Row(-4, null, "CLUSTER_EXISTS",
                    "the cluster exists already, or another one whose identifier has the same key",
                    "change the cluster that exists, or choose an identifier with another key"),
            new Row(-5, null, "UNKNOWN_CLUSTER", "the cluster does not exist", "add the cluster first"),
            new Row(-6, null, "BAD_TIMER",
                    "a timer is negative, or no number",
                    "give decimal numbers that are not negative"),
            new Row(-10, Family.SERVER, "BAD_PORT_OR_LISTENERS",
                    "the port number is outside 0 to 65535, or there is no room for the server's listeners",
                    "give a port number from 0 to 65535, and read into a new object"),
            new Row(-10, Family.HIGH_AVAILABILITY, "BAD_PARTNER_PORT",
                    "the port is outside 1 to 65535, or no number",
                    "give a port number from 1 to 65535"),
            new Row(-10, null, "BAD_PORT",
                    "the port number is outside 0 to 65535",
                    "give a port number from 0 to 65535"),
            new Row(-11, Family.REASON, "UNKNOWN_SERVER", "the server does not exist", "add the server first"),
            new Row(-12, null, "UNKNOWN_PORT", "the port does not exist", "add the port first"),
            new Row(-14, null, "PORT_EXISTS", "the port exists already", "change the port that exists"),
            new Row(-17, Family.SERVER, "NO_LISTENER",
                    "a listener of the server cannot be obtained",
                    "add each listener that is counted"),
            new Row(-17, Family.HIGH_AVAILABILITY, "TIMERS_REFUSED",
                    "the executor refused the timers",
                    "define the partner first"),
            new Row(-18, null, "SERVER_EXISTS",
                    "the server exists already, or another one whose identifier has the same key",
                    "change the server that exists, or choose an identifier with another key"),
            new Row(-19, null, "UNKNOWN_SERVER", "the server does not exist", "add the server first"),
            new Row(-20, null, "BAD_WEIGHT",
                    "the weight is negative, or above the weight bound of the port",
                    "give a smaller weight, or raise the weight bound of the port"),
            new Row(-21, null, "BAD_NON_FORWARDING_ADDRESS",
                    "the non-forwarding address does not parse",
                    "give a dotted IPv4 address"),
            new Row(-28, null, "OUT_OF_MEMORY", "out of memory", "free memory, or ask for less at once"),
            new Row(-29, null, "CLUSTER_LIMIT",
                    "the executor has as many clusters as it may have",
                    "raise the executor's limit, or remove a cluster"),
            new Row(-30, null, "PORT_LIMIT",
                    "the cluster has as many ports as it may have",
                    "raise the cluster's limit, or remove a port"),
            new Row(-32, null, "SERVER_LIMIT",
                    "the port has as many servers as it may have",
                    "raise the port's limit, or remove a server"),
            new Row(-34, null, "REACH_TARGET_REFUSED",
                    "the executor refused the reach target",
                    "look whether it exists already, whether address and mask are usable, and whether there is room"),
            new Row(-35, null, "HEARTBEAT_REFUSED",
                    "the executor refused the heartbeat",
                    "look into the executor's log for why"),
            new Row(-36, Family.REASON, "BAD_WEIGHT",
                    "the weight is negative, or above the weight bound of the port",
                    "give a smaller weight, or raise the weight bound of the port"),
            new Row(-36, null, "TAKEOVER_REFUSED", "the executor refused to take over", "define the partner first"),
            new Row(-38, null, "UNKNOWN_METHOD",
                    "the forwarding method is unknown",
                    "give a method that the executor knows"),
            new Row(-43, null, "COLLOCATED_WITH_ROUTER",
                    "a collocated server cannot have a router address",
                    "leave out one of both"),
            new Row(-44, null, "HEARTBEAT_EXISTS",
                    "there is a heartbeat between these addresses already",
                    "nothing is to be done: it is there"),
            new Row(-45, null, "HEARTBEAT_PAIR",
                    "the addresses make no heartbeat, or there are as many heartbeats as there may be",
                    "give two different addresses of hosts, or remove a heartbeat"),
            new Row(-46, Family.REACH, "BAD_REACH_MASK",
                    "the mask does not parse, or is 255.255.255.255",
                    "give a dotted mask other than 255.255.255.255"),
            new Row(-46, Family.HEARTBEAT, "BAD_FIRST_ADDRESS",
                    "the first address does not parse",
                    "give a dotted IPv4 address"),
            new Row(-47, Family.REACH, "UNKNOWN_REACH_TARGET",
                    "the address does not parse, or the executor has no such reach target to remove",
                    "give the address of a reach target that there is"),
            new Row(-47, Family.HEARTBEAT, "UNKNOWN_HEARTBEAT",
                    "the address, the second of two, does not parse, or the executor has no such heartbeat to"
                            + " remove",
                    "give the address of a heartbeat that there is"),
            new Row(-49, Family.EXECUTOR, "BAD_CLIENT_GATEWAY",
                    "the client gateway's address does not parse",
                    "give a dotted IPv4 address"),
            new Row(-49, Family.SERVER, "BAD_ROUTER_ADDRESS",
                    "the router address does not parse",
                    "give a dotted IPv4 address"),
            new Row(-50, null, "RULE_EXISTS", "the rule exists already", "change the rule that exists"),
            new Row(-51, null, "BAD_RULE_NAME",
                    "the rule name is missing, or longer than 20 characters",
                    "give a name of 1 to 20 characters"),
            new Row(-52, null, "BAD_RULE_TYPE", "the rule type is outside 0 to 9", "give a type from 0 to 9"),
            new Row(-53, null, "BAD_RANGE_BEGIN",
                    "the begin of the range is not an address",
                    "give a dotted IPv4 address"),
            new Row(-54, null, "BAD_RANGE_END", "the end of the range is not an address", "give a dotted IPv4 address"),
            new Row(-57, Family.PORT, "BAD_SERVER_LIMIT",
                    "the server limit is negative, or below the number of servers that the port has",
                    "give a higher limit, or remove servers first"),
            new Row(-57, Family.RULE, "UNKNOWN_RULE", "the rule does not exist", "add the rule first"),
            new Row(-58, Family.SERVER, "BAD_CONNECTION_LIMIT",
                    "the most connections per second are negative",
                    "give 0 for no limit, or a positive number"),
            new Row(-58, Family.RULE, "BAD_PRIORITY",
                    "the priority is out of range, or another rule of the port has it",
                    "give a priority that no other rule of the port has"),
            new Row(-59, null, "SERVER_NOT_IN_RULE", "the server is not in the rule", "list the servers of the rule"),
            new Row(-60, null, "SERVER_IN_RULE",
                    "the server is in the rule already",
                    "nothing is to be done: it is there"),
            new Row(-62, null, "NO_INTERFACE",
                    "no interface is on the address's subnet, no alias number of it is free, or what was given"
                            + " is no plain name, address or mask",
                    "name the interface and the mask"),
            new Row(-63, null, "NOT_CONFIGURED", "no alias carries the address", "configure the address first"),
            new Row(-65, null, "BAD_STICKY_BITS", "the sticky bits are outside 0 to 32", "give a number from 0 to 32"),
            new Row(-66, null, "BAD_STICKY_TIME",
                    "the sticky time is out of range",
                    "give a time that is not negative"),
            new Row(-67, null, "BAD_WEIGHT_BOUND",
                    "the weight bound is outside 1 to 100",
                    "give a bound from 1 to 100 that is not below the weight of a server"),
            new Row(-68, null, "CROSS_PORT_CHAIN",
                    "the cross port cannot be the port itself, nor a port that itself has a cross port",
                    "give a port of the cluster that has no cross port, or 0 for none"),
            new Row(-73, null, "BAD_STALE_TIMEOUT",
                    "the stale time-out is out of range",
                    "give a time that is not negative"),
            new Row(-74, null, "UNKNOWN_PROTOCOL",
                    "the protocol is unknown",
                    "give a protocol that the executor knows"),
            new Row(-75, null, "BAD_HALF_OPEN_LIMIT",
                    "the half-open limit is negative",
                    "give 0 for no limit, or a positive number"),
            new Row(-76, null, "BAD_RETURN_ADDRESS", "the return address does not parse", "give a dotted IPv4 address"),
            new Row(-78, null, "BAD_LISTENER",
                    "a listener is not usable, or there are more than two",
                    "give one or two listeners with ports from 0 to 65535"),
            new Row(-80, null, "NO_SERVER_IDENTIFIER", "the server identifier is missing", "give an identifier"),
            new Row(-82, null, "BAD_RANGE",
                    "the range is not valid for the rule's type, or begins above its end",
                    "give the begin first, and numbers or addresses as the type wants"),
            new Row(-84, null, "UNKNOWN_PORT_TYPE", "the port type is unknown", "give a type that the executor knows"),
            new Row(-85, null, "SERVER_IDENTIFIER_TOO_LONG",
                    "the server identifier is longer than 64 characters",
                    "choose a shorter identifier"),
            new Row(-88, null, "NO_CLUSTER_IDENTIFIER", "the cluster identifier is missing", "give an identifier"),
            new Row(-90, null, "CLUSTER_IDENTIFIER_TOO_LONG",
                    "the cluster identifier is longer than 64 characters",
                    "choose a shorter identifier"),
            new Row(-99, null, "REFUSED",
                    "the executor refused the command",
                    "look whether the values are ones that the executor knows; its log tells why it refused"),
            new Row(-100, Family.REASON, "NOT_STARTED", "the executor does not run", "start the executor"),
            new Row(-101, null, "TOO_MANY_AFFINITIES",
                    "there are more than 3000 affinity records",
                    "send them in several requests"),
            new Row(-102, null, "NO_AFFINITY_MEMORY",
                    "out of memory for the affinity records",
                    "free memory, or send fewer at once"),
            new Row(-103, Family.REASON, "OUT_OF_RANGE",
                    "a value is out of range",
                    "give usable addresses and numbers"),
            new Row(-104, Family.REASON, "OUT_OF_MEMORY",
                    "out of memory in the executor",
                    "free memory, or ask for less at once"),
            new Row(-112, Family.REASON, "CONNECTION_EXISTS",
                    "there is a connection between these ends already",
                    "remove it first"),
            new Row(-114, Family.REASON, "UNKNOWN_AFFINITY",
                    "the client has no affinity record",
                    "bind the client first"),
            new Row(-115, Family.REASON, "FORWARDING_REFUSED",
                    "what forwards the packets does not do it",
                    "look into the executor's log: it has the words of what forwards"));

    /** Statuses that have no row are of these, by what gave them. */
    private static final Row COMMAND_FAILED = new Row(0, Family.ALIAS, "COMMAND_FAILED", "",
            "run the command by hand, as the same user: interfaces are for root to change");
    private static final Row DEVICE_ERROR = new Row(0, null, "DEVICE_ERROR", "",
            "close the channel to the kernel executor, look whether it runs, and try again");
    private static final Row EXECUTOR_DEFINED = new Row(0, null, "EXECUTOR_DEFINED", "",
            "look the number up with the executor that is used");

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
        Row row = find(status, family);
        if (row != null) {
            return row.meaning;
        }
        return family == Family.ALIAS && status > 0 ? describeCommand(status) : describe(status);
    }

    /**
     * Names a status, for programs that tell statuses apart: the same number has different names in families where it
     * means different things.
     *
     * @param status what a native method returned
     * @param family the family of the method
     * @return the name, such as {@code UNKNOWN_CLUSTER}; {@code COMMAND_FAILED}, {@code DEVICE_ERROR} or
     *         {@code EXECUTOR_DEFINED} for a status that no family lists
     */
    public static String name(int status, Family family) {
        return rowFor(status, family).name;
    }

    /**
     * Says what to do about a status.
     *
     * @param status what a native method returned
     * @param family the family of the method
     * @return the advice, in words; never null
     */
    public static String advise(int status, Family family) {
        return rowFor(status, family).advice;
    }

    /** {@return the row of a status in a family; null when there is none} */
    private static Row find(int status, Family family) {
        for (Row row : ROWS) {
            if (row.status == status && (row.family == family || row.family == null)) {
                return row;
            }
        }
        return null;
    }

    /** {@return the row of a status: in the family, in any other, or by what gave it} */
    private static Row rowFor(int status, Family family) {
        Row row = find(status, family);
        if (row != null) {
            return row;
        }
        if (status > 0) {
            return family == Family.ALIAS ? COMMAND_FAILED : DEVICE_ERROR;
        }
        return ROWS.stream().filter(other -> other.status == status).findFirst().orElse(EXECUTOR_DEFINED);
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
