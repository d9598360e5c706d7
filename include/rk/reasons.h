// The reason codes that the executor gives with a refused command. Each number has one meaning in all commands, but for
// those of addHeartbeat, which other commands give for something else.
#pragma once

#include <cstdint>

namespace rk {

// Of any command. These have no counterpart in another executor.
inline constexpr int32_t kNotStarted = -100;     // the executor does not run
inline constexpr int32_t kUnknownCommand = -101; // the command code is none of this executor's
inline constexpr int32_t kWrongLength = -102;    // the length word is not what the command and its count need
inline constexpr int32_t kOutOfRange = -103;     // a value is out of range, or a text too long, and has no own reason

// Of the commands whose clients do not tell reasons apart; likewise without a counterpart.
inline constexpr int32_t kOutOfMemory = -104;          // in a command whose family has no own reason for it
inline constexpr int32_t kNoBackup = -105;             // there is no backup
inline constexpr int32_t kBackupExists = -106;         // there is one already
inline constexpr int32_t kUnknownHeartbeat = -107;     // no heartbeat has the address at either end
inline constexpr int32_t kReachTargetExists = -108;    // a reach target has the address already
inline constexpr int32_t kReachTargetLimit = -109;     // there are as many reach targets as the record holds
inline constexpr int32_t kUnknownReachTarget = -110;   // no reach target has the address or the index
inline constexpr int32_t kInterfacesUnreadable = -111; // the system does not tell its network interfaces
inline constexpr int32_t kConnectionExists = -112;     // the client address and port have a connection to the port
inline constexpr int32_t kUnknownConnection = -113;
inline constexpr int32_t kUnknownAffinity = -114;   // the client has no affinity record on the port
inline constexpr int32_t kForwardingRefused = -115; // what forwards the packets does not do it; the log has its words

// Of heartbeats.
inline constexpr int32_t kHeartbeatExists = -44;
inline constexpr int32_t kHeartbeatPair = -45; // the addresses are no pair, or there is no room for more

// Of clusters.
inline constexpr int32_t kUnknownCluster = -5;
inline constexpr int32_t kClusterExists = -8; // a cluster has this key already
inline constexpr int32_t kClusterLimit = -9;  // the executor holds as many clusters as it may
inline constexpr int32_t kClusterOutOfMemory = -7;
inline constexpr int32_t kClusterAddress = -33; // no address for a cluster, or the address of another cluster

// Of ports.
inline constexpr int32_t kUnknownPort = -1;
inline constexpr int32_t kPortOutOfMemory = -2;
inline constexpr int32_t kPortExists = -3;
inline constexpr int32_t kPortLimit = -4;         // the cluster holds as many ports as it may
inline constexpr int32_t kStaleTimeout = -18;     // stale time-out out of range
inline constexpr int32_t kUnknownMethod = -27;    // forwarding method not known
inline constexpr int32_t kStickyBits = -52;       // sticky bits outside 0 to 32
inline constexpr int32_t kStickyTime = -53;       // sticky time out of range
inline constexpr int32_t kUnknownCrossPort = -54; // the cluster has no such port to cross to
inline constexpr int32_t kWeightBound = -55;      // weight bound out of range, or below a weight that a server has
inline constexpr int32_t kCrossPortChain = -56;   // the port would cross to itself, or to a port that crosses as well
inline constexpr int32_t kUnknownProtocol = -61;
inline constexpr int32_t kHalfOpenLimit = -62; // half-open limit negative
inline constexpr int32_t kUnknownPortType = -84;
inline constexpr int32_t kPortServerLimit = -87; // server limit negative, or below the servers that the port has

// Of servers.
inline constexpr int32_t kUnknownServer = -11;
inline constexpr int32_t kServerOutOfMemory = -13;
inline constexpr int32_t kServerExists = -14;     // a server of the port has this key already
inline constexpr int32_t kServerLimit = -15;      // the port holds as many servers as it may
inline constexpr int32_t kWeight = -36;           // weight outside 0 to the weight bound of the port
inline constexpr int32_t kCollocatedRouter = -43; // a server on this machine cannot be reached through a router
inline constexpr int32_t kCpsMaximum = -58;       // most connections per second negative

// Of rules.
inline constexpr int32_t kUnknownRule = -44;
inline constexpr int32_t kRuleOutOfMemory = -45;
inline constexpr int32_t kRuleExists = -46;   // a rule of the port has this name already
inline constexpr int32_t kRulePriority = -47; // priority negative, or that of another rule of the port
inline constexpr int32_t kRuleRange = -70;    // the range begins above its end

// Of the servers of a rule.
inline constexpr int32_t kServerInRule = -48; // the server is in the rule already
inline constexpr int32_t kMembershipOutOfMemory = -49;
inline constexpr int32_t kServerNotInRule = -51;

} // namespace rk
