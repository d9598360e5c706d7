// The engine that lets the kernel forward: IPVS balances, the packet filter marks what rules lead elsewhere.
//
// Its own are the services of marks 0x4c000000 to 0x4cffffff, the table "ip qelxw" of the packet filter, and the
// services of addresses that are in its journal. Everything else on the machine is left alone.
#pragma once

#include "executor/forwarding/engine.h"

#include <string>

namespace rk {

inline constexpr int kRelistSeconds = 10;
inline constexpr int kGraceSeconds = 120; // for the manager to declare again what is in force

struct KernelEngineOptions {
    std::string scheduler = "wrr"; // wrr, wlc, sh or mh
    bool keepsForwarding = false;  // closing leaves everything in force
    uint32_t announceTable = 0;    // the table of routes that a routing daemon learns; 0: nothing is announced
    std::string journalFolder = "/run/qelxwd";
    std::string settingsFolder = "/proc/sys";
    std::string tablesFolder = "/proc/net"; // where the kernel shows its connections
};

// Opens the engine. Services of an earlier run that are in force still are taken over: they go on until the plan has
// them again, at most for kGraceSeconds, when what it does not have goes. False when the kernel cannot forward from
// here; nothing is changed then. `words` tell why, or else what was changed and taken over; they may be empty.
bool openKernelEngine(const KernelEngineOptions &options, Engine &engine, std::string &words);

} // namespace rk
