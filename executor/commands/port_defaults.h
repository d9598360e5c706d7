// The defaults for new ports. A new cluster gets those of the executor, a new port those of its cluster; the fields
// have the same names in both records.
#pragma once

namespace rk {

template <typename From, typename To> void inheritPortDefaults(const From &from, To &to) {
    to.defaultPortMaxServers = from.defaultPortMaxServers;
    to.defaultPortStaleTimeout = from.defaultPortStaleTimeout;
    to.defaultPortStickyTime = from.defaultPortStickyTime;
    to.defaultPortAffinityType = from.defaultPortAffinityType;
    to.defaultPortWeightBound = from.defaultPortWeightBound;
    to.defaultPortType = from.defaultPortType;
    to.defaultPortReplicate = from.defaultPortReplicate;
}

} // namespace rk
