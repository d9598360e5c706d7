package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.setting;

import java.util.List;

/** Defaults of new ports: the executor hands its own to new clusters, a cluster hands its own to its new ports. */
final class PortDefaults {
    static final List<Property> PROPERTIES = List.of(
            row("DefaultPortMaxServers", "most servers", Kind.INT, "--default-max-servers", "256")
                    .within("0 to 2147483647"),
            row("DefaultPortStaleTimeout", "stale time-out", Kind.INT, "--default-stale-timeout", "300")
                    .within("0 to 2147483647"),
            row("DefaultPortStickyTime", "sticky time", Kind.INT, "--default-sticky-time", "0")
                    .within("0 to 2147483647"),
            row("DefaultPortAffinityType", "affinity type", Kind.UINT16, "--default-affinity-type", "0"),
            row("DefaultPortWeightBound", "weight bound", Kind.INT16, "--default-weight-bound", "20")
                    .within("1 to 100"),
            row("DefaultPortType", "type", Kind.UINT8, "--default-port-type", "tcp-and-udp").named(Words.PORT_TYPE)
                    .within("0 to 2"),
            row("DefaultPortReplicate", "replication", Kind.UINT8, "--default-replicate", "0"));

    private PortDefaults() {
    }

    private static Property row(String field, String label, Kind kind, String option, String initial) {
        return setting(field, "new ports: " + label, kind, option, "Set" + field).initially(initial).inherits(option);
    }
}
