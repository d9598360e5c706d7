// Records of the high-availability state machine.
#pragma once

#include "rk/command_header.h"

namespace rk {

inline constexpr int kHeartbeats = 32;
inline constexpr int kReachTargets = 32;

struct HeartbeatEntry {
    NetworkAddress local;
    NetworkAddress remote; // the partner's
    uint8_t unused_8[6];
    uint8_t status;
    uint8_t unused_15[5];
};

static_assert(sizeof(HeartbeatEntry) == 20);
RK_AT(HeartbeatEntry, remote, 4);
RK_AT(HeartbeatEntry, status, 14);

struct ReachEntry {
    NetworkAddress address;
    NetworkAddress mask;
    uint8_t type;
    uint8_t localStatus;
    uint8_t remoteStatus;
    uint8_t unused_11[9];
    uint32_t localTimeStamp; // of the executor's own clock
    uint8_t unused_24[4];
    uint32_t remoteTimeStamp;
};

static_assert(sizeof(ReachEntry) == 32);
RK_AT(ReachEntry, mask, 4);
RK_AT(ReachEntry, type, 8);
RK_AT(ReachEntry, localStatus, 9);
RK_AT(ReachEntry, remoteStatus, 10);
RK_AT(ReachEntry, localTimeStamp, 20);
RK_AT(ReachEntry, remoteTimeStamp, 28);

// Command readHighAvailability; the request carries only the state machine's address.
struct HaStatusRecord {
    CommandHeader header;
    uint32_t mode;
    NetworkAddress address; // of the state machine
    uint8_t role;
    uint8_t unused_25;
    uint8_t strategy;
    uint8_t state;
    uint8_t substate;
    uint8_t unused_29;
    uint16_t port;
    uint16_t heartbeatCount;
    uint8_t peer;
    uint8_t unused_35;
    HeartbeatEntry heartbeats[kHeartbeats];
    uint8_t unused_676[4];
    uint16_t reachCount;
    uint8_t unused_682[6];
    ReachEntry reachTargets[kReachTargets];
};

static_assert(sizeof(HaStatusRecord) == 1712);
RK_AT(HaStatusRecord, mode, 16);
RK_AT(HaStatusRecord, address, 20);
RK_AT(HaStatusRecord, role, 24);
RK_AT(HaStatusRecord, strategy, 26);
RK_AT(HaStatusRecord, state, 27);
RK_AT(HaStatusRecord, substate, 28);
RK_AT(HaStatusRecord, port, 30);
RK_AT(HaStatusRecord, heartbeatCount, 32);
RK_AT(HaStatusRecord, peer, 34);
RK_AT(HaStatusRecord, heartbeats, 36);
RK_AT(HaStatusRecord, reachCount, 680);
RK_AT(HaStatusRecord, reachTargets, 688);

// The commands that change the state machine. What the words are depends on the command; addresses are in network byte
// order, everything else in host order:
//   addBackup           argument, argument, port
//   addReachTarget      address, mask, argument
//   deleteReachTarget   address
//   changeReachTarget   argument, argument, argument
//   addHeartbeat        local address, partner's address
//   deleteHeartbeat     address
//   takeOver            address
struct HaControlRecord {
    CommandHeader header;
    uint8_t unused_16[4];
    uint32_t first;
    uint32_t second;
    uint32_t third;
    uint8_t unused_32[248];
};

static_assert(sizeof(HaControlRecord) == 280);
RK_AT(HaControlRecord, first, 20);
RK_AT(HaControlRecord, second, 24);
RK_AT(HaControlRecord, third, 28);

} // namespace rk
