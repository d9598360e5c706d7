// Two directors that watch each other, at work: keepalived elects, this program acts. The active one has the addresses
// of the clusters; connections are copied both ways all the time, so that whoever takes over goes on with them.
#pragma once

#include "executor/availability/agent.h"
#include "executor/availability/election.h"
#include "executor/availability/keepalived_child.h"
#include "executor/availability/moving_addresses.h"
#include "executor/availability/reachability.h"

namespace rk {

// How connections are copied between the directors, or null procedures where nothing copies them.
struct ConnectionCopies {
    // Copies to and takes copies from whoever is at `port` of the interface's network, until they are stopped. False
    // when that cannot be; `words` tell.
    bool (*start)(const std::string &interface, uint16_t port, LogText &words) = nullptr;
    void (*stop)() = nullptr;
};

struct AvailabilityOptions {
    PartnershipOptions partnership;
    std::string folder; // of its own files; the one above it is there
    ConnectionCopies copies;
};

struct Director {
    AvailabilityOptions options;
    int lock = -1;    // on the folder
    int notices = -1; // of keepalived
    int timer = -1;
    int watch = -1; // can be read when serveAvailability has something to do
    AddressKeeper addresses;
    KeepalivedChild child;
    Reachability reachability;
    Elections elections;
    Partnership partnership;
    std::string text;          // the configuration that keepalived has
    std::string unreadNotices; // the beginning of a line
    std::vector<int> boosts;   // as they are written
    std::string copying;       // the interface and port of the copies; empty: none
    std::string copiesMistake; // why there are none, as it was told; empty: there are, or none is wanted
    std::string placeless;     // what has been told of addresses that are put up nowhere
    bool isReloadDue = false;  // keepalived has an older configuration than `text`
    Moment restartAt = 0;      // keepalived has gone; 0: it is there, or not wanted
    Moment startedAt = 0;      // when it was started last
    Moment secondAt = 0;       // when the next second begins
    bool isStale = false;      // servers may have changed since the partnership was described
    AvailabilityAgent agent;
};

// Opens what it needs, and puts away what an earlier run left: addresses and a keepalived. `director` stays where
// it is from then on. False when this machine cannot have it; `words` say what is missing. Throws std::bad_alloc.
bool openAvailability(Director &director, const AvailabilityOptions &options, std::string &words);

// From now on the executor's commands are followed.
void beginAvailability(Director &director, ExecutorState &state);

// What is to be done when `watch` can be read.
void serveAvailability(Director &director, ExecutorState &state);

// Leaves the partnership: the partner is told first, then the addresses that were put up go. To be called before
// forwarding ends: what is forwarded no longer must not have an address.
void endAvailability(Director &director, ExecutorState &state);

// A line on high availability in both logs, unless `words` are empty.
void tellAvailability(ExecutorState &state, const std::string &words);

} // namespace rk
