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
            setting("TraceLevel", "trace level", Kind.INT, "--trace-level", "SetTraceLevel"),
            setting("FINTimeout", "FIN time-out", Kind.INT, "--fin-timeout", "SetFINTimeout"),
            setting("HaTimeout", "high-availability time-out", Kind.INT, "--ha-timeout", "SetHaTimeout"),
            setting("HaSyncTimeout", "high-availability synchronisation time-out", Kind.INT, "--ha-sync-timeout",
                    "SetHaSyncTimeout"),
            setting("ClientGateway", "client gateway", Kind.ADDRESS, "--client-gateway", "SetClientGateway"),
            setting("v6ClientGateway", "IPv6 client gateway", Kind.IPV6_BYTES, "--v6-client-gateway",
                    "Setv6ClientGateway"),
            setting("MaxNumberOfClusters", "most clusters", Kind.INT, "--max-clusters", "SetMaxNumberOfClusters"),
            setting("WidePortNumber", "wide-area port", Kind.INT, "--wide-port", "SetWidePortNumber"),
            setting("iSharedBytesPerSecond", "shared bandwidth, bytes per second", Kind.INT, "--shared-bandwidth",
                    "SetSharedBandwidth"),
            setting("ConfigFileName", "configuration file", Kind.TEXT, "--config-file", "SetConfigFileName")
                    .atMost(255),
            read("sPluginConfigFileName", "plug-in configuration file", Kind.TEXT),
            setting("iCookieExpireInterval", "cookie expiry interval", Kind.INT, "--cookie-expire-interval",
                    "SetCookieExpireInterval").writtenOnly(),
            setting("DefaultClusterMaxPorts", "new clusters: most ports", Kind.INT, "--default-max-ports",
                    "SetDefaultClusterMaxPorts"))
            .with(PortDefaults.PROPERTIES);

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
        ObjectFamily executor = new ObjectFamily(session, Family.EXECUTOR, "executor",
                "The executor's own settings and counters.");
        executor.show("status", "Show the settings.", STATUS, CMNExecutorInterface::getExecutorStatusNative);
        executor.show("report", "Show the counters.", REPORT, CMNExecutorInterface::getExecutorReportNative);
        executor.set("Change settings.", STATUS, CMNExecutorInterface::setExecutorStatusNative);
        executor.cps("Set the connections-per-second counter.", REPORT, "iConnectionsPerSecond",
                CMNExecutorInterface::setExecutorCPSNative);
        return executor.definition();
    }
}
