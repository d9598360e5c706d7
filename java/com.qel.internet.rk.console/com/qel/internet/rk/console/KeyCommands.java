package com.qel.internet.rk.console;

import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

/** Identifier keys. */
@Command(name = "key", description = "Keys: the numbers by which the executor knows identifiers.")
final class KeyCommands {
    private final Session session;

    KeyCommands(Session session) {
        this.session = session;
    }

    @Command(description = "Show the key of an identifier.")
    void of(@Parameters(paramLabel = "IDENTIFIER", description = "Identifier of a cluster or server.")
            String identifier) {
        int key = session.natives().calcClusterIdKeyNative(identifier, "");
        session.output.value("key", session.output.json ? key : Kind.KEY.format(key) + " (" + key + ")");
    }

    @Command(description = "Tell the library whether cluster identifiers are addresses. Keys do not depend on it.")
    void flag(@Parameters(paramLabel = "N", description = "1 if they are, 0 if not.") int flag) {
        session.natives().setKeyIsIpAddrNative(flag);
        session.output.done();
    }
}
