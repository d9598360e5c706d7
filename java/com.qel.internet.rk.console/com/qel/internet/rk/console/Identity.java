package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus;
import java.nio.charset.StandardCharsets;
import picocli.CommandLine.ParseResult;

/**
 * An argument that says which object a command is for.
 *
 * @param label    the argument's name; it tells completion which names to offer
 * @param help     what the argument is
 * @param kind     what its value is
 * @param field    the object's field that takes the value; null where a native method takes it by itself
 * @param keyField the object's field that takes the value's key; null where there is none
 * @param tooLong  the status for an identifier that is too long; 0 where the length does not matter here
 */
record Identity(String label, String help, Kind kind, String field, String keyField, int tooLong) {
    static final String CLUSTER = "CLUSTER";
    static final String PORT = "PORT";
    static final String SERVER = "SERVER";
    static final String RULE = "RULE";

    static final String CLUSTER_HELP = "Identifier of the cluster, at most 64 characters.";
    static final String PORT_HELP = "Port number, 0 to 65535.";
    static final String SERVER_HELP = "Identifier of the server, at most 64 characters.";
    static final String RULE_HELP = "Name of the rule, at most 20 characters.";

    private static final int LONGEST_IDENTIFIER = 64; // bytes of UTF-8
    private static final int CLUSTER_TOO_LONG = -90;
    private static final int SERVER_TOO_LONG = -85;

    /** {@return a cluster's identifier; keyField may be null} */
    static Identity cluster(String field, String keyField) {
        return new Identity(CLUSTER, CLUSTER_HELP, Kind.TEXT, field, keyField, CLUSTER_TOO_LONG);
    }

    /** {@return an argument that a native method takes by itself} */
    static Identity argument(String label, String help, Kind kind) {
        return new Identity(label, help, kind, null, null, 0);
    }

    static Identity port(String field) {
        return new Identity(PORT, PORT_HELP, Kind.INT, field, null, 0);
    }

    static Identity server(String field, String keyField) {
        return new Identity(SERVER, SERVER_HELP, Kind.TEXT, field, keyField, SERVER_TOO_LONG);
    }

    static Identity rule(String field) {
        return new Identity(RULE, RULE_HELP, Kind.TEXT, field, null, 0);
    }

    /**
     * Puts what was typed, and its key, into an object.
     *
     * @throws Refusal when the identifier is too long. Two long identifiers may have the same key, and not every native
     *                 method looks at the length: without this, a command could hit another object.
     */
    void put(Session session, Object object, String text) {
        if (tooLong != 0 && text.getBytes(StandardCharsets.UTF_8).length > LONGEST_IDENTIFIER) {
            throw new Refusal(tooLong, CMNStatus.describe(tooLong));
        }
        putUnchecked(object, text);
        if (keyField != null) {
            Property.put(object, keyField, session.natives().calcClusterIdKeyNative(text, ""));
        }
    }

    /** Puts what was typed into an object, for a native method that looks at the length and makes the key itself. */
    void putUnchecked(Object object, String text) {
        Property.put(object, field, value(text));
    }

    /** {@return what was typed as the argument at a place, for a native method that takes a text} */
    String text(ParseResult typed, int index) {
        return (String) value(typed.matchedPositionalValue(index, ""));
    }

    /** {@return the same, for a native method that takes an int; 0 when it was left out} */
    int number(ParseResult typed, int index) {
        return number(typed.matchedPositionalValue(index, "0"));
    }

    /** {@return what was typed, as an int} */
    int number(String text) {
        return ((Number) value(text)).intValue();
    }

    /** {@return what was typed, as a value of the argument's kind} */
    Object value(String text) {
        try {
            return kind.parse(text, 0);
        } catch (UsageError error) {
            throw new UsageError(label + ": " + error.getMessage());
        }
    }
}
