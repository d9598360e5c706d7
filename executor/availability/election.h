// What this director makes of the elections: when it has the addresses, when it announces them, and by how much its
// priority is raised or lowered. Pure procedures: what is heard, and the time, go in.
#pragma once

#include "executor/availability/keepalived_words.h"

#include <string>
#include <vector>

namespace rk {

// Milliseconds of a clock that only goes forward. 0 is never.
using Moment = int64_t;

struct ElectionState {
    Place place = Place::none;
    Moment boostedUntil = 0;   // a take-over that was ordered: raised so far that it is won
    bool isTakenOver = false;  // active by order: it stays so
    Moment takenAt = 0;        // from a partner that was heard, and may be active a moment longer; 0: it was not
    Moment twoActiveSince = 0; // two directors are active; 0: not that this one knew
    Moment twoActiveUntil = 0; // unless it is told again
    Moment heldUntil = 0;      // until then the place as active is not given up: keepalived begins anew
    bool isNewcomer = false;   // what is held was had before there was a partner: given up as soon as one answers
    Place told = Place::none;  // meanwhile
    Omen omen = Omen::none;    // the last one
    Moment omenAt = 0;
};

struct PathState {
    bool isUp = false; // the partner answers
};

struct Elections {
    bool isManual = false;
    int advertMilliseconds = 1000;
    std::vector<ElectionState> elections;
    std::vector<PathState> paths;
    int unreachable = 0;    // reach targets that do not answer
    Moment settledAt = 0;   // until then this director stays behind: what it would take over has to be copied first
    Moment silentSince = 0; // when the last path went down; 0: none ever was up
    std::vector<Moment> announcements; // when the addresses are to be announced, in this order
};

inline constexpr int kManualBoost = 50;    // more than the priorities differ by
inline constexpr int kTakeOverBoost = 100; // more than that
inline constexpr int kSettlingBoost = -50;
inline constexpr int kUnreachableBoost = -20;       // for each reach target; more than the priorities differ by
inline constexpr int kSettlingMilliseconds = 14000; // copies of connections were complete after 5 s; they may lag by 3

// A partnership begins, or goes on with other elections or paths. The places stay as far as there are elections.
void describeElections(Elections &elections, const Partnership &partnership);

// keepalived is about to start. A place as active that this director had by its role alone is not given up before
// somebody else is heard.
void beginElections(Elections &elections, Moment now);

// keepalived is about to begin anew with another configuration; until it has elected again, the places stay.
void holdElections(Elections &elections, Moment now);

// Each appends to `words` what an operator is to know, if anything, as do those below.
void hearNotice(Elections &elections, const Notice &notice, Moment now, std::string &words);

// There is no keepalived: nobody decides, so this director has nothing.
void loseElections(Elections &elections, std::string &words);

// By command. False when this director cannot be active; `words` tell why.
bool orderTakeOver(Elections &elections, Moment now, std::string &words);

// What is due by now.
void passTime(Elections &elections, Moment now, std::string &words);

// When passTime has something to do next; 0: never.
Moment nextMoment(const Elections &elections);

// Takes the announcements that are due. False when there is none.
bool takeAnnouncements(Elections &elections, Moment now);

// By how much an election's priority is raised.
int boostOf(const Elections &elections, std::size_t election, Moment now);

// What is to be true of an election's addresses.
enum class AddressRule : uint8_t {
    leave, // nothing is known: they stay as they are
    up,
    down,
};
AddressRule ruleFor(const Elections &elections, std::size_t election);

int pathsUp(const Elections &elections);

// Appends to a line of words, which are apart by ";".
void say(std::string &words, const std::string &what);

// "heard on 1 of 2 paths"
std::string heardOn(const Elections &elections);

} // namespace rk
