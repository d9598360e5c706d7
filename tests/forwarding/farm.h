// Executors as the tests of forwarding configure them: without a front, by commands.
#pragma once

#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor_client.h"

#include <vector>

namespace rk {

// Performs a command on the record. Returns the reason.
template <typename Record> int32_t perform(ExecutorState &state, Record &&record) {
    performCommand(state, &record.header);
    return record.header.reason;
}

// A setting and its flag.
template <typename Value, typename Given> void set(uint8_t &flag, Value &field, Given value) {
    flag = 1;
    field = static_cast<Value>(value);
}

// Requests whose flags are all off.
PortRecord addPortRequest(int number, int32_t type = kPortTypeTcp, int32_t method = kMethodTranslation);
PortRecord changePortRequest(int number);
ServerRecord addServerRequest(int portNumber, uint32_t serverKey, const char *serverId, int32_t weight = 10);
ServerRecord changeServerRequest(int portNumber, uint32_t serverKey);
RuleRecord addRuleRequest(int portNumber, const char *name, int32_t type, int32_t begin, int32_t end, int32_t priority);
RuleRecord changeRuleRequest(int portNumber, const char *name);

// An address as the range of a rule carries it.
int32_t rangeAddress(const char *dotted);

struct TestListener {
    const char *address;
    int mapPort = 0; // 0: none
};
void setListeners(ServerRecord &record, const std::vector<TestListener> &listeners);

// The two below are to succeed.
void startFarm(ExecutorState &state, const char *clusterAddress = "10.1.0.1");
void addMember(ExecutorState &state, int portNumber, const char *ruleName, uint32_t serverKey);

// Binds a client to a server, or, with command 2, releases it. Returns the reason of the command.
int32_t directClient(ExecutorState &state, int portNumber, const char *client, uint32_t serverKey, int32_t command = 1);

int32_t setWeights(ExecutorState &state, int portNumber, const std::vector<std::pair<uint32_t, int16_t>> &weights);

} // namespace rk
