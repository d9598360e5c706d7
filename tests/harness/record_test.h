// What the tests of the records' families share: a cluster named "web", settings as rows, reasons as rows, lists.
#pragma once

#include "harness/library_test.h"

#include <algorithm>
#include <cstring>

using executor::Image;
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

// Succeeds, and replaces all but the header with what the image holds.
inline executor::Answer replyImage(const Image &image) {
    return [bytes = image.bytes](uint8_t *block, uint32_t) {
        memcpy(block + 16, bytes.data() + 16, bytes.size() - 16);
        return 0;
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

// Asks for a list with the library's allocations and the strings it obtains counted.
struct ListTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        list = java::make("java/lang/StringBuffer");
    }

    jint counted(const std::function<jint()> &ask) {
        jint status = 0;
        calls::countAllocations(failing);
        characters = java::charactersHeld([&] { status = ask(); });
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

    // Nothing of the call is left, and the list is as it was before it.
    void expectNothingHeld() const {
        EXPECT_EQ(held, 0);
        EXPECT_EQ(characters, 0);
    }

    jobject list = nullptr;
    int failing = 0;     // the allocation that is to fail, from 1
    int held = -1;       // blocks of memory that the call left
    int characters = -1; // strings' characters that the call left
    std::vector<std::size_t> sizes;
};
