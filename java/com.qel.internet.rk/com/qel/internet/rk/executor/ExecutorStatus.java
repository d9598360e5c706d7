package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNExecutorStatus;
import java.net.InetAddress;
import java.time.Duration;

/**
 * The executor's settings. The cookie expiry is not among them: it cannot be read.
 *
 * @param nonForwardingAddress  the executor's own address
 * @param traceLevel            how much the executor traces
 * @param maxClusters           most clusters
 * @param maxPortsOfNewClusters most ports of a cluster that is added from now on
 * @param finTimeout            how long a connection is remembered after its end
 * @param haTimeout             how long the high-availability partner may be silent
 * @param haSyncTimeout         how long synchronising with the partner may take
 * @param clientGateway         IPv4 client gateway; 0.0.0.0 for none
 * @param clientGateway6        IPv6 client gateway; :: for none
 * @param sharedBandwidth       bandwidth that all clusters share, in bytes per second
 * @param widePort              port number of the wide-area load balancing
 * @param configFile            name of the configuration file
 * @param pluginConfigFile      name of the plug-in configuration file
 * @param newPorts              what new ports begin with, where their cluster says nothing else
 */
public record ExecutorStatus(InetAddress nonForwardingAddress, int traceLevel, int maxClusters,
        int maxPortsOfNewClusters, Duration finTimeout, Duration haTimeout, Duration haSyncTimeout,
        InetAddress clientGateway, InetAddress clientGateway6, int sharedBandwidth, int widePort, String configFile,
        String pluginConfigFile, NewPortStatus newPorts) {
    static ExecutorStatus of(CMNExecutorStatus from) {
        return new ExecutorStatus(Values.address(from.NFA), from.TraceLevel, from.MaxNumberOfClusters,
                from.DefaultClusterMaxPorts, Duration.ofSeconds(from.FINTimeout), Duration.ofSeconds(from.HaTimeout),
                Duration.ofSeconds(from.HaSyncTimeout), Values.address(from.ClientGateway),
                Values.address(from.v6ClientGateway), from.iSharedBytesPerSecond, from.WidePortNumber,
                from.ConfigFileName, from.sPluginConfigFileName, NewPortStatus.of(from));
    }
}
