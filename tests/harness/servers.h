// The server of the tests: "s1" behind port 80 of the cluster "web".
#pragma once

#include "harness/record_test.h"

namespace servers {

using ::kKeyOfWeb;

// Worked out by hand: S is 0x53; 1 is 0x31 and, turned by one bit, 0x98.
inline constexpr uint32_t kKeyOfServer = (0x53 + 0x31) + 0x98 * 2 - 1;

inline jobject newServer() {
    jobject server = java::make("CMNServer");
    java::setString(server, "sServerID", "s1");
    java::setInt(server, "iServerIdKey", static_cast<jint>(kKeyOfServer));
    java::setString(server, "ClusterId", "web");
    java::setInt(server, "Port", 80);
    return server;
}

// What adding or changing it sends when no flag is set: its identifier, its keys, and flags that are 0.
inline executor::Image nothingSet(int32_t command) {
    executor::Image image(1952);
    image.header(command, 1952).text(16, "s1").word(84, kKeyOfServer).word(88, kKeyOfWeb).hex(92, "0050");
    image.half(116, 0).byte(1184, 0).byte(1220, 0).byte(1221, 0).byte(1223, 0).byte(1224, 0).byte(1225, 0);
    image.byte(1226, 0).byte(1227, 0).byte(1228, 0).byte(1229, 0).byte(1230, 0).byte(1231, 0);
    return image.byte(1744, 0).byte(1745, 0).byte(1845, 0);
}

} // namespace servers
