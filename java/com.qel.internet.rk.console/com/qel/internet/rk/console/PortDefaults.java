package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.setting;

import java.util.List;

/** Defaults of new ports: the executor hands its own to new clusters, a cluster hands its own to its new ports. */
final class PortDefaults {
    static final List<Property> PROPERTIES = List.of(
            setting("DefaultPortMaxServers", "new ports: most servers", Kind.INT, "--default-max-servers",
                    "SetDefaultPortMaxServers"),
            setting("DefaultPortStaleTimeout", "new ports: stale time-out", Kind.INT, "--default-stale-timeout",
                    "SetDefaultPortStaleTimeout"),
            setting("DefaultPortStickyTime", "new ports: sticky time", Kind.INT, "--default-sticky-time",
                    "SetDefaultPortStickyTime"),
            setting("DefaultPortAffinityType", "new ports: affinity type", Kind.UINT16, "--default-affinity-type",
                    "SetDefaultPortAffinityType"),
            setting("DefaultPortWeightBound", "new ports: weight bound", Kind.INT16, "--default-weight-bound",
                    "SetDefaultPortWeightBound"),
            setting("DefaultPortType", "new ports: type", Kind.UINT8, "--default-port-type", "SetDefaultPortType"),
            setting("DefaultPortReplicate", "new ports: replication", Kind.UINT8, "--default-replicate",
                    "SetDefaultPortReplicate"));

    private PortDefaults() {
    }
}
