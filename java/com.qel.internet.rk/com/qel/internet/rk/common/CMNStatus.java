package com.qel.internet.rk.common;

import java.util.ArrayList;
import java.util.List;

/** Turns the status that a native method returned into words. */
public final class CMNStatus {
    /** The family of methods that a status came from: a few numbers mean different things in different families. */
    public enum Family {
        /** Methods of no family below: presence, user-space executor, keys. */
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
        RULE
    }

    /** What a status means; family is null where it means the same everywhere. */
    private record Row(int status, Family family, String meaning) {
    }

    private static final List<Row> ROWS = List.of(
            new Row(0, null, "success"),
            new Row(-1, null, "the executor refused the command, or cannot be reached"),
            new Row(-3, Family.CLUSTER, "the address does not parse, or is not usable for a cluster"),
            new Row(-3, Family.PORT, "the address of the cluster does not parse"),
            new Row(-4, null, "the cluster exists already"),
            new Row(-5, null, "the cluster does not exist"),
            new Row(-10, Family.SERVER,
                    "the port number is outside 0 to 65535, or there is no room for the server's listeners"),
            new Row(-10, null, "the port number is outside 0 to 65535"),
            new Row(-12, null, "the port does not exist"),
            new Row(-14, null, "the port exists already"),
            new Row(-17, null, "a listener of the server cannot be obtained"),
            new Row(-18, null, "the server exists already"),
            new Row(-19, null, "the server does not exist"),
            new Row(-20, null, "the weight is negative, or above the weight bound of the port"),
            new Row(-21, null, "the non-forwarding address does not parse"),
            new Row(-28, null, "out of memory"),
            new Row(-29, null, "the executor has as many clusters as it may have"),
            new Row(-30, null, "the cluster has as many ports as it may have"),
            new Row(-32, null, "the port has as many servers as it may have"),
            new Row(-38, null, "the forwarding method is unknown"),
            new Row(-43, null, "a collocated server cannot have a router address"),
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
            new Row(-99, null, "the executor refused the command"));

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
        return describe(status);
    }

    private static String describeUnlisted(int status) {
        return status > 0 ? "the device reported error number " + status : "a status of the executor's own";
    }
}
