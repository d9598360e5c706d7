// What keepalived tells, as records: pure procedures.
#pragma once

#include "executor/availability/partnership.h"

#include <optional>
#include <string_view>

namespace rk {

enum class NoticeKind : uint8_t {
    election,  // this director's place in an election
    twoActive, // active here, and a partner with a lower priority says that it is, too
    path,      // the partner answers on a path, or no longer
    omen,      // why this director is about to change its place
};

enum class Omen : uint8_t {
    none,
    silence, // three adverts are missing
    gaveWay, // the partner said that it leaves
    higher,  // the partner's priority is lower
    lower,   // active, it heard an active partner whose priority is higher
};

enum class Place : uint8_t {
    none, // nothing is known yet
    standby,
    active,
    failed, // an interface that is watched has no link
};

struct Notice {
    NoticeKind kind = NoticeKind::election;
    int index = 0; // of the election or the path
    Place place = Place::none;
    bool isUp = false; // of a path
    Omen omen = Omen::none;
};

// A line of the file of notices; none when it tells nothing of interest.
std::optional<Notice> parseNotice(std::string_view line);

// A line of keepalived's log, likewise. Paths and omens are told there.
std::optional<Notice> parseLogLine(std::string_view line);

// Whether keepalived has found a configuration good: what it printed, and its exit status in the last line. A group of
// one path is what it warns of, and that is meant.
bool isAccepted(std::string_view printed);

// What an operator is to know of what keepalived said before it ended or refused: its first line that names a mistake,
// or else its last line, without the time.
std::string mistakeIn(std::string_view said);

// The number at the beginning of what the minder prints, which is keepalived's process; 0 when there is none.
int processIn(std::string_view line);

} // namespace rk
