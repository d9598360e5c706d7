// Which servers of its port a rule chooses among.
#include "library/config/membership.h"
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/lists.h"
#include "library/shared/settings.h"

#include <cstring>

using namespace rk;

namespace {

constexpr ReasonRow kReasons[] = {{-5, -5}, {-1, -12}, {-11, -19}, {-44, -57}, {-48, -60}, {-49, -28}, {-51, -59}};
constexpr ReasonRow kListReasons[] = {{-5, -5}, {-1, -12}, {-44, -57}};

int32_t addOrRemove(JNIEnv *env, jobject interface, jobject rule, jobject server, jint argument, Command command) {
    if (!required(env, rule, "rule") || !required(env, server, "server"))
        return kStatusOther;
    ucb.header.command = command;
    return addOrRemoveServer(env, interface, rule, server, argument);
}

// What a list is about, and how many servers the Java object says there are: the executor is not asked for that first.
int32_t listRequestFromJava(JNIEnv *env, jobject rule, ServerListBlock &request, jint &count) {
    int32_t status = clusterAndPortFromJava(env, rule, "PortNumber", request.clusterKey, request.port);
    if (status == 0)
        status = ruleNameFromJava(env, rule, request.ruleName);
    if (status == 0 && GetJavaIntField(env, rule, "NumServers", &count) < 0)
        status = kStatusOther;
    return status;
}

// Appends the names of a rule's servers. Returns 0 or a status.
int32_t listServers(const ServerListBlock &request, jint count, ReportText &text) {
    auto *block = allocateBlock<ServerListBlock, ServerListEntry>(count, request.clusterKey, request.port);
    if (block == nullptr)
        return kStatusOutOfMemory;
    memcpy(block->ruleName, request.ruleName, sizeof(block->ruleName));
    const int32_t status = sendBlock(block->header, Command::listRuleServers, kListReasons);
    if (status == 0)
        appendNames(text, entriesOf<const ServerListEntry>(block), count, &ServerListEntry::serverId);
    free(block);
    return status;
}

} // namespace

int32_t addOrRemoveServer(JNIEnv *env, jobject, jobject rule, jobject server, jint argument) {
    RuleMembershipRecord &record = ucb.ruleMembership;
    int32_t status = clusterAndPortFromJava(env, rule, "PortNumber", record.clusterKey, record.port);
    if (status == 0)
        status = ruleNameFromJava(env, rule, record.ruleName);
    if (status != 0)
        return status;
    record.serverKey = serverKeyFromJava(env, server);
    record.argument = argument;
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
    if (!required(env, rule, "rule") || !required(env, list, "list"))
        return kStatusOther;
    ServerListBlock request = {};
    jint count = 0;
    if (const int32_t status = listRequestFromJava(env, rule, request, count); status != 0)
        return status;
    ReportText text;
    if (!openReport(text, kListTextBytes))
        return kStatusOutOfMemory;
    const int32_t status = listServers(request, count, text);
    appendReportToJava(env, list, text);
    return status;
}
