// Settings of the kernel below /proc/sys: changed while they are needed, and put back.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace rk {

// A setting's path below /proc/sys, and the value that it had before.
using SettingsBefore = std::map<std::string, std::string>;

// What the kernel is set to while it forwards with a scheduler: paths and values.
std::vector<std::pair<const char *, const char *>> settingsToForward(const std::string &scheduler);

// Gives the setting at `path` (below `folder`) a value, and keeps in `before` what it had, unless it is in there
// already or nothing is to be changed. Returns true when the setting has the value now; `note` tells then what was
// changed, empty when nothing was, and else what went wrong.
bool changeSetting(const std::string &folder, const std::string &path, const std::string &value, SettingsBefore &before,
                   std::string &note);

// Puts the setting at `path` back, if it was changed, and forgets it. `note` as above.
bool putBackSetting(const std::string &folder, const std::string &path, SettingsBefore &before, std::string &note);

} // namespace rk
