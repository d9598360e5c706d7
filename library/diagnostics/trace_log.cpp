// The executor's trace log. These are unsupported debugging commands, so every text begins with a warning.
#include "library/channel/channel.h"
#include "library/native.h"
#include "library/support/owners.h"

#include <cstdlib>
#include <cstring>

using namespace rk;

namespace {

constexpr char kBanner[] = "EXECUTOR LOGGING COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                           "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.  THESE\n"
                           "COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";
constexpr int64_t kBannerLength = sizeof(kBanner) - 1;
static_assert(kBannerLength == 154);

constexpr int32_t kDefaultSize = 10000;
constexpr int64_t kHeadSlack = 1024; // Java servers count on the tail having none, not even for a terminator

// Appends as much as fits into a text of `size` bytes, with its terminator.
void append(char *text, std::size_t size, const char *addition, std::size_t length) {
    const std::size_t used = std::strlen(text);
    const std::size_t room = size - used - 1;
    const std::size_t within = length < room ? length : room;
    std::memcpy(text + used, addition, within);
    text[used + within] = '\0';
}

// Asks for a part of the log. Returns the banner and the text that is in the block, whether or not the executor obeyed:
// Java servers expect a text in any case. Returns null, and sends nothing, when there is no memory for a text of `size`
// bytes or `size` is not positive.
jstring readLog(JNIEnv *env, Command command, int64_t size) {
    if (size <= 0)
        return nullptr;
    const auto bytes = static_cast<std::size_t>(size);
    const HeapBlock<char> block(static_cast<char *>(std::malloc(bytes)));
    char *text = block.get();
    if (text == nullptr)
        return nullptr;
    (void)send(ucb.header, command, kWireBytes);
    text[0] = '\0';
    append(text, bytes, kBanner, kBannerLength);
    const char *log = ucb.logRequest.text;
    append(text, bytes, log, strnlen(log, kWireBytes - sizeof(CommandHeader)));
    return env->NewStringUTF(text);
}

} // namespace

// Level and filter are updates of one setting each: the rest of the block, other flags included, is what the last
// command left. Like emptying the log, they return the banner whether or not the executor obeys.
JNIEXPORT jstring NATIVE(xloglevelNative)(JNIEnv *env, jobject, jint level) {
    ucb.executor.traceLevel = level;
    ucb.executor.setTraceLevel = 1;
    (void)send(ucb.executor, Command::writeExecutorSettings);
    return env->NewStringUTF(kBanner);
}

JNIEXPORT jstring NATIVE(xlogfilterNative)(JNIEnv *env, jobject, jint filter) {
    ucb.executor.logFilter = filter;
    ucb.executor.setLogFilter = 1;
    (void)send(ucb.executor, Command::writeExecutorSettings);
    return env->NewStringUTF(kBanner);
}

JNIEXPORT jstring NATIVE(xlogheadNative)(JNIEnv *env, jobject, jint size, jint second) {
    const jint wanted = size == 0 ? kDefaultSize : size;
    ucb.logRequest.size = wanted;
    ucb.logRequest.second = second;
    return readLog(env, Command::readLogHead, kBannerLength + wanted + kHeadSlack);
}

JNIEXPORT jstring NATIVE(xlogtailNative)(JNIEnv *env, jobject, jint size) {
    const jint wanted = size == 0 ? kDefaultSize : size;
    ucb.logRequest.size = wanted;
    return readLog(env, Command::readLogTail, kBannerLength + wanted);
}

JNIEXPORT jstring NATIVE(xlogclearNative)(JNIEnv *env, jobject) {
    (void)send(ucb.shortRecord, Command::clearLog);
    return env->NewStringUTF(kBanner);
}
