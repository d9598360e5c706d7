// The executor's affinity records: a dump of them as text, and requests about many of them.
#include "library/diagnostics/dump.h"
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/settings.h"
#include "library/shared/statuses.h"
#include "library/support/owners.h"

#include <cstdlib>

using namespace rk;

namespace {

constexpr std::size_t kReportBytes = 10000;

constexpr char kBanner[] = "AFFINITY COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                           "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                           "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";

void appendEntries(ReportText &report, const AffinityRecord &record) {
    appendText(report, record.alternativeHeader != 0 ? "ServerAddr - Age - Len - ID \n"
                                                     : "ClientAddr - ServerAddr - NumActive - Age(sec)\n");
    const auto *entries = entriesOf<const AffinityEntry>(&record);
    for (int i = 0; i < entriesWithin(static_cast<int32_t>(record.count), kWireAffinities); ++i) {
        const AffinityEntry &entry = entries[i];
        appendLine(report, "%s - %s - %d - %d \n", dotted({entry.clientAddress}).text,
                   dotted({entry.serverAddress}).text, static_cast<int32_t>(entry.activeConnections),
                   ageOf(entry.firstTime, entry.stamp, record.now));
    }
}

// Java gets the status twice: as the result, and in the request object.
int32_t respond(JNIEnv *env, jobject request, int32_t status) {
    SetJavaIntField(env, request, "iResponse", status);
    return status;
}

// The key of a server whose identifier is its dotted address. The int is in host order, and getAddress prints bytes as
// they stand in memory: converted first, 10.0.0.5 has the key of "10.0.0.5" on machines of either byte order.
uint32_t keyOfAddress(jint address) {
    char text[16];
    getAddress(networkAddress(address).word, text);
    uint32_t key = 0;
    makeHashResult(text, &key);
    return key;
}

// Fills the entries from the request's arrays. Returns 0; kStatusNoAffinityMemory when memory is short; kStatusOther
// when an array cannot be read, with its exception pending.
int32_t entriesFromJava(JNIEnv *env, jobject request, AffinityEntry *entries, int count) {
    const HeapBlock<jint> columns(static_cast<jint *>(std::calloc(static_cast<std::size_t>(count), 2 * sizeof(jint))));
    if (columns == nullptr)
        return kStatusNoAffinityMemory;
    jint *clients = columns.get();
    jint *servers = clients + count;
    GetJavaIntArrayField(env, request, "aiClientAddr", 0, count, clients);
    if (!env->ExceptionCheck())
        GetJavaIntArrayField(env, request, "aiServerAddr", 0, count, servers);
    if (env->ExceptionCheck())
        return kStatusOther;
    for (int i = 0; i < count; ++i) {
        entries[i].clientAddress = static_cast<uint32_t>(clients[i]);
        entries[i].serverAddress = static_cast<uint32_t>(servers[i]);
        entries[i].serverKey = keyOfAddress(servers[i]);
    }
    return 0;
}

// Does nothing while the exception of an earlier column is pending.
void columnUnlessThrown(JNIEnv *env, jobject request, const char *name, const AffinityEntry *entries, int count,
                        uint32_t AffinityEntry::*field, jint *values) {
    if (!env->ExceptionCheck())
        columnToJava(env, request, name, entries, count, field, values);
}

int32_t entriesToJava(JNIEnv *env, jobject request, const AffinityEntry *entries, int count) {
    const HeapBlock<jint> column(static_cast<jint *>(std::calloc(static_cast<std::size_t>(count), sizeof(jint))));
    jint *values = column.get();
    if (values == nullptr)
        return kStatusNoAffinityMemory;
    columnUnlessThrown(env, request, "aiClientAddr", entries, count, &AffinityEntry::clientAddress, values);
    columnUnlessThrown(env, request, "aiServerAddr", entries, count, &AffinityEntry::serverAddress, values);
    columnUnlessThrown(env, request, "aiNumActive", entries, count, &AffinityEntry::activeConnections, values);
    columnUnlessThrown(env, request, "aiAgeOrResponse", entries, count, &AffinityEntry::stamp, values);
    return 0;
}

} // namespace

JNIEXPORT jstring NATIVE(getAffinityInfoNative)(JNIEnv *env, jobject, jint clusterAddress, jint port, jint detail) {
    AffinityRecord &record = ucb.affinity;
    record.clusterAddress = networkAddress(clusterAddress).word;
    record.port = networkPort(port);
    record.count = static_cast<uint32_t>(detail);
    if (send(ucb.header, Command::readAffinities, kWireBytes) != 0)
        return env->NewStringUTF(kKernelError);
    ReportText report;
    if (!openReport(report, kReportBytes))
        return nullptr;
    appendText(report, kBanner);
    appendLine(report, "Sticky client address mask = 0x%X\n", record.clientMask);
    appendLine(report, "Number of affinity records = %d\n", static_cast<int32_t>(record.count));
    if (detail != 0 && record.count != 0)
        appendEntries(report, record);
    return reportToJava(env, report);
}

JNIEXPORT jint NATIVE(serverDirectedAffinityNative)(JNIEnv *env, jobject, jobject request) {
    if (!requireObject(env, request, "request"))
        return kStatusOther;
    AffinityRecord &record = ucb.affinity;
    fromJava(env, request, "iCommand", record.command);
    record.clusterAddress = static_cast<uint32_t>(intFromJava(env, request, "iClusterAddr"));
    fromJava(env, request, "iPort", record.port);
    record.count = static_cast<uint32_t>(intFromJava(env, request, "iNumAffinities"));
    if (record.count > kAffinities)
        return respond(env, request, kStatusTooManyAffinities);
    auto *entries = entriesOf<AffinityEntry>(&record);
    const int sent = static_cast<int>(record.count);
    if (sent != 0)
        if (const int32_t status = entriesFromJava(env, request, entries, sent); status != 0)
            return status == kStatusNoAffinityMemory ? respond(env, request, status) : status;

    // The block is longer when it carries more entries than the wire size holds.
    const int room = sent > kWireAffinities ? sent : kWireAffinities;
    const std::size_t length = sizeof record + static_cast<std::size_t>(room) * sizeof(AffinityEntry);
    if (send(record.header, Command::serverDirectedAffinity, length) != 0)
        return respond(env, request, record.header.reason);
    toJava(env, request, "iResponse", record.response);
    toJava(env, request, "iTime", record.now);
    toJava(env, request, "iNumAffinities", record.count);
    const int filled = entriesWithin(static_cast<int32_t>(record.count), room);
    const int32_t status = filled == 0 ? 0 : entriesToJava(env, request, entries, filled);
    return status == 0 ? 0 : respond(env, request, status);
}
