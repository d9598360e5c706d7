// Why a command is refused: the reasons that an executor gives, and the statuses that Java gets.
#pragma once

#include <cstdint>

namespace rk {

// --- Reasons ---------------------------------------------------------------------------------------------------------
//
// What the executor leaves in the header of a command that it refuses. Each number has one meaning in all commands, but
// for those of addHeartbeat, which other commands give for something else.

// Of any command. Only this executor gives them.
inline constexpr int32_t kNotStarted = -100;     // the executor does not run
inline constexpr int32_t kUnknownCommand = -101; // the command code is none of this executor's
inline constexpr int32_t kWrongLength = -102;    // the length word is not what the command and its count need
inline constexpr int32_t kOutOfRange = -103;     // a value is out of range, or a text too long, and has no own reason

// Of the commands whose clients do not tell reasons apart. Only this executor gives them, too.
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

// --- Statuses --------------------------------------------------------------------------------------------------------
//
// What the native methods return; 0 is success. Methods that hand on what sending returned have the channel's results
// besides. Some numbers mean different things in different families of methods: the names tell the family. A status
// for a reason of the executor is called as that reason is.

// Of any family.
inline constexpr int32_t kStatusOther = -99; // a refusal without a status of its own, or a request that cannot be made
inline constexpr int32_t kStatusOutOfMemory = -28; // in the library, or in the executor
inline constexpr int32_t kStatusBadPort = -10;     // a port outside 0 to 65535
inline constexpr int32_t kStatusUnknownCluster = -5;
inline constexpr int32_t kStatusUnknownPort = -12; // for an unknown port to cross to as well
inline constexpr int32_t kStatusUnknownServer = -19;

// Of the executor's settings.
inline constexpr int32_t kStatusBadAddress = -21; // the non-forwarding address is no address
inline constexpr int32_t kStatusBadClientGateway = -49;

// Of clusters.
inline constexpr int32_t kStatusClusterAddress = -3; // no address, or one that the executor does not take
inline constexpr int32_t kStatusClusterExists = -4;
inline constexpr int32_t kStatusClusterLimit = -29;
inline constexpr int32_t kStatusNoClusterId = -88;      // the identifier is missing
inline constexpr int32_t kStatusClusterIdTooLong = -90; // more than 64 characters

// Of ports.
inline constexpr int32_t kStatusPortClusterAddress = -3; // the address of the port's cluster is none
inline constexpr int32_t kStatusPortExists = -14;
inline constexpr int32_t kStatusPortLimit = -30;
inline constexpr int32_t kStatusUnknownMethod = -38;
inline constexpr int32_t kStatusPortServerLimit = -57;
inline constexpr int32_t kStatusStickyBits = -65;
inline constexpr int32_t kStatusStickyTime = -66;
inline constexpr int32_t kStatusWeightBound = -67;
inline constexpr int32_t kStatusCrossPortChain = -68;
inline constexpr int32_t kStatusStaleTimeout = -73;
inline constexpr int32_t kStatusUnknownProtocol = -74;
inline constexpr int32_t kStatusHalfOpenLimit = -75;
inline constexpr int32_t kStatusUnknownPortType = -84;

// Of servers and their listeners.
inline constexpr int32_t kStatusListenersDiffer = -10; // Java and the executor have both more than one, and not as many
inline constexpr int32_t kStatusNoListener = -17;      // a listener, or its address, cannot be had
inline constexpr int32_t kStatusServerExists = -18;
inline constexpr int32_t kStatusWeight = -20; // negative, or one that the executor does not take
inline constexpr int32_t kStatusServerLimit = -32;
inline constexpr int32_t kStatusCollocatedRouter = -43;
inline constexpr int32_t kStatusBadRouterAddress = -49;
inline constexpr int32_t kStatusCpsMaximum = -58;
inline constexpr int32_t kStatusBadReturnAddress = -76;
inline constexpr int32_t kStatusBadListener = -78;     // what else is wrong with a listener, or there are more than two
inline constexpr int32_t kStatusNoServerId = -80;      // the identifier is missing
inline constexpr int32_t kStatusServerIdTooLong = -85; // more than 64 characters

// Of rules and their servers.
inline constexpr int32_t kStatusRuleExists = -50;
inline constexpr int32_t kStatusBadRuleName = -51; // missing, or more than 20 characters
inline constexpr int32_t kStatusBadRuleType = -52; // outside 0 to 9
inline constexpr int32_t kStatusBadRangeBegin = -53;
inline constexpr int32_t kStatusBadRangeEnd = -54;
inline constexpr int32_t kStatusUnknownRule = -57;
inline constexpr int32_t kStatusRulePriority = -58;
inline constexpr int32_t kStatusServerNotInRule = -59;
inline constexpr int32_t kStatusServerInRule = -60;
inline constexpr int32_t kStatusRuleRange = -82;

// Of the backup and the timers of high availability.
inline constexpr int32_t kStatusBadTimer = -6;       // negative, or no number
inline constexpr int32_t kStatusBadBackupPort = -10; // outside 1 to 65535, or no number
inline constexpr int32_t kStatusTimersRefused = -17;

// Of reach targets.
inline constexpr int32_t kStatusReachRefused = -34;
inline constexpr int32_t kStatusBadReachMask = -46;
inline constexpr int32_t kStatusBadReachAddress = -47;
inline constexpr int32_t kStatusReachNotDeleted = -47; // the address is none, or no target has it

// Of heartbeats.
inline constexpr int32_t kStatusHeartbeatRefused = -35; // for another reason than the next two
inline constexpr int32_t kStatusHeartbeatExists = -44;
inline constexpr int32_t kStatusHeartbeatPair = -45;
inline constexpr int32_t kStatusBadFirstHeartbeat = -46; // of the two addresses of a heartbeat
inline constexpr int32_t kStatusBadSecondHeartbeat = -47;
inline constexpr int32_t kStatusHeartbeatNotDeleted = -47; // the address is none, or no heartbeat has it

// Of taking over.
inline constexpr int32_t kStatusBadTakeOverAddress = -1;
inline constexpr int32_t kStatusTakeOverRefused = -36;

// Of cluster addresses on network interfaces. The status of the command that sets them is returned as it is.
inline constexpr int32_t kStatusNoInterface = -62;   // none on the subnet, no alias free, or a text not fit for a shell
inline constexpr int32_t kStatusNotConfigured = -63; // no alias carries the address, or none that is fit for a shell

// Of server-directed affinity. A refusal is returned as the executor's reason.
inline constexpr int32_t kStatusTooManyAffinities = -101; // more than 3000
inline constexpr int32_t kStatusNoAffinityMemory = -102;

} // namespace rk
