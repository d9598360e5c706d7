// What the tests of the diagnostic reports share: lines, and the memory that a report takes.
#pragma once

#include "harness/record_test.h"

#include <cstdarg>
#include <cstdio>

// A line as printf makes it.
[[gnu::format(printf, 1, 2)]] inline std::string line(const char *format, ...) {
    char text[1000];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

inline std::string joined(const Names &pieces) {
    std::string text;
    for (const std::string &piece : pieces)
        text += piece;
    return text;
}

// The blocks that a report takes when it begins with `size` bytes and these pieces are appended: where a piece and the
// terminator do not fit, a new block is 10001 bytes larger than the text with the piece.
inline std::vector<std::size_t> reportSizes(std::size_t size, const Names &pieces) {
    std::vector<std::size_t> sizes = {size};
    std::size_t length = 0;
    for (const std::string &piece : pieces) {
        length += piece.size();
        if (length + 1 > sizes.back())
            sizes.push_back(length + 10001);
    }
    return sizes;
}

// The pieces without the first one that a report of `size` bytes has no room for.
inline Names withoutFirstThatGrows(std::size_t size, Names pieces) {
    std::size_t length = 0;
    auto piece = pieces.begin();
    while (piece != pieces.end() && length + piece->size() + 1 <= size)
        length += piece++->size();
    EXPECT_NE(piece, pieces.end()) << "the report does not grow";
    if (piece != pieces.end())
        pieces.erase(piece);
    return pieces;
}

struct ReportTest : LibraryTest {
    // Asks for a report with the library's allocations counted.
    std::string counted(const std::function<jobject()> &ask) {
        calls::countAllocations(failing);
        jobject report = ask();
        held = calls::blocksHeld();
        sizes = calls::allocationSizes();
        calls::countAllocations();
        return java::text(report);
    }

    // The same with no memory for the Java string.
    std::string withoutString(const std::function<jobject()> &ask) {
        java::PatchedEnv patched;
        patched.functions.NewStringUTF = [](JNIEnv *, const char *) -> jstring { return nullptr; };
        return counted(ask);
    }

    int failing = 0; // the allocation that is to fail, from 1
    int held = -1;   // blocks of memory that the call left
    std::vector<std::size_t> sizes;
};
