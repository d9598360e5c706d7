// The command line of qelxwd, and its words for mistakes.
#pragma once

#include "executor/fronts/availability_options.h"

#include <cstdint>
#include <string>

namespace rk {

enum class DeviceAction : uint8_t {
    serve,
    drain, // have the one that serves withdraw its addresses, and wait until it is drained
    announce,
    showHelp,
    showVersion,
    refuse,
};

// Who forwards packets.
enum class ForwardMode : uint8_t {
    automatic, // the kernel where it can, else nobody
    kernel,
    none,
};

struct DeviceOptions {
    DeviceAction action = DeviceAction::serve;
    ForwardMode forward = ForwardMode::automatic;
    bool isForeground = false;
    bool keepsForwarding = false; // what is in force stays so at the end
    uint32_t announceTable = 0;   // the table of routes by which addresses are announced; 0: they are not
    std::string deviceName;       // below /dev
    std::string logFile;          // empty: no log
    std::string scheduler;        // how the kernel picks servers
    std::string copyInterface;    // the network of the directors that connections are copied to; empty: they are not
    AvailabilityChoice availability;
    std::string mistake; // what is wrong with a command line that is refused
};

inline constexpr char kDeviceChannel[] = "/dev/cuse"; // through which the kernel makes devices

extern const char kDeviceHelp[];

// Reads the command line. `arguments` ends with a null, as main's does; their order may change.
DeviceOptions parseDeviceOptions(int count, char *const *arguments);

// Why kDeviceChannel cannot be opened, for the user. `error` is the errno value of the attempt.
std::string describeChannelError(int error);

} // namespace rk
