// The command line of qelxwd.
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

extern const char kDeviceHelp[];

// Reads the command line of a program; `arguments` is ended by a null, as that of main, and its order is changed.
DeviceOptions parseDeviceOptions(int count, char *const *arguments);

} // namespace rk
