// Rules decide which servers of a port take a connection.
#include "library/config/rules.h"
#include "library/config/ports.h"
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/lists.h"
#include "library/shared/settings.h"
#include "library/support/owners.h"

using namespace rk;

namespace {

constexpr int8_t kHighestRuleType = 9;
constexpr int kServiceBits = 8;

constexpr ReasonRow kAddOrSetReasons[] = {
    {kRuleExists, kStatusRuleExists},         {kRulePriority, kStatusRulePriority},
    {kRuleRange, kStatusRuleRange},           {kRuleOutOfMemory, kStatusOutOfMemory},
    {kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}};
constexpr ReasonRow kReasons[] = {
    {kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}, {kUnknownRule, kStatusUnknownRule}};
constexpr ReasonRow kListReasons[] = {{kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}};

// Stores the rule's type when Java gives one. Otherwise asks the executor for the rule's record, which fills the block
// with the rule as the executor knows it. That replaces what was stored before, the configuration source included, and
// Java servers depend on it.
int32_t storeRuleType(JNIEnv *env, jobject rule, RuleRecord &record, bool isNamed) {
    if (!flagFromJava(env, rule, "SetRuleType", record.setRuleType))
        return isNamed ? getRuleType() : kStatusOther;
    int8_t type = 0;
    fromJava(env, rule, "RuleType", type);
    if (type < 0 || type > kHighestRuleType)
        return kStatusBadRuleType;
    record.ruleType = type;
    return 0;
}

// Stores one end of the range: an address when the rule's type says so, otherwise a number.
int32_t storeRangeEnd(JNIEnv *env, jobject rule, int8_t type, const char *addressName, const char *numberName,
                      int32_t badAddress, int32_t &field) {
    if (type != kRuleTypeAddress) {
        fromJava(env, rule, numberName, field);
        return 0;
    }
    NetworkAddress address;
    if (addressFromJava(env, rule, addressName, address) != 0)
        return badAddress;
    field = static_cast<int32_t>(address.word);
    return 0;
}

// Stores the type-of-service bits from a text of eight characters, the first for bit 7: "0" and "1" say what the bit
// must be, and any other character that it does not matter. A shorter text says nothing of the remaining bits.
void storeServiceBits(JNIEnv *env, jobject rule, RuleRecord &record) {
    if (!flagFromJava(env, rule, "SetServiceTOS", record.setServiceTos))
        return;
    record.serviceBitsClear = 0;
    record.serviceBitsSet = 0;
    const LocalReference string(env, stringFromJava(env, rule, "ServiceTOS"));
    const Characters characters(env, string.reference);
    const char *text = characters.text;
    for (int i = 0; text != nullptr && i < kServiceBits && text[i] != '\0'; ++i) {
        const auto bit = static_cast<uint8_t>(0x80 >> i);
        if (text[i] == '0')
            record.serviceBitsClear |= bit;
        else if (text[i] == '1')
            record.serviceBitsSet |= bit;
    }
}

void serviceBitsToJava(JNIEnv *env, jobject rule, const RuleRecord &record) {
    char text[kServiceBits + 1] = {};
    for (int i = 0; record.ruleType == kRuleTypeService && i < kServiceBits; ++i) {
        const int bit = 0x80 >> i;
        if ((record.serviceBitsClear & bit) != 0)
            text[i] = '0';
        else
            text[i] = (record.serviceBitsSet & bit) != 0 ? '1' : 'x';
    }
    SetJavaStringField(env, rule, "ServiceTOS", text);
}

// Hands one end of the range to Java both as an address and as a number, whatever the rule's type.
void rangeEndToJava(JNIEnv *env, jobject rule, const char *addressName, const char *numberName, int32_t field) {
    SetJavaStringFieldToAddr(env, rule, addressName, static_cast<uint32_t>(field));
    toJava(env, rule, numberName, field);
}

// SetConfigSource is not handed back: Java servers depend on keeping theirs.
void flagsOfRecordToJava(JNIEnv *env, jobject rule, const RuleRecord &record) {
    flagsToJava(env, rule,
                {{"SetRuleType", record.setRuleType},
                 {"SetBeginRange", record.setBeginRange},
                 {"SetEndRange", record.setEndRange},
                 {"SetPriority", record.setPriority},
                 {"SetPattern", record.setPattern},
                 {"SetServiceTOS", record.setServiceTos},
                 {"SetShareLevel", record.setShareLevel},
                 {"SetEvaluate", record.setEvaluate},
                 {"SetWhatAffinity", record.setWhatAffinity},
                 {"SetStickyTime", record.setStickyTime},
                 {"SetCookieName", record.setCookieName}});
}

// Stores the keys and the name of a request about a rule. Returns 0, or the status of what is wrong with them.
template <typename Record> int32_t keysFromJava(JNIEnv *env, jobject rule, Record &record) {
    const bool isNamed = clusterKeyFromJava(env, rule, record.clusterKey);
    int32_t status = portFromJava(env, rule, "PortNumber", record.port);
    if (status == 0)
        status = ruleNameFromJava(env, rule, record.ruleName);
    return status == 0 && !isNamed ? kStatusOther : status;
}

// Appends the names of a port's rules. Returns 0 or a status.
int32_t listRules(JNIEnv *env, jstring clusterId, jint port, ReportText &text) {
    uint32_t clusterKey = 0;
    if (const int32_t status = reportOfListedPort(env, clusterId, port, clusterKey); status != 0)
        return status;
    const int32_t room = ucb.portReport.numberOfRules;
    const auto block = allocateBlock<RuleListBlock, RuleListEntry>(room, clusterKey, networkPort(port));
    if (block == nullptr)
        return kStatusOutOfMemory;
    const int32_t status = sendBlock(block->header, Command::listRules, kListReasons);
    if (status == 0)
        appendNames(text, entriesOf<const RuleListEntry>(block.get()), room, &RuleListEntry::ruleName);
    return status;
}

} // namespace

