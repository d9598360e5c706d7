// Which addresses of clusters this director announces to the routers, where several forward at once, and how it stops
// to: withdraw, wait until no packet comes, and only then do something else.
//
// An operator asks for that by a file in the program's folder ("drain"), so that it outlives the program; what has
// become of it stands in another one ("announcement").
#pragma once

#include "executor/forwarding/plan.h"

#include <set>
#include <string>

namespace rk {

inline constexpr int kSettleSeconds = 5; // without a new service or server, before an address is announced
inline constexpr int kQuietSeconds = 5;  // without a packet, before it is drained; the kernel counts each 2 seconds

enum class AnnouncementState : uint8_t { announced, draining, drained };

struct Announcements {
    AnnouncementState state = AnnouncementState::announced;
    std::set<uint32_t> routes; // addresses that are announced, in network byte order
    std::set<uint32_t> failed; // whose change failed, and was told; it is tried again
    int64_t settledAt = 0;     // in seconds of the steady clock, as the others
    int64_t quietSince = 0;    // since when `packets` is what it is
    uint64_t packets = 0;
};

// The addresses to be announced at the time `now`. An address is announced once what is behind it has settled and a
// server of it takes connections, and stays so as long as there is a service of it: its connections go on.
std::set<uint32_t> addressesToAnnounce(const Plan &plan, const Announcements &announcements, int64_t now);

// Follows what an operator wants, and the packets that have come so far. Returns whether the state is another one now.
bool followDrain(Announcements &announcements, bool isDrainWanted, uint64_t packets, int64_t now);

// "announced", "draining", "drained"
const char *nameOf(AnnouncementState state);

// The operator's side, for a program that forwards with its files in `folder`. Each asks, and waits until it is done,
// at most `seconds`; then it returns true. `words` tell what has become of it.
bool askToDrain(const std::string &folder, int seconds, std::string &words);
bool askToAnnounce(const std::string &folder, int seconds, std::string &words);

// The program's side.
bool isDrainWanted(const std::string &folder);
bool tellAnnouncement(const std::string &folder, AnnouncementState state);
void endAnnouncement(const std::string &folder);

} // namespace rk
