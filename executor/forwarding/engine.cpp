#include "executor/forwarding/engine.h"

#include <iterator>

namespace rk {

namespace {

constexpr const char *kNames[] = {
    "UDP",
    "link level (packets are translated)",
    "content (connections are spread unread)",
    "router addresses",
    "cross ports",
    "half-open limits",
    "replication",
    "resets",
    "second listeners",
    "return addresses",
    "sticky servers",
    "connection rates",
    "cookies",
    "rules by time",
    "rules by type of service",
    "rules by content",
    "rules of other types",
    "port 0",
    "attack protection",
    "shared bandwidth",
};
static_assert(std::size(kNames) == kFeatures);

} // namespace

const char *nameOf(Feature feature) {
    return kNames[static_cast<int>(feature)];
}

} // namespace rk
