// The executor's own settings and counters.
#include "executor/commands/commands.h"
#include "executor/commands/port_defaults.h"
#include "executor/state/log_text.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <ctime>

namespace rk {

namespace {

constexpr char kVersion[] = "Reference executor " RK_VERSION;

} // namespace

void startExecutor(ExecutorState &state) {
    state.isStarted = true;
    state.executor = Executor{};
    state.executor.timeStarted = static_cast<int32_t>(std::time(nullptr));

    ExecutorSettingsRecord &settings = state.executor.settings;
    settings.traceLevel = kDefaultTraceLevel;
    settings.maxNumberOfClusters = kDefaultMaxClusters;
    settings.defaultClusterMaxPorts = kDefaultClusterMaxPorts;
    settings.finTimeout = splitInt64(kDefaultFinTimeout);
    settings.haTimeout = splitInt64(kDefaultHaTimeout);
    settings.haSyncTimeout = splitInt64(kDefaultHaSyncTimeout);
    settings.defaultPortMaxServers = kDefaultPortMaxServers;
    settings.defaultPortStaleTimeout = splitInt64(kDefaultStaleTimeout);
    settings.defaultPortStickyTime = splitInt64(kDefaultStickyTime);
    settings.defaultPortWeightBound = kDefaultWeightBound;
    settings.defaultPortType = kPortTypeTcpAndUdp;

    state.trace.length = 0;
    state.toldInterfaces.count = 0;
    LogText line;
    appendTime(line);
    append(line, " executor started");
    addLine(state.trace, line.text);
}

int32_t readExecutorSettings(const Executor &executor, ExecutorSettingsRecord &record) {
    replyWith(executor.settings, record);
    return 0;
}

int32_t writeExecutorSettings(Executor &executor, const ExecutorSettingsRecord &record) {
    ExecutorSettingsRecord settings = executor.settings;
    if (!applySettings(kExecutorSettings, record.header, settings.header))
        return kOutOfRange;
    if (settings.maxNumberOfClusters < numberOf(executor.clusters))
        return kOutOfRange;
    if (const int32_t reason = checkLimits(kExecutorSettings, settings.header); reason != 0)
        return reason;
    executor.settings = settings;
    return 0;
}

int32_t readExecutorReport(const Executor &executor, const Traffic &traffic, ExecutorReportRecord &record) {
    Counts counts;
    if (!readCounts(traffic, executor, counts))
        return kForwardingRefused;
    ExecutorReportRecord report{};
    report.nfa = executor.settings.nfa;
    storeText(report.version, kVersion);
    report.timeStarted = executor.timeStarted;
    report.numberOfClusters = numberOf(executor.clusters);
    report.packetsTotal = inLongField(counts.totals.packetsIn);
    report.packetsClusterForwarded = report.packetsTotal; // an engine sees no others
    report.bytesPerSecond = inField(counts.bytesPerSecond);
    report.connectionsPerSecond = rateOf(traffic, counts, executor.connectionsPerSecond);
    replyWith(report, record);
    return 0;
}

int32_t setExecutorCps(Executor &executor, const ExecutorReportRecord &record) {
    return keepRate(record.connectionsPerSecond, executor.connectionsPerSecond);
}

} // namespace rk
