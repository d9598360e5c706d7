// Calls natives one after another, each in a world that always answers alike, and names them as it goes: what a
// profiler counts between two marks is one call.
#include "bench/constant_java.h"
#include "bench/full_replies.h"
#include "library/native.h"

#include <cstdio>
#include <cstdlib>

// The profiler divides its counts where this is called.
extern "C" [[gnu::noinline]] void mark() {
    asm volatile("");
}

namespace {

constexpr char kIdentifierOf64[] = "A-CLUSTER-WHOSE-IDENTIFIER-IS-AS-LONG-AS-IT-MAY-BE-64-CHARACTERS";
static_assert(sizeof(kIdentifierOf64) == 64 + 1);

constexpr char kAddress[] = "10.0.0.5"; // an identifier as well
constexpr jint kEntries = 1000;         // of lists and weights

struct Procedure {
    const char *name;
    void (*call)(JNIEnv *env, jobject object);
    const char *text = kAddress; // of all strings
    jint number = 2;             // of all int fields and methods of Java
};

// A call that fails would take another way than the one that is counted.
void must(jint status) {
    if (status != 0) {
        fprintf(stderr, "status %d\n", status);
        exit(1);
    }
}

void must(jstring text) {
    must(text == nullptr ? 1 : 0);
}

// A native with what follows the interface's own object; strings and arrays are the one object as well.
#define RUN(method, ...) [](JNIEnv *env, jobject object) { NATIVE(method)(env, object, __VA_ARGS__); }
// The same for one whose result is a status or a text.
#define CALL(method, ...) [](JNIEnv *env, jobject object) { must(NATIVE(method)(env, object, __VA_ARGS__)); }
#define STRING static_cast<jstring>(object)
#define ARRAY static_cast<jintArray>(object)

constexpr Procedure kProcedures[] = {
    {"key-of-8", RUN(calcClusterIdKeyNative, STRING, STRING)},
    {"key-of-64", RUN(calcClusterIdKeyNative, STRING, STRING), kIdentifierOf64},
    {"address-decimal", CALL(takeoverNative, STRING)},
    {"address-hexadecimal", CALL(takeoverNative, STRING), "0X0A000005"},
    {"address-octal", CALL(takeoverNative, STRING), "012.0.0.05"},

    {"executor-change", CALL(setExecutorStatusNative, object)},
    {"executor-status", CALL(getExecutorStatusNative, object)},
    {"executor-report", CALL(getExecutorReportNative, object)},
    {"executor-cps", CALL(setExecutorCPSNative, object)},
    {"cluster-add", CALL(addClusterNative, object)},
    {"cluster-change", CALL(setClusterStatusNative, object)},
    {"cluster-remove", CALL(removeClusterNative, object)},
    {"cluster-status", CALL(getClusterStatusNative, object)},
    {"cluster-report", CALL(getClusterReportNative, object)},
    {"cluster-cps", CALL(setClusterCPSNative, object)},
    {"cluster-list", CALL(getClustersListNative, object)},
    {"port-add", CALL(addPortNative, object)},
    {"port-change", CALL(setPortStatusNative, object)},
    {"port-remove", CALL(removePortNative, object)},
    {"port-status", CALL(getPortStatusNative, object)},
    {"port-report", CALL(getPortReportNative, object)},
    {"port-cps", CALL(setPortCPSNative, object)},
    {"port-list", CALL(getPortsListNative, STRING, object)},
    {"server-add-2-listeners", CALL(addServerNative, object)},
    {"server-change-2-listeners", CALL(setServerStatusNative, object)},
    {"server-remove", CALL(removeServerNative, object)},
    {"server-up", CALL(setServerUpNative, object)},
    {"server-cps", CALL(setServerCPSNative, object)},
    {"server-report", CALL(getServerReportNative, object)},
    {"server-status", CALL(getServerStatusNative, object)},
    {"server-list", CALL(getServersListNative, STRING, 80, object, ARRAY)},
    {"weights-read", CALL(getServerWeightsNative, object, kEntries)},
    {"weights-write", CALL(setServerWeightsNative, object, kEntries)},
    {"rule-add", CALL(addRuleNative, object)},
    {"rule-change", CALL(setRuleStatusNative, object)},
    {"rule-remove", CALL(removeRuleNative, object)},
    {"rule-status", CALL(getRuleStatusNative, object)},
    {"rule-report", CALL(getRuleReportNative, object)},
    {"rule-cps", CALL(setRuleCPSNative, object)},
    {"rule-list", CALL(getRulesListNative, STRING, 80, object)},
    {"rule-server-add", CALL(addServertoRuleNative, object, object, 1)},
    {"rule-server-list", CALL(getRuleServersListNative, object, object), kAddress, kEntries},

    {"ha-status", CALL(getHAInfoNative, object)},
    {"ha-backup-add", CALL(backupAddNative, 1, 2, STRING), "12345"},
    {"ha-reach-add", CALL(addReachNative, STRING, STRING, 1)},
    {"ha-heartbeat-add", CALL(addHBNative, STRING, STRING)},
    {"ha-timers", CALL(setTimersNative, STRING, STRING, STRING, STRING, STRING, STRING, STRING), "12345"},
    {"interfaces-read", RUN(setInterfacesNative, object)},
    {"interfaces-find-subnet", RUN(getNicAddrNative, 0x0B000001, 0)},
    {"alias-status", CALL(clusterConfigureStatusNative, object)},
    {"alias-info", CALL(getAddressConfigureInfoNative, object)},

    {"log-level", CALL(xloglevelNative, 1)},
    {"log-head", CALL(xlogheadNative, 1000, 0)},
    {"log-tail", CALL(xlogtailNative, 1000)},
    {"connection-allocate", CALL(allocateConnectionNative, 1, 2, 3, 4, 5, 6)},
    {"connection-dump", CALL(getConnectionInfoNative, 1, 2, 3, 4, 5, 6, 1)},
    {"affinity-dump", CALL(getAffinityInfoNative, 1, 2, 1)},
    {"affinity-exchange-1000", CALL(serverDirectedAffinityNative, object), kAddress, kEntries},
    {"debug-counters", CALL(xmiscNative, 0, 0, 0, 0)},
    {"debug-cards", CALL(xmiscNative, 1, 0, 0, 0)},
    {"debug-interfaces", CALL(xmiscNative, 8, 0, 0, 0)},
    {"debug-return-addresses", CALL(xmiscNative, 10, 0, 0, 0)},
    {"debug-connection-lists", CALL(xmiscNative, 11, 0, 0, 0)},
    {"debug-affinity-lists", CALL(xmiscNative, 12, 0, 0, 0)},
    {"half-open", CALL(getHalfOpenInfoNative, object)},
    {"attackers", CALL(getAttackingAddrsNative, object, 1, 2)},
    {"attack-protection", CALL(xDOSAttackNative, 1, 2, 3, 4, 5, 6, 7, 8)},
    {"icmp-read", CALL(getIcmpInfoNative, object)},
    {"icmp-write", CALL(setIcmpInfoNative, object)},
};

} // namespace

int main() {
    JNIEnv *env = constant_java::env();
    full::answerAll(kEntries);
    Java_com_qel_internet_rk_common_CMNExecutorInterface_setKVAServerModalityNative(env, nullptr, 1);
    for (const Procedure &procedure : kProcedures) {
        constant_java::give(procedure.number, procedure.text);
        printf("procedure %s\n", procedure.name);
        fflush(stdout);
        mark();
        procedure.call(env, constant_java::kObject);
    }
    mark();
    return 0;
}
