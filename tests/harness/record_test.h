// What the tests of the records' families share: a cluster named "web", settings as rows, reasons as rows, lists.
#pragma once

#include "harness/library_test.h"

#include <algorithm>
#include <cstring>
#include <span>

using executor::Image;
using executor::replyImage;
using Names = std::vector<std::string>;

inline constexpr uint32_t kKeyOfWeb = 0x4A3; // of the identifier "web"
inline constexpr char kStringType[] = "Ljava/lang/String;";

// A setting of a Java object: its flag, what a test puts into the object, and what the record is to hold for it.
struct Setting {
    const char *flag;
    std::size_t flagOffset;
    void (*give)(jobject object);
    void (*expect)(Image &image);
};

// A flag that goes back to Java, and where the record holds it.
struct WrittenFlag {
    const char *name;
    std::size_t offset;
};

struct ReasonRow {
    int32_t reason;
    int32_t status;
};

// A native method that takes one object, and the command it sends.
struct Method {
    const char *name;
    int32_t command;
};

inline Names tail(const Names &names, std::size_t count) {
    return {names.end() - static_cast<std::ptrdiff_t>(std::min(count, names.size())), names.end()};
}

inline Names namesOf(std::span<const WrittenFlag> flags) {
    Names names;
    for (const WrittenFlag &flag : flags)
        names.emplace_back(flag.name);
    return names;
}

// What an executor leaves in a flag by markFlags.
inline int markOf(const WrittenFlag &flag) {
    return static_cast<int>(flag.offset % 100 + 1);
}

// Returns this result, with a different value in each flag.
inline executor::Answer markFlags(std::span<const WrittenFlag> flags, int32_t result) {
    return [=](uint8_t *block, uint32_t) {
        for (const WrittenFlag &flag : flags)
            block[flag.offset] = static_cast<uint8_t>(markOf(flag));
        return result;
    };
}

// Every reason becomes its status, whatever the result: -1, or a positive error number of the device.
inline void expectStatuses(const std::vector<Method> &methods, const std::vector<ReasonRow> &rows, jobject object) {
    for (const ReasonRow &row : rows)
        for (const Method &method : methods)
            for (const int32_t result : {-1, 19}) {
                executor::reset();
                executor::answer(method.command, executor::refuse(row.reason, result));
                EXPECT_EQ(java::call(method.name, object), row.status) << method.name << ' ' << row.reason;
                EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({method.command}));
            }
}

// Asks for a list with what the library allocates and obtains from Java counted.
struct ListTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        list = java::make("java/lang/StringBuffer");
    }

    jint counted(const std::function<jint()> &ask) {
        jint status = 0;
        calls::countAllocations(failing);
        references = java::referencesKept([&] { status = ask(); });
        held = calls::blocksHeld();
        sizes = calls::allocationSizes();
        calls::countAllocations();
        return status;
    }

    // Fills the entries of a list block that the block has room for, from offset `first` on, one every `stride` bytes.
    static executor::Answer entries(const Names &texts, std::size_t first, std::size_t stride, std::size_t width) {
        return [=](uint8_t *block, uint32_t length) {
            for (std::size_t i = 0; i < texts.size() && first + stride * i + width <= length; ++i)
                memcpy(block + first + stride * i, texts[i].c_str(), std::min(texts[i].size() + 1, width));
            return 0;
        };
    }

    // The list text of these entries.
    static std::string joined(const Names &texts) {
        std::string result;
        for (const std::string &text : texts)
            result += "+" + text;
        return result;
    }

    void expectNothingHeld() const {
        EXPECT_EQ(held, 0);
        EXPECT_EQ(references, 0u);
    }

    // Asking ends with this status after these commands; the list stays empty, and nothing is left.
    void expectNoList(const std::function<jint()> &ask, jint status, const std::vector<int32_t> &commands) {
        EXPECT_EQ(counted(ask), status);
        EXPECT_EQ(executor::commandsSent(), commands);
        EXPECT_EQ(java::text(list), "");
        expectNothingHeld();
    }

    // Every reason for which the last of these commands is refused becomes its status; `prepare` answers the others.
    void expectListStatuses(const std::vector<ReasonRow> &rows, const std::vector<int32_t> &commands,
                            const std::function<void()> &prepare, const std::function<jint()> &ask) {
        for (const ReasonRow &row : rows)
            for (const int32_t result : {-1, 19}) {
                SCOPED_TRACE(row.reason);
                executor::reset();
                prepare();
                executor::answer(commands.back(), executor::refuse(row.reason, result));
                expectNoList(ask, row.status, commands);
            }
    }

    // What the report that tells the number of entries ends with is the list's status.
    void expectReportStatuses(int32_t report, const std::function<jint()> &ask) {
        for (const int32_t result : {-1, 17}) {
            executor::reset();
            executor::answer(report, executor::refuse(-5, result));
            expectNoList(ask, result, {report});
        }
    }

    jobject list = nullptr;
    int failing = 0;            // the allocation that is to fail, from 1
    int held = -1;              // blocks of memory that the call left
    std::size_t references = 1; // local references and strings' characters that the call left
    std::vector<std::size_t> sizes;
};
