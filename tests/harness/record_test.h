// What the tests of the records' families share: a cluster named "web", reasons as rows, methods.
#pragma once

#include "harness/library_test.h"

#include <algorithm>
#include <ostream>

using executor::Image;
using executor::replyImage;
using Names = std::vector<std::string>;

// The key of the identifier "web", worked out by hand: W is 0x57, E is 0x45 and, turned by one bit, 0xA2; B is 0x42
// and, turned by two, 0x90.
inline constexpr uint32_t kKeyOfWeb = (0x57 + 0x45) + (0xA2 + 0x42) * 2 + 0x90 * 4 - 1;

inline constexpr char kStringType[] = "Ljava/lang/String;";

struct ReasonRow {
    int32_t reason;
    int32_t status;
};

// A native method that takes one object, and the command it sends.
struct Method {
    const char *name;
    int32_t command;
};

// How a test's name, and its failure, tell the row of a table of methods.
template <typename Row>
concept RowOfMethod = requires(const Row &row) {
    row.method.name;
};

template <RowOfMethod Row> void PrintTo(const Row &row, std::ostream *out) {
    *out << row.method.name;
}

inline constexpr auto kNameOfMethod = [](const auto &info) { return std::string(info.param.method.name); };

inline Names tail(const Names &names, std::size_t count) {
    return {names.end() - static_cast<std::ptrdiff_t>(std::min(count, names.size())), names.end()};
}
