// Reports are texts on the heap that grow as lines are added.
#include "library/support/CMNImpUtils.h"
#include "library/support/owners.h"
#include "rk/reasons.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kLineBytes = 256;
constexpr std::size_t kGrowth = 10001; // bytes beyond its text that a report gets when it grows

// Appends to a text whose length is known. It grows as appendbuffer promises, to the byte; with realloc, long reports
// take linear time.
int32_t appendAt(char **text, std::size_t length, const char *addition, std::size_t additionLength, std::size_t *size) {
    if (length + additionLength + 1 > *size) {
        *size = length + additionLength + kGrowth;
        char *grown = static_cast<char *>(std::realloc(*text, *size));
        if (grown == nullptr)
            return -1;
        *text = grown;
    }
    std::memcpy(*text + length, addition, additionLength + 1);
    return 0;
}

char *skip(char *text, char separator) {
    while (*text != '\0' && *text == separator)
        ++text;
    return text;
}

// Ends the token at `text`. Returns what follows its separator, or null when the list ends with the token.
char *endToken(char *text, char separator) {
    while (*text != '\0' && *text != separator)
        ++text;
    if (*text == '\0')
        return nullptr;
    *text = '\0';
    return text + 1;
}

} // namespace

int32_t appendbuffer(char **text, const char *addition, std::size_t *size) {
    return appendAt(text, std::strlen(*text), addition, std::strlen(addition), size);
}

int32_t filterlist(char *list, char ***tokens, char separator, int32_t depth) {
    int32_t count = depth;
    for (char *rest = list; rest != nullptr; ++count) {
        rest = skip(rest, separator);
        if (*rest == '\0')
            return -1; // callers expect no token at all from a list that ends in a separator
        rest = endToken(rest, separator);
    }
    *tokens = static_cast<char **>(std::calloc(static_cast<std::size_t>(count), sizeof(char *)));
    if (*tokens == nullptr)
        return rk::kStatusOutOfMemory;
    char *token = list;
    for (int32_t i = depth; i < count; ++i) {
        token = skip(token, separator);
        (*tokens)[i] = token;
        token += std::strlen(token) + 1;
    }
    return count;
}

bool rk::openReport(ReportText &report, std::size_t size) {
    report = {static_cast<char *>(std::malloc(size)), size, 0};
    if (report.text == nullptr)
        return false;
    report.text[0] = '\0';
    return true;
}

void rk::closeReport(ReportText &report) {
    std::free(report.text);
    report = {};
}

int32_t rk::appendText(ReportText &report, const char *addition) {
    const std::size_t additionLength = std::strlen(addition);
    // When memory is short the size stays as it was: dumps go on with the next line.
    std::size_t size = report.size;
    const int32_t status = appendAt(&report.text, report.length, addition, additionLength, &size);
    if (status == 0) {
        report.size = size;
        report.length += additionLength;
    }
    return status;
}

int32_t rk::appendLine(ReportText &report, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    int32_t status = 0;
    if (report.size - report.length >= kLineBytes) { // format in place, without a copy
        char *line = report.text + report.length;
        std::vsnprintf(line, kLineBytes, format, arguments);
        report.length += std::strlen(line); // a printed character 0 ends the line
    } else {
        char line[kLineBytes];
        std::vsnprintf(line, sizeof(line), format, arguments);
        status = appendText(report, line);
    }
    va_end(arguments);
    return status;
}

jstring rk::reportToJava(JNIEnv *env, ReportText &report) {
    const jstring string = env->NewStringUTF(report.text);
    closeReport(report);
    return string;
}

void rk::appendReportToJava(JNIEnv *env, jobject buffer, ReportText &report) {
    const LocalReference string(env, reportToJava(env, report));
    if (string.reference != nullptr)
        const LocalReference returned(env, AppendJavaStringBuffer(env, buffer, string.reference));
}
