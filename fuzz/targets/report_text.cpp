// Report texts and split lists: pieces are appended as the input says, some while memory is short.
#include "fuzz/harness/draws.h"
#include "fuzz/models/report_model.h"
#include "harness/system_calls.h"
#include "library/support/CMNImpUtils.h"

#include <cstdlib>
#include <cstring>

namespace {

using fuzz::Draws;
using fuzz::finding;

constexpr std::size_t kLongestLine = 255;
constexpr int kMostPieces = 48;

// Buffers begin small, so that they grow often.
std::size_t drawSize(const Draws &draws) {
    return 1 + fuzz::drawBelow(draws, 64);
}

// A few bytes, or the repetition of one, for lengths around the step in which a text grows.
std::string drawPiece(const Draws &draws) {
    const uint8_t choice = fuzz::drawByte(draws);
    if (choice < 0xC0)
        return fuzz::drawBytes(draws);
    return std::string(fuzz::drawBelow(draws, 11000), static_cast<char>(choice));
}

bool drawShortage(const Draws &draws) {
    return fuzz::drawByte(draws) >= 0xE0;
}

void compare(const char *what, const model::Report &expected, const char *text, std::size_t size) {
    if (size != expected.size)
        finding("%s: the size is %zu, not %zu", what, size, expected.size);
    if (expected.text != text)
        finding("%s: the text is %s, not %s", what, text, expected.text.c_str());
}

// appendbuffer and appendText get the same pieces, and must agree with each other and with the model. A text that
// could not grow says a size that it does not have, so the next piece must not rely on it: the text begins afresh.
void checkReports(const Draws &draws) {
    const std::size_t begin = drawSize(draws);
    model::Report expected{"", begin};
    char *text = static_cast<char *>(calloc(1, begin));
    std::size_t size = begin;
    rk::ReportText report;
    if (!rk::openReport(report, begin))
        finding("a report of %zu bytes cannot be opened", begin);

    for (int pieces = 0; pieces < kMostPieces && !fuzz::isOver(draws); ++pieces) {
        const std::string piece = drawPiece(draws);
        const bool isShort = drawShortage(draws);
        const std::size_t sizeBefore = report.size;
        const model::Report before = expected;
        const bool grows = model::grows(expected, piece);
        const int status = model::append(expected, piece, !isShort);

        calls::countAllocations(isShort ? 1 : 0);
        const int32_t statusOfBuffer = appendbuffer(&text, piece.c_str(), &size);
        if (calls::allocations() != (grows ? 1 : 0))
            finding("appendbuffer allocated %d times", calls::allocations());
        calls::countAllocations(isShort ? 1 : 0);
        const int32_t statusOfReport = rk::appendText(report, piece.c_str());
        calls::reset();

        if (statusOfBuffer != status || statusOfReport != status)
            finding("appended with %d and %d, not %d", statusOfBuffer, statusOfReport, status);
        compare("appendbuffer", expected, text, size);
        if (report.length != expected.text.size())
            finding("the length is %zu, not %zu", report.length, expected.text.size());
        if (status == 0) {
            compare("appendText", expected, report.text, report.size);
            continue;
        }
        if (report.size != sizeBefore)
            finding("a report that did not grow says so");
        compare("appendText", {before.text, sizeBefore}, report.text, report.size);
        size = before.size; // what the buffer really has
        expected = before;
    }
    free(text);
    rk::closeReport(report);
}

void checkLine(const Draws &draws) {
    const std::string argument = drawPiece(draws);
    rk::ReportText report;
    if (!rk::openReport(report, drawSize(draws)))
        finding("a report cannot be opened");
    rk::appendLine(report, "%s = %s\n", "value", argument.c_str());
    if (report.text != ("value = " + argument + "\n").substr(0, kLongestLine))
        finding("a line of %zu characters became %zu", argument.size() + 9, report.length);
    rk::closeReport(report);
}

void checkList(const Draws &draws) {
    static constexpr char kSeparators[] = ",;: +x";
    const char separator = kSeparators[fuzz::drawBelow(draws, sizeof(kSeparators) - 1)];
    const std::string list = fuzz::drawBytes(draws);
    const bool isShort = drawShortage(draws);
    const std::vector<std::string> expected = model::splitList(list, separator);
    const int32_t count = expected.empty() ? -1 : isShort ? -28 : static_cast<int32_t>(expected.size());

    std::string copy = list;
    char **tokens = nullptr;
    calls::countAllocations(isShort ? 1 : 0);
    const int32_t got = filterlist(copy.data(), &tokens, separator, 0);
    calls::reset();
    if (got != count)
        finding("\"%s\" at '%c' has %d tokens, not %d", list.c_str(), separator, got, count);
    for (std::size_t i = 0; count > 0 && i < expected.size(); ++i) {
        if (expected[i] != tokens[i])
            finding("token %zu of \"%s\" at '%c' is %s", i, list.c_str(), separator, tokens[i]);
    }
    free(tokens);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::Input input = {data, data + size};
    const Draws draws = {&input, fuzz::Side::front};
    calls::reset();
    checkList(draws);
    checkLine(draws);
    checkReports(draws);
    return 0;
}
