package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import picocli.CommandLine.Model.CommandSpec;

/** Ports. */
final class PortCommands {
    private static final Table STATUS = Table.of(CMNPort::new,
            read("ClusterId", "cluster", Kind.TEXT),
            read("PortNumber", "port", Kind.INT),
            read("NumServers", "servers", Kind.INT),
            setting("MaxNumberOfServers", "most servers", Kind.INT, "--max-servers", "SetMaxNumberOfServers")
                    .initially("256").inherits("--default-max-servers"),
            setting("StaleTimeout", "stale time-out", Kind.INT, "--stale-timeout", "SetStaleTimeout")
                    .within("0 to 2147483647").initially("300").inherits("--default-stale-timeout"),
            setting("StickyTime", "sticky time", Kind.INT, "--sticky-time", "SetStickyTime")
                    .within("0 to 2147483647").inherits("--default-sticky-time"),
            setting("iStickyBits", "sticky bits", Kind.INT, "--sticky-bits", "SetStickyBits")
                    .within("0 to 32").initially("32"),
            setting("WeightBound", "weight bound", Kind.INT16, "--weight-bound", "SetWeightBound")
                    .within("1 to 100").initially("20").inherits("--default-weight-bound"),
            setting("Type", "type", Kind.UINT8, "--type", "SetType").named(Words.PORT_TYPE).within("0 to 2")
                    .initially("tcp-and-udp").inherits("--default-port-type"),
            setting("iMethod", "forwarding method", Kind.INT16, "--method", "SetMethod").named(Words.METHOD)
                    .within("1 to 3").initially("link"),
            setting("iPortProtocol", "protocol", Kind.UINT16, "--protocol", "SetPortProtocol")
                    .named(Words.PROTOCOL).within("0 to 2").initially("none"),
            setting("Replicate", "replication", Kind.UINT8, "--replicate", "SetReplicate")
                    .inherits("--default-replicate"),
            setting("iMaxHalfOpen", "most half-open connections", Kind.INT, "--max-half-open", "SetMaxHalfOpen")
                    .within("0 to 2147483647"),
            setting("iCrossPort", "cross port", Kind.UINT16, "--cross-port", "SetCrossPort"),
            setting("SendReset", "send resets", Kind.SWITCH, "--send-reset", "SetSendReset"));

    static final Level LEVEL = new Level("port", Family.PORT, STATUS, CMNExecutorInterface::getPortStatusNative,
            CMNExecutorInterface::setPortStatusNative, CMNExecutorInterface::addPortNative,
            CMNExecutorInterface::removePortNative, Identity.cluster("ClusterId", null), Identity.port("PortNumber"));

    private static final List<String> COLUMNS = List.of("PortNumber", "NumServers", "MaxNumberOfServers",
            "WeightBound", "StickyTime", "Type", "iPortProtocol");

    private static final Table REPORT = Table.of(CMNPort::new,
            read("ClusterId", "cluster", Kind.TEXT),
            read("PortNumber", "port", Kind.INT),
            read("NumServers", "servers", Kind.INT),
            read("NumNodesDown", "servers down", Kind.INT),
            read("NumNodesLocal", "servers on this machine", Kind.INT),
            read("MaxWeight", "highest weight", Kind.INT),
            read("ActiveConnections", "active connections", Kind.INT),
            read("iNumHalfOpen", "half-open connections", Kind.INT),
            read("iResetsSent", "resets sent", Kind.INT),
            read("iBytesPerSecond", "bytes per second", Kind.INT),
            read("iConnectionsPerSecond", "connections per second", Kind.INT),
            read("iPortProtocol", "protocol", Kind.INT),
            read("iMethod", "forwarding method", Kind.INT));

    private PortCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        ObjectFamily ports = new ObjectFamily(session, LEVEL, "Ports of a cluster.");
        ports.add("Add a port to a cluster.", STATUS, LEVEL.add());
        ports.set("Change settings of a port.", STATUS, LEVEL.change());
        ports.remove("Remove a port, with its servers and rules.", STATUS, LEVEL.remove());
        ports.show("status", "Show the settings of a port.", STATUS, LEVEL.read());
        ports.show("report", "Show the counters of a port.", REPORT, CMNExecutorInterface::getPortReportNative);
        ports.list("List the ports of a cluster.", STATUS, COLUMNS, LEVEL.read());
        ports.cps("Set the connections-per-second counter of a port.", STATUS, "iConnectionsPerSecond",
                CMNExecutorInterface::setPortCPSNative);
        return ports.definition();
    }
}
