#include "executor/state/logs.h"

namespace rk {

bool openLogFile(ExecutorState &state, const char *path) {
    std::FILE *log = std::fopen(path, "ae");
    if (log == nullptr)
        return false;
    closeLogFile(state);
    state.log = log;
    return true;
}

void closeLogFile(ExecutorState &state) {
    if (state.log != nullptr)
        std::fclose(state.log);
    state.log = nullptr;
    state.toldInterfaces.count = 0; // a new log tells them again
}

bool isTraced(const ExecutorState &state, int32_t level, uint32_t traceBit) {
    const ExecutorSettingsRecord &settings = state.executor.settings;
    const auto filter = static_cast<uint32_t>(settings.logFilter);
    return traceBit != 0 && settings.traceLevel >= level && (filter == 0 || (filter & traceBit) != 0);
}

void writeLine(ExecutorState &state, const LogText &line, bool isKept) {
    if (isKept)
        addLine(state.trace, line.text);
    if (state.log != nullptr) {
        std::fprintf(state.log, "%s\n", line.text);
        std::fflush(state.log);
    }
}

} // namespace rk
