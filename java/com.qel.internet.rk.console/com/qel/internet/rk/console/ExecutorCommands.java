package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNExecutorStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import picocli.CommandLine.Model.CommandSpec;

/** The executor's own settings and counters. */
final class ExecutorCommands {
    private static final Table STATUS = Table.of(CMNExecutorStatus::new,
            setting("NFA", "non-forwarding address", Kind.ADDRESS, "--nfa", "SetNonForwardingAddress"),
            setting("TraceLevel", "trace level", Kind.INT, "--trace-level", "SetTraceLevel")
                    .within("0 to 2147483647").initially("1"),
            setting("FINTimeout", "FIN time-out", Kind.INT, "--fin-timeout", "SetFINTimeout")
                    .within("0 to 2147483647").initially("60"),
            setting("HaTimeout", "high-availability time-out", Kind.INT, "--ha-timeout", "SetHaTimeout")
                    .within("0 to 2147483647").initially("5"),
            setting("HaSyncTimeout", "high-availability synchronisation time-out", Kind.INT, "--ha-sync-timeout",
                    "SetHaSyncTimeout").within("0 to 2147483647").initially("60"),
            setting("ClientGateway", "client gateway", Kind.ADDRESS, "--client-gateway", "SetClientGateway"),
            setting("v6ClientGateway", "IPv6 client gateway", Kind.IPV6_BYTES, "--v6-client-gateway",
                    "Setv6ClientGateway"),
            setting("MaxNumberOfClusters", "most clusters", Kind.INT, "--max-clusters", "SetMaxNumberOfClusters")
                    .initially("100"),
            setting("WidePortNumber", "wide-area port", Kind.INT, "--wide-port", "SetWidePortNumber")
                    .within("0 to 65535"),
            setting("iSharedBytesPerSecond", "shared bandwidth, bytes per second", Kind.INT, "--shared-bandwidth",
                    "SetSharedBandwidth").within("0 to 2147483647"),
            setting("ConfigFileName", "configuration file", Kind.TEXT, "--config-file", "SetConfigFileName")
                    .atMost(255),
            read("sPluginConfigFileName", "plug-in configuration file", Kind.TEXT),
            setting("iCookieExpireInterval", "cookie expiry interval", Kind.INT, "--cookie-expire-interval",
                    "SetCookieExpireInterval").writtenOnly(),
            setting("DefaultClusterMaxPorts", "new clusters: most ports", Kind.INT, "--default-max-ports",
                    "SetDefaultClusterMaxPorts").within("0 to 2147483647").initially("64"))
            .with(PortDefaults.PROPERTIES);

    static final Level LEVEL = new Level("executor", Family.EXECUTOR, STATUS,
            CMNExecutorInterface::getExecutorStatusNative, CMNExecutorInterface::setExecutorStatusNative, null, null);

    private static final Table REPORT = Table.of(CMNExecutorReport::new,
            read("NFA", "non-forwarding address", Kind.ADDRESS),
            read("Version", "version", Kind.TEXT),
            read("iTimeStarted", "started", Kind.TIME),
            read("Pcktotal", "packets in all", Kind.LONG),
            read("Pcktoshort", "packets too short", Kind.LONG),
            read("Pcknonforw", "packets to the non-forwarding address", Kind.LONG),
            read("PckVECdiscard", "packets to clusters, discarded", Kind.LONG),
            read("PckVECerror", "packets to clusters, in error", Kind.LONG),
            read("PckVEClocal", "packets to clusters, taken by this machine", Kind.LONG),
            read("PckVECownaddr", "packets to clusters' own addresses", Kind.LONG),
            read("PckVECforward", "packets to clusters, forwarded", Kind.LONG),
            read("Pckforwarderr", "packets whose forwarding failed", Kind.LONG),
            read("PcknotVEC", "packets to no cluster", Kind.LONG),
            read("PckVECbroadcast", "packets to clusters, broadcast", Kind.LONG),
            read("InconnHashBkts", "connection table buckets in use", Kind.INT),
            read("NumClusters", "clusters", Kind.INT),
            read("iBytesPerSecond", "bytes per second", Kind.INT),
            read("iConnectionsPerSecond", "connections per second", Kind.INT));

    private ExecutorCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        ObjectFamily executor = new ObjectFamily(session, LEVEL, "The executor's own settings and counters.");
        executor.show("status", "Show the settings.", STATUS, LEVEL.read());
        executor.show("report", "Show the counters.", REPORT, CMNExecutorInterface::getExecutorReportNative);
        executor.set("Change settings.", STATUS, LEVEL.change());
        executor.cps("Set the connections-per-second counter.", REPORT, "iConnectionsPerSecond",
                CMNExecutorInterface::setExecutorCPSNative);
        return executor.definition();
    }
}
