package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

/** Identifier keys. */
@Command(name = "key", description = "Keys: the numbers by which the executor knows identifiers.")
final class KeyCommands {
    private static final List<Property> COMPARED = List.of(
            read("key", "key", Kind.KEY),
            read("identifier", "identifier", Kind.TEXT));

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

    @Command(description = {"Show which of several identifiers have a key in common, and fail when some do.",
        "The executor takes the second of two with one key for the first."})
    void compare(@Parameters(paramLabel = "IDENTIFIER", arity = "2..*",
            description = "Identifiers of clusters, or of servers of one port.") List<String> identifiers) {
        Map<Integer, Set<String>> byKey = new LinkedHashMap<>();
        for (String identifier : identifiers) {
            int key = session.natives().calcClusterIdKeyNative(identifier, "");
            byKey.computeIfAbsent(key, none -> new LinkedHashSet<>()).add(identifier);
        }
        List<Map<String, Object>> rows = new ArrayList<>();
        byKey.entrySet().stream().filter(entry -> entry.getValue().size() > 1).forEach(entry -> entry.getValue()
                .forEach(identifier -> rows.add(Map.of("key", entry.getKey(), "identifier", identifier))));
        if (rows.isEmpty() && !session.output.json) {
            session.output.done();
            return;
        }
        session.output.table(rows, COMPARED);
        if (rows.isEmpty()) {
            return;
        }
        throw new Refusal(null, rows.size() + " of " + identifiers.size() + " identifiers have a key in common");
    }

    @Command(description = "Tell the library whether cluster identifiers are addresses. Keys do not depend on it.")
    void flag(@Parameters(paramLabel = "N", description = "1 if they are, 0 if not.") int flag) {
        session.natives().setKeyIsIpAddrNative(flag);
        session.output.done();
    }
}