int32_t getRuleType() {
    return sendAndMap(ucb.rule, Command::readRuleSettings, kReasons);
}

int32_t AddOrSetRule(JNIEnv *env, jobject, jobject rule) {
    RuleRecord &record = ucb.rule;
    const Command command = record.header.command; // storeRuleType may replace it
    const bool isNamed = clusterKeyFromJava(env, rule, record.clusterKey);
    int32_t status = portFromJava(env, rule, "PortNumber", record.port);
    if (status != 0)
        return status;
    (void)flagFromJava(env, rule, "SetConfigSource", record.setConfigSource); // the source travels in any case
    fromJava(env, rule, "_iConfigSource", record.configSource);
    status = ruleNameFromJava(env, rule, record.ruleName);
    if (status != 0)
        return status;
    status = storeRuleType(env, rule, record, isNamed);
    if (status != 0)
        return status;
    if (flagFromJava(env, rule, "SetBeginRange", record.setBeginRange))
        status = storeRangeEnd(env, rule, record.ruleType, "AddressBeginRange", "BeginRange", kStatusBadRangeBegin,
                               record.beginRange);
    if (status != 0)
        return status;
    if (flagFromJava(env, rule, "SetEndRange", record.setEndRange))
        status = storeRangeEnd(env, rule, record.ruleType, "AddressEndRange", "EndRange", kStatusBadRangeEnd,
                               record.endRange);
    if (status != 0)
        return status;
    copyIfFlagged(env, rule, "SetPriority", record.setPriority, "Priority", record.priority);
    copyIfFlagged(env, rule, "SetShareLevel", record.setShareLevel, "iShareLevel", record.shareLevel);
    storeServiceBits(env, rule, record);
    copyTextIfFlagged(env, rule, "SetPattern", record.setPattern, "Pattern", record.pattern);
    copyWidenedIfFlagged(env, rule, "SetEvaluate", record.setEvaluate, "bEvaluate", record.evaluate);
    copyIfFlagged(env, rule, "SetWhatAffinity", record.setWhatAffinity, "WhatAffinity", record.whatAffinity);
    copyIfFlagged(env, rule, "SetStickyTime", record.setStickyTime, "StickyTime", record.stickyTime);
    copyTextIfFlagged(env, rule, "SetCookieName", record.setCookieName, "CookieName", record.cookieName);
    textFromJava(env, rule, "sHashID", record.hashId);

    if (!isNamed)
        return kStatusOther;
    status = sendAndMap(record, command, kAddOrSetReasons);
    flagsOfRecordToJava(env, rule, record);
    return status;
}

JNIEXPORT jint NATIVE(addRuleNative)(JNIEnv *env, jobject interface, jobject rule) {
    if (!requireObject(env, rule, "rule"))
        return kStatusOther;
    ucb.header.command = Command::addRule;
    return AddOrSetRule(env, interface, rule);
}

