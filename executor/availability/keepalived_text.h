// keepalived's configuration for a partnership, a pure procedure.
#pragma once

#include "executor/availability/partnership.h"

namespace rk {

// What an election, a path's instance in it and a path's watch are called in the configuration, and in what keepalived
// tells: "ha0", "ha0_12" by the number of its virtual router, "path0".
std::string electionName(int election);
std::string instanceName(int election, uint8_t identifier);
std::string pathName(int path);

// The file by which an election's priority is raised and lowered.
std::string boostFile(const std::string &folder, int election);

// Where keepalived tells what becomes of the elections.
std::string noticesFile(const std::string &folder);

// The configuration of a partnership that has paths. Its files are in `folder`.
std::string keepalivedText(const Partnership &partnership, const std::string &folder);

} // namespace rk
