// The defaults for new ports. The executor's settings have them for the clusters to come, a cluster's for its ports to
// come; the fields have the same names in both records.
#pragma once

#include "executor/state/values.h"

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

// Whether a port can be made with these defaults.
template <typename Record> bool arePortDefaultsValid(const Record &settings) {
    return settings.defaultPortMaxServers >= 0 && isTime(settings.defaultPortStaleTimeout) &&
           isTime(settings.defaultPortStickyTime) && isWeightBound(settings.defaultPortWeightBound) &&
           isPortType(settings.defaultPortType);
}

} // namespace rk
