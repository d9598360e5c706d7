// Putting servers of a port into a rule, taking them out, and listing them.
#include "library/config/membership.h"
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/lists.h"
#include "library/shared/settings.h"

#include <cstring>

using namespace rk;

namespace {

constexpr ReasonRow kReasons[] = {
    {kUnknownCluster, kStatusUnknownCluster},  {kUnknownPort, kStatusUnknownPort},
    {kUnknownServer, kStatusUnknownServer},    {kUnknownRule, kStatusUnknownRule},
    {kServerInRule, kStatusServerInRule},      {kMembershipOutOfMemory, kStatusOutOfMemory},
    {kServerNotInRule, kStatusServerNotInRule}};
constexpr ReasonRow kListReasons[] = {
    {kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}, {kUnknownRule, kStatusUnknownRule}};

int32_t addOrRemove(JNIEnv *env, jobject interface, jobject rule, jobject server, jint argument, Command command) {
    if (!requireObject(env, rule, "rule") || !requireObject(env, server, "server"))
        return kStatusOther;
    ucb.header.command = command;
    return addOrRemoveServer(env, interface, rule, server, argument);
}

// What a list is asked for.
struct ListRequest {
    bool isNamed; // there is a cluster identifier
    uint32_t clusterKey;
    NetworkPort port;
    char ruleName[21];
    jint count; // of servers, as the Java object says; the executor is not asked for it
};

// Reads the request. Returns 0 or a status; a missing cluster identifier is left to the caller.
int32_t listRequestFromJava(JNIEnv *env, jobject rule, ListRequest &request) {
    request.isNamed = clusterKeyFromJava(env, rule, request.clusterKey);
    int32_t status = portFromJava(env, rule, "PortNumber", request.port);
    if (status == 0)
        status = ruleNameFromJava(env, rule, request.ruleName);
    if (status != 0)
        return status;
    request.count = intFromJava(env, rule, "NumServers");
    return request.count < 0 ? kStatusOther : 0;
}

// Appends the names of a rule's servers. Returns 0 or a status.
int32_t listServers(const ListRequest &request, ReportText &text) {
    const auto block = allocateBlock<ServerListBlock, ServerListEntry>(request.count, request.clusterKey, request.port);
    if (block == nullptr)
        return kStatusOutOfMemory;
    std::memcpy(block->ruleName, request.ruleName, sizeof(block->ruleName));
    const int32_t status =
        request.isNamed ? sendBlock(block->header, Command::listRuleServers, kListReasons) : kStatusOther;
    if (status == 0)
        appendNames(text, entriesOf<const ServerListEntry>(block.get()), request.count, &ServerListEntry::serverId);
    return status;
}

} // namespace

int32_t addOrRemoveServer(JNIEnv *env, jobject, jobject rule, jobject server, jint argument) {
    RuleMembershipRecord &record = ucb.ruleMembership;
    const bool isNamed = clusterKeyFromJava(env, rule, record.clusterKey);
    int32_t status = portFromJava(env, rule, "PortNumber", record.port);
    if (status == 0)
        status = ruleNameFromJava(env, rule, record.ruleName);
    if (status != 0)
        return status;
    record.serverKey = serverKeyFromJava(env, server);
    record.argument = argument;
    if (!isNamed)
        return kStatusOther;
    return sendAndMap(record, record.header.command, kReasons);
}

JNIEXPORT jint NATIVE(addServertoRuleNative)(JNIEnv *env, jobject interface, jobject rule, jobject server,
                                             jint argument) {
    return addOrRemove(env, interface, rule, server, argument, Command::addServerToRule);
}

JNIEXPORT jint NATIVE(removeServerfromRuleNative)(JNIEnv *env, jobject interface, jobject rule, jobject server,
                                                  jint argument) {
    return addOrRemove(env, interface, rule, server, argument, Command::removeServerFromRule);
}

JNIEXPORT jint NATIVE(getRuleServersListNative)(JNIEnv *env, jobject, jobject rule, jobject list) {
    if (!requireObject(env, rule, "rule") || !requireObject(env, list, "list"))
        return kStatusOther;
    ListRequest request = {};
    if (const int32_t status = listRequestFromJava(env, rule, request); status != 0)
        return status;
    ReportText text;
    if (!openReport(text, kListTextBytes))
        return kStatusOutOfMemory;
    const int32_t status = listServers(request, text);
    appendReportToJava(env, list, text);
    return status;
}
