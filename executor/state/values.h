// Which values settings may have, what new objects start with, and how fields of records become numbers and texts.
#pragma once

#include "rk/command_header.h"

#include <limits>
#include <string_view>

namespace rk {

// What a fresh executor starts with. New clusters and ports inherit the defaults for them.
inline constexpr int32_t kDefaultTraceLevel = 1; // refusals and starts
inline constexpr int32_t kDefaultMaxClusters = 100;
inline constexpr int32_t kDefaultClusterMaxPorts = 64;
inline constexpr int32_t kDefaultPortMaxServers = 256;
inline constexpr int32_t kDefaultFinTimeout = 60;    // seconds
inline constexpr int32_t kDefaultHaTimeout = 5;      // seconds
inline constexpr int32_t kDefaultHaSyncTimeout = 60; // seconds
inline constexpr int32_t kDefaultStaleTimeout = 300; // seconds
inline constexpr int32_t kDefaultStickyTime = 0;     // seconds; 0: connections do not stick to a server
inline constexpr int16_t kDefaultWeightBound = 20;

// What a new cluster, port or server starts with, whatever the executor's settings.
inline constexpr int32_t kDefaultActiveConnectionsProportion = 50;
inline constexpr int32_t kDefaultNewConnectionsProportion = 50;
inline constexpr int32_t kDefaultStickyBits = 32; // each client address sticks on its own
inline constexpr int16_t kDefaultWeight = 10;     // or the weight bound of the port, when that is lower

// Limits of settings.
inline constexpr int64_t kNoLimit = std::numeric_limits<int64_t>::max();
inline constexpr int64_t kLongestTime = std::numeric_limits<int32_t>::max(); // the highest that a Java int holds
inline constexpr int16_t kHighestWeightBound = 100;
inline constexpr int32_t kHighestStickyBits = 32; // the bits of an address
inline constexpr uint16_t kHighestPortNumber = 65535;
inline constexpr int32_t kHighestRuleType = 9;
inline constexpr uint32_t kHighestAttackParameter = 65535;
inline constexpr std::size_t kLongestIdentifier = 64; // characters

// High availability. Roles and strategies are the client's numbers. The role is 0 without a backup too: the mode tells.
inline constexpr uint32_t kHaModeAlone = 0; // there is no backup
inline constexpr uint32_t kHaModePaired = 1;
inline constexpr uint8_t kHaRolePrimary = 0;
inline constexpr uint8_t kHaRoleBackup = 1;
inline constexpr uint8_t kHaRoleBoth = 2;
inline constexpr uint8_t kHaStrategyAutomatic = 0;
inline constexpr uint8_t kHaStrategyManual = 1;
inline constexpr uint8_t kHaStateNone = 0; // there is no backup
inline constexpr uint8_t kHaStateActive = 1;
inline constexpr uint8_t kHaStateStandby = 2;
inline constexpr uint8_t kHaStateFailed = 3;         // an interface that is needed has no link
inline constexpr uint8_t kHaSubstateNone = 0;        // there is no backup
inline constexpr uint8_t kHaSubstateNoHeartbeat = 1; // no heartbeat is configured
inline constexpr uint8_t kHaSubstateWaiting = 2;     // for the partner to answer a heartbeat
inline constexpr uint8_t kHaSubstatePartnerHeard = 3;
inline constexpr uint8_t kHaSubstateTwoActive = 4; // this director and its partner, each without knowing of the other
inline constexpr uint8_t kHaPeerUnknown = 0;       // there is no backup, or no heartbeat to hear from it
inline constexpr uint8_t kHaPeerSilent = 1;
inline constexpr uint8_t kHaPeerHeard = 2;
inline constexpr uint8_t kHeartbeatIdle = 0; // there is no backup
inline constexpr uint8_t kHeartbeatUnanswered = 1;
inline constexpr uint8_t kHeartbeatAnswered = 2;
inline constexpr uint8_t kReachUnknown = 0;
inline constexpr uint8_t kReachable = 1;
inline constexpr uint8_t kUnreachable = 2;

// The flag of a connection's state that the executor knows, the mark and the TCP states of connections.
inline constexpr uint8_t kConnectionHalfOpen = 0x01;
inline constexpr char kMadeByHand = 'M'; // the mark of a connection that no engine has
inline constexpr uint8_t kTcpClosed = 0;
inline constexpr uint8_t kTcpListen = 1;
inline constexpr uint8_t kTcpSynSent = 2;
inline constexpr uint8_t kTcpSynReceived = 3;
inline constexpr uint8_t kTcpEstablished = 4;
inline constexpr uint8_t kTcpLastAck = 5;
inline constexpr uint8_t kTcpTimeWait = 6;
inline constexpr uint8_t kTcpCloseWait = 7;
inline constexpr uint8_t kTcpFinWait = 8;

// The commands of serverDirectedAffinity.
inline constexpr int32_t kBindClients = 1;
inline constexpr int32_t kReleaseClients = 2;
inline constexpr int32_t kReadClients = 3;

// Port types: the transport that a port balances.
inline constexpr int32_t kPortTypeTcpAndUdp = 0;
inline constexpr int32_t kPortTypeTcp = 1;
inline constexpr int32_t kPortTypeUdp = 2;

// Port protocols: what the executor understands of the contents.
inline constexpr int32_t kProtocolNone = 0;
inline constexpr int32_t kProtocolHttp = 1;
inline constexpr int32_t kProtocolTls = 2;

// Forwarding methods: how a packet gets to the server.
inline constexpr int32_t kMethodLinkLevel = 1;   // unchanged, to the server's hardware address
inline constexpr int32_t kMethodTranslation = 2; // with addresses translated
inline constexpr int32_t kMethodContent = 3;     // over a second connection, made once the request has been read

// Whether packets can be sent to `address` at all: not 0.0.0.0, 255.255.255.255 or multicast.
bool isUnicast(NetworkAddress address);

// Whether all ones of `mask` come before its zeros.
bool isNetmask(NetworkAddress mask);

// Seconds since 1970, as the records carry them.
uint32_t currentTime();

// Sets a block to zero from its header on, as far as its length word says.
void clearBody(CommandHeader &block);

SplitInt64 splitInt64(int32_t value);
int32_t hostOrder(NetworkPort port);

// The text in `field` of `size` bytes, up to its terminator; the whole field when it has none.
std::string_view textIn(const char *field, std::size_t size);
template <std::size_t size> std::string_view textIn(const char (&field)[size]) {
    return textIn(field, size);
}

// Whether the text in a field has a terminator, and so can be kept whole.
template <std::size_t size> bool isTerminated(const char (&field)[size]) {
    return textIn(field).size() < size;
}

// Puts `text` into `field` and zeros behind it. A text that leaves no room for a terminator is cut.
void storeText(char *field, std::size_t size, std::string_view text);
template <std::size_t size> void storeText(char (&field)[size], std::string_view text) {
    storeText(field, size, text);
}

} // namespace rk
