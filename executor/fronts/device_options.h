// What qelxwd and its user tell each other: the command line, and words on mistakes.
#pragma once

#include <string>

namespace rk {

enum class DeviceAction : uint8_t { serve, showHelp, showVersion, refuse };

struct DeviceOptions {
    DeviceAction action = DeviceAction::serve;
    std::string deviceName; // below /dev
    bool isForeground = false;
    std::string logFile; // empty: no log
    std::string mistake; // of a command line that is refused: what is wrong with it
};

inline constexpr char kDeviceChannel[] = "/dev/cuse"; // where the kernel takes orders for devices

extern const char kDeviceHelp[];

// Reads the command line of a program; `arguments` is ended by a null, as that of main, and its order is changed.
DeviceOptions parseDeviceOptions(int count, char *const *arguments);

// What to tell a user who cannot open kDeviceChannel, by the errno value of the attempt.
std::string describeChannelError(int error);

} // namespace rk
