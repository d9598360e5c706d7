// From the executor's state to the plan. Nothing in here changes the state or asks the system. What the engine does is
// known by its features: pools of transports and selectors that it does not do are left out.
#pragma once

#include "executor/forwarding/engine.h"
#include "executor/state/state.h"

namespace rk {

// An IPv4 address of a record; 0.0.0.0 is no address.
Address planAddress(NetworkAddress address);

// As people write it: 10.0.0.1; the empty text when there is no address.
std::string addressText(const Address &address);

PortId portIdOf(const Cluster &cluster, const Port &port);
PoolId poolIdOf(const Cluster &cluster, const Port &port, const Rule *rule, Transport transport);

inline constexpr Transport kTransports[] = {Transport::tcp, Transport::udp};

// Whether connections to the port, or those of one transport, are forwarded.
bool isForwarded(const Port &port, Features features);
bool isForwarded(const Port &port, Transport transport, Features features);

// How the port's own settings have it; an engine that does not do that does as translation.
Method methodOf(const Port &port);

// The port that a port with these settings crosses to; null when it crosses to none.
const Port *crossTarget(const Cluster &cluster, const PortRecord &settings);

// `rule` is null for the port's own pool. `gone` is a port of the cluster that is about to be removed, or null.
PoolSettings planPoolSettings(const Cluster &cluster, const Port &port, const Rule *rule, const Port *gone = nullptr);

// Whether the server has an address that packets can be sent to. Needs no memory.
bool hasUsableAddress(const Server &server);

// None when it has none.
std::optional<PoolServer> planServer(const Port &port, const Server &server);

// False when an engine would take the server without a word and then not do what it is told; `words` say why.
bool isServerForwardable(const Cluster &cluster, const Port &port, const Server &server, Features features,
                         LogText &words);

// None when the engine does not do rules of the type, or when nothing can match. Whether the rule has a server that
// takes connections is not looked at.
std::optional<Selector> planSelector(const Port &port, const Rule &rule, Features features);

// Why two servers cannot be in one pool: they have the same endpoint.
void appendSameEndpoint(LogText &words, const PoolServer &one, const PoolServer &other);

// A pool with its servers: all of the port's, or those of `rule`. False when a server is refused; `words` say why.
bool planPool(const Cluster &cluster, const Port &port, const Rule *rule, Transport transport, Features features,
              Pool &pool, LogText &words);

// Adds a port with all its pools, if any of its transports is forwarded. False when a server is refused; then the plan
// is to be thrown away.
bool planPort(const Cluster &cluster, const Port &port, Features features, Plan &plan, LogText &words);

PlanSettings planSettings(const Executor &executor, const PlanTallies &tallies);

// Counts a pool in, or out of, the tallies, with or without its servers.
void tallyPool(PlanTallies &tallies, const Pool &pool, int32_t difference);
void tallySettings(PlanTallies &tallies, Transport transport, const PoolSettings &settings, int32_t difference);
void tallyServer(PlanTallies &tallies, const PoolServer &server, int32_t difference);

// All that an executor has. False when something is refused; then the plan is to be thrown away.
bool planExecutor(const Executor &executor, Features features, Plan &plan, LogText &words);

} // namespace rk