JNIEXPORT jint NATIVE(setRuleStatusNative)(JNIEnv *env, jobject interface, jobject rule) {
    if (!requireObject(env, rule, "rule"))
        return kStatusOther;
    ucb.header.command = Command::writeRuleSettings;
    return AddOrSetRule(env, interface, rule);
}

JNIEXPORT jint NATIVE(removeRuleNative)(JNIEnv *env, jobject, jobject rule) {
    if (!requireObject(env, rule, "rule"))
        return kStatusOther;
    const int32_t status = keysFromJava(env, rule, ucb.rule);
    return status != 0 ? status : sendAndMap(ucb.rule, Command::removeRule, kReasons);
}

JNIEXPORT jint NATIVE(getRuleStatusNative)(JNIEnv *env, jobject, jobject rule) {
    if (!requireObject(env, rule, "rule"))
        return kStatusOther;
    RuleRecord &record = ucb.rule;
    if (const int32_t status = keysFromJava(env, rule, record); status != 0)
        return status;
    if (const int32_t status = sendAndMap(record, Command::readRuleSettings, kReasons); status != 0)
        return status;
    toJava(env, rule, "RuleType", record.ruleType);
    rangeEndToJava(env, rule, "AddressBeginRange", "BeginRange", record.beginRange);
    rangeEndToJava(env, rule, "AddressEndRange", "EndRange", record.endRange);
    toJava(env, rule, "Priority", record.priority);
    toJava(env, rule, "_iConfigSource", record.configSource);
    toJava(env, rule, "iShareLevel", record.shareLevel);
    toJava(env, rule, "NumServers", record.numberOfServers);
    toJava(env, rule, "Pattern", record.pattern);
    toJava(env, rule, "bEvaluate", static_cast<int8_t>(record.evaluate));
    toJava(env, rule, "WhatAffinity", int32_t{static_cast<int8_t>(record.whatAffinity)}); // the low byte
    toJava(env, rule, "CookieName", record.cookieName);
    toJava(env, rule, "StickyTime", static_cast<int32_t>(record.stickyTime)); // the low 32 bits
    serviceBitsToJava(env, rule, record);
    return 0;
}

JNIEXPORT jint NATIVE(getRuleReportNative)(JNIEnv *env, jobject, jobject rule) {
    if (!requireObject(env, rule, "rule"))
        return kStatusOther;
    RuleReportRecord &record = ucb.ruleReport;
    if (const int32_t status = keysFromJava(env, rule, record); status != 0)
        return status;
    if (const int32_t status = sendAndMap(record, Command::readRuleReport, kReasons); status != 0)
        return status;
    toJava(env, rule, "TimesFired", record.timesFired);
    toJava(env, rule, "iUniqueId", record.uniqueId);
    toJava(env, rule, "NumServers", record.numberOfServers);
    toJava(env, rule, "iConnectionsPerSecond", record.connectionsPerSecond);
    toJava(env, rule, "ActiveConnections", record.activeConnections);
    toJava(env, rule, "iBytesPerSecond", record.bytesPerSecond);
    return 0;
}

// Unlike elsewhere, Java servers may give any port here, whose low 16 bits are sent, and a name of any length.
JNIEXPORT jint NATIVE(setRuleCPSNative)(JNIEnv *env, jobject, jobject rule) {
    if (!requireObject(env, rule, "rule"))
        return kStatusOther;
    RuleReportRecord &record = ucb.ruleReport;
    fromJava(env, rule, "iConnectionsPerSecond", record.connectionsPerSecond);
    const bool isNamed = clusterKeyFromJava(env, rule, record.clusterKey);
    fromJava(env, rule, "PortNumber", record.port);
    textFromJava(env, rule, "RuleName", record.ruleName);
    if (!isNamed)
        return kStatusOther;
    return send(record, Command::setRuleCps);
}

JNIEXPORT jint NATIVE(getRulesListNative)(JNIEnv *env, jobject, jstring clusterId, jint port, jobject list) {
    if (!requireObject(env, list, "list"))
        return kStatusOther;
    ReportText text;
    if (!openReport(text, kListTextBytes))
        return kStatusOutOfMemory;
    const int32_t status = listRules(env, clusterId, port, text);
    appendReportToJava(env, list, text);
    return status;
}
