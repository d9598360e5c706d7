// The executor's connection records: making and removing one by hand, and a dump of them as text.
#include "library/channel/channel.h"
#include "library/diagnostics/dump.h"
#include "library/native.h"
#include "library/support/CMNImpUtils.h"

#include <cstdio>

using namespace rk;

// TCP states as the executor numbers them, which is not the usual order.
extern "C" {
extern const char *const EXC_TCPStates[12];
const char *const EXC_TCPStates[12] = {"CLOSD", "LISTN", "SNSNT", "SNRCV", "ESTBD", "LSTAK",
                                       "TIMWT", "CLSWT", "FNWT1", "FNWT2", "CLSNG", "ABORT"};
}

namespace {

constexpr std::size_t kReportBytes = 128016;
constexpr uint8_t kLastTcpState = 11;
constexpr char kUnknownState[] = "  ?  ";

constexpr char kBanner[] = "CONNECTION COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                           "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                           "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";

void fillRequest(jint first, jint second, jint third, jint fourth, jint fifth, jint sixth) {
    ConnectionRequestRecord &record = ucb.connectionRequest;
    record.second = static_cast<uint16_t>(second);
    record.first = networkAddress(first);
    record.fifth = networkPort(fifth);
    record.third = networkAddress(third);
    record.fourth = fourth;
    record.sixth = networkAddress(sixth);
}

void appendEntries(ReportText &report, const ConnectionListRecord &record) {
    const char *currentState = "";
    for (int i = 0; i < entriesWithin(record.count, kConnections); ++i) {
        const ConnectionEntry &entry = record.entries[i];
        const char *previousState =
            entry.previousTcpState <= kLastTcpState ? EXC_TCPStates[entry.previousTcpState] : kUnknownState;
        // Java servers read the columns as they have always been: an unknown current state shows as an unknown previous
        // state, and the current state repeats that of the row before.
        if (entry.currentTcpState <= kLastTcpState)
            currentState = EXC_TCPStates[entry.currentTcpState];
        else
            previousState = kUnknownState;
        appendLine(report, "%d \t%s:%d \t%s:%d \t%s \t0x%.2X \t%s \t%s \t%d \t%c\n", i,
                   dotted(entry.clientAddress).text, javaInt(entry.clientPort), dotted(entry.clusterAddress).text,
                   javaInt(entry.clusterPort), dotted(entry.serverAddress).text, entry.state, previousState,
                   currentState, ageOf(entry.firstTime, entry.stamp, record.now), entry.mark);
    }
}

} // namespace

JNIEXPORT jint NATIVE(allocateConnectionNative)(JNIEnv *, jobject, jint a1, jint a2, jint a3, jint a4, jint a5,
                                                jint a6) {
    fillRequest(a1, a2, a3, a4, a5, a6);
    return send(ucb.connectionRequest, Command::allocateConnection) == 0 ? 0 : ucb.header.reason;
}

// Unlike allocating, releasing returns the channel's status, not the reason: Java servers depend on it.
JNIEXPORT jint NATIVE(deallocateConnectionNative)(JNIEnv *, jobject, jint a1, jint a2, jint a3, jint a4, jint a5,
                                                  jint a6) {
    fillRequest(a1, a2, a3, a4, a5, a6);
    return send(ucb.connectionRequest, Command::releaseConnection);
}

JNIEXPORT jstring NATIVE(getConnectionInfoNative)(JNIEnv *env, jobject, jint q1, jint q2, jint q3, jint q4, jint q5,
                                                  jint q6, jint detail) {
    ConnectionQueryRecord &query = ucb.connectionQuery;
    query.firstAddress = networkAddress(q1);
    query.firstPort = networkPort(q2).word;
    query.secondAddress = networkAddress(q3);
    query.secondPort = networkPort(q4).word;
    query.thirdAddress = networkAddress(q5);
    query.thirdPort = static_cast<int16_t>(networkPort(q6).word);
    query.detail = detail;
    if (send(ucb.header, Command::readConnections, kWireBytes) != 0)
        return env->NewStringUTF(kKernelError);

    ReportText report;
    if (!openReport(report, kReportBytes))
        return nullptr;
    std::fputs(kBanner, stdout); // Java servers expect it there, not in the text
    std::fflush(stdout);
    const ConnectionListRecord &record = ucb.connections;
    appendLine(report, "Number of connection records = %d\n", record.count);
    appendLine(report, "Num nps = %d\n", record.npsCount);
    if (detail != 0 && record.count != 0) {
        appendText(report,
                   "#\tClientAddr:Port \tClusAddr:Port \tServerAddr \tState \tPrevState \tCurrState \tage(sec)\n");
        appendEntries(report, record);
    }
    return reportToJava(env, report);
}
