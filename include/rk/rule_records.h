// Records of the rules of a port.
#pragma once

#include "rk/command_header.h"

namespace rk {

inline constexpr int8_t kRuleTypeAddress = 1; // its range is made of addresses
inline constexpr int8_t kRuleTypeService = 7; // matches the type-of-service byte

// Commands addRule, removeRule, readRuleSettings and writeRuleSettings.
struct RuleRecord {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    char ruleName[21]; // at most 20 characters
    int8_t ruleType;
    int32_t beginRange; // for kRuleTypeAddress an address in network byte order, else a number in host order
    int32_t endRange;   // likewise
    int32_t evaluate;
    int32_t whatAffinity;
    uint8_t unused_60[4];
    int64_t stickyTime; // a native 64-bit integer, unlike the split ones of clusters and ports
    int32_t priority;
    int32_t shareLevel;
    int32_t configSource;
    char pattern[100];
    uint8_t serviceBitsClear; // type-of-service bits that must be 0
    uint8_t serviceBitsSet;   // type-of-service bits that must be 1
    uint8_t setRuleType;
    uint8_t setBeginRange;
    uint8_t setEndRange;
    uint8_t setPriority;
    uint8_t setConfigSource;
    uint8_t setPattern;
    uint8_t setServiceTos;
    uint8_t setShareLevel;
    uint8_t setEvaluate;
    uint8_t setWhatAffinity;
    uint8_t setStickyTime;
    uint8_t setCookieName;
    uint8_t unused_198[2];
    int32_t numberOfServers; // reply only
    char cookieName[100];
    char hashId[40];
};

static_assert(sizeof(RuleRecord) == 344);
RK_AT(RuleRecord, clusterKey, 16);
RK_AT(RuleRecord, port, 20);
RK_AT(RuleRecord, ruleName, 22);
RK_AT(RuleRecord, ruleType, 43);
RK_AT(RuleRecord, beginRange, 44);
RK_AT(RuleRecord, endRange, 48);
RK_AT(RuleRecord, evaluate, 52);
RK_AT(RuleRecord, whatAffinity, 56);
RK_AT(RuleRecord, stickyTime, 64);
RK_AT(RuleRecord, priority, 72);
RK_AT(RuleRecord, shareLevel, 76);
RK_AT(RuleRecord, configSource, 80);
RK_AT(RuleRecord, pattern, 84);
RK_AT(RuleRecord, serviceBitsClear, 184);
RK_AT(RuleRecord, serviceBitsSet, 185);
RK_AT(RuleRecord, setRuleType, 186);
RK_AT(RuleRecord, setBeginRange, 187);
RK_AT(RuleRecord, setEndRange, 188);
RK_AT(RuleRecord, setPriority, 189);
RK_AT(RuleRecord, setConfigSource, 190);
RK_AT(RuleRecord, setPattern, 191);
RK_AT(RuleRecord, setServiceTos, 192);
RK_AT(RuleRecord, setShareLevel, 193);
RK_AT(RuleRecord, setEvaluate, 194);
RK_AT(RuleRecord, setWhatAffinity, 195);
RK_AT(RuleRecord, setStickyTime, 196);
RK_AT(RuleRecord, setCookieName, 197);
RK_AT(RuleRecord, numberOfServers, 200);
RK_AT(RuleRecord, cookieName, 204);
RK_AT(RuleRecord, hashId, 304);

// Commands readRuleReport and setRuleCps.
struct RuleReportRecord {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_22[2];
    int32_t connectionsPerSecond; // request of setRuleCps, reply of readRuleReport
    int32_t activeConnections;
    char ruleName[21]; // at most 20 characters
    uint8_t unused_53[3];
    int32_t uniqueId;
    int32_t timesFired;
    int32_t numberOfServers;
    uint8_t unused_68[16];
    int32_t bytesPerSecond;
    uint8_t unused_88[100];
};

static_assert(sizeof(RuleReportRecord) == 188);
RK_AT(RuleReportRecord, clusterKey, 16);
RK_AT(RuleReportRecord, port, 20);
RK_AT(RuleReportRecord, connectionsPerSecond, 24);
RK_AT(RuleReportRecord, activeConnections, 28);
RK_AT(RuleReportRecord, ruleName, 32);
RK_AT(RuleReportRecord, uniqueId, 56);
RK_AT(RuleReportRecord, timesFired, 60);
RK_AT(RuleReportRecord, numberOfServers, 64);
RK_AT(RuleReportRecord, bytesPerSecond, 84);

// Command listRules, in a block of its own with `count` entries behind it.
struct RuleListBlock {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_22[2];
    int32_t count;
};

struct RuleListEntry {
    char ruleName[28];
};

static_assert(sizeof(RuleListBlock) == 28);
RK_AT(RuleListBlock, clusterKey, 16);
RK_AT(RuleListBlock, port, 20);
RK_AT(RuleListBlock, count, 24);
static_assert(sizeof(RuleListEntry) == 28);

} // namespace rk
