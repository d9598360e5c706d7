package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNListener;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import picocli.CommandLine.Model.CommandSpec;

/** Servers. */
final class ServerCommands {
    /** A listener: the first part of the option's value has no name, as in {@code 10.0.0.11,map-port=8080}. */
    static final List<Property> LISTENER_PARTS = List.of(
            setting("_iAddress", "address", Kind.HOST_ORDER_ADDRESS, "", null),
            setting("_iMapPort", "mapped port", Kind.INT, "map-port", null),
            setting("_iProtocol", "protocol", Kind.INT, "protocol", null),
            setting("_sKeyRing", "key ring", Kind.TEXT, "key-ring", null).atMost(255),
            setting("_sStashFile", "stash file", Kind.TEXT, "stash-file", null).atMost(255));

    private static final Table STATUS = Table.of(CMNServer::new,
            read("ClusterId", "cluster", Kind.TEXT),
            read("Port", "port", Kind.INT),
            read("sServerID", "identifier", Kind.TEXT),
            read("iServerIdKey", "key", Kind.KEY),
            setting("listeners", "listeners", Kind.LISTENERS, "--listener", "SetListeners"),
            setting("iConnectTimeout", "connect time-out", Kind.INT, "--connect-timeout", "SetListeners"),
            setting("iWaitForComplete", "wait for complete", Kind.INT, "--wait-for-complete", "SetListeners"),
            setting("_iWeight", "weight", Kind.INT16, "--weight", "SetWeight")
                    .within("0 to the weight bound of the port").initially("10").initiallyAtMost("--weight-bound"),
            setting("_bFixedWeight", "fixed weight", Kind.SWITCH, "--fixed-weight", "SetFixedWeight"),
            setting("_sReturnAddress", "return address", Kind.ADDRESS, "--return-address", "SetReturnAddress"),
            setting("_sRouterAddress", "router address", Kind.ADDRESS, "--router-address", "SetRouterAddress"),
            read("IsRemote", "remote", Kind.SWITCH),
            setting("bCollocated", "collocated", Kind.SWITCH, "--collocated", "SetCollocated"),
            setting("bSticky", "sticky", Kind.SWITCH, "--sticky", "SetSticky"),
            setting("_iQuiesced", "quiesced", Kind.SWITCH, "--quiesced", "SetQuiesced"),
            setting("_sAdvisorRequest", "advisor request", Kind.TEXT, "--advisor-request", "SetAdvisorRequest")
                    .atMost(255),
            setting("_sAdvisorResponse", "advisor response", Kind.TEXT, "--advisor-response", "SetAdvisorResponse")
                    .atMost(255),
            setting("CookieValue", "cookie value", Kind.TEXT, "--cookie-value", "SetCookieValue").atMost(99),
            setting("CloneID", "clone identifier", Kind.TEXT, "--clone-id", "SetCloneID").atMost(105),
            setting("_iCPSMaximum", "most connections per second", Kind.INT, "--max-cps", "SetCPSMaximum")
                    .within("0 (no limit) to 2147483647"));

    static final Level LEVEL = new Level("server", Family.SERVER, STATUS, CMNExecutorInterface::getServerStatusNative,
            CMNExecutorInterface::setServerStatusNative, CMNExecutorInterface::addServerNative,
            CMNExecutorInterface::removeServerNative, Identity.cluster("ClusterId", null), Identity.port("Port"),
            Identity.server("sServerID", "iServerIdKey"));

    static final Level.Native UP = CMNExecutorInterface::setServerUpNative;
    static final Level.Native DOWN = CMNExecutorInterface::setServerDownNative;

    private static final List<String> COLUMNS =
            List.of("sServerID", "listeners", "_iWeight", "_bFixedWeight", "bSticky", "_iQuiesced");

    private static final Table REPORT = Table.of(CMNServer::new,
            read("ClusterId", "cluster", Kind.TEXT),
            read("Port", "port", Kind.INT),
            read("sServerID", "identifier", Kind.TEXT),
            read("iServerIdKey", "key", Kind.KEY),
            read("TotalConnections", "connections", Kind.INT),
            read("TotalTCPConnections", "TCP connections", Kind.INT),
            read("TotalUDPConnections", "UDP connections", Kind.INT),
            read("ActiveConnections", "active connections", Kind.INT),
            read("FINishedConnections", "finished connections", Kind.INT),
            read("CompleteConnections", "completed connections", Kind.INT),
            read("_iSavedWeight", "saved weight", Kind.INT),
            read("iBytesPerSecond", "bytes per second", Kind.INT));

    private ServerCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        ObjectFamily servers = new ObjectFamily(session, LEVEL, "Servers of a port.");
        ObjectFamily.Extra listener = (typed, server) -> requireListener(server);
        servers.add("Add a server to a port.", STATUS, LEVEL.add(), listener);
        servers.set("Change settings of a server.", STATUS, LEVEL.change(), listener);
        servers.remove("Remove a server.", STATUS, LEVEL.remove());
        servers.act("up", "Mark a server up.", STATUS, UP);
        servers.act("down", "Mark a server down.", STATUS, DOWN);
        servers.show("status", "Show the settings of a server.", STATUS, LEVEL.read());
        servers.show("report", "Show the counters of a server.", REPORT, CMNExecutorInterface::getServerReportNative);
        servers.list("List the servers of a port.", STATUS, COLUMNS, LEVEL.read());
        servers.cps("Set the connections-per-second counter of a server.", STATUS, "_iCPSCount",
                CMNExecutorInterface::setServerCPSNative);

        ObjectFamily hosts = new ObjectFamily(session, Family.SERVER, "host",
                "All servers of a host. The library takes these commands and does nothing.",
                new Identity("HOST", "The host.", Kind.TEXT, "sServerID", null, 0));
        hosts.act("up", "Mark a host up.", STATUS, CMNExecutorInterface::setHostUpNative);
        hosts.act("down", "Mark a host down.", STATUS, CMNExecutorInterface::setHostDownNative);
        hosts.act("remove", "Remove a host.", STATUS, CMNExecutorInterface::removeHostNative);
        servers.definition().addSubcommand("host", hosts.definition());
        return servers.definition();
    }

    /** Gives a server one more listener. */
    static void addListener(Object server, String text) {
        ((CMNServer) server).addListener(parseListener(text));
    }

    private static void requireListener(Object object) {
        CMNServer server = (CMNServer) object;
        if (server.SetListeners == 1 && server._iNumListeners == 0) {
            throw new UsageError("--connect-timeout and --wait-for-complete need a --listener");
        }
    }

    private static CMNListener parseListener(String text) {
        CMNListener listener = new CMNListener();
        for (String part : ("=" + text).split(",", -1)) {
            String[] nameAndValue = part.split("=", 2);
            Property property = LISTENER_PARTS.stream()
                    .filter(row -> row.option().equals(nameAndValue[0]))
                    .findFirst()
                    .orElseThrow(() -> new UsageError("a listener has no part '" + part + "'"));
            property.set(listener, nameAndValue.length == 2 ? nameAndValue[1] : "");
        }
        return listener;
    }
}
