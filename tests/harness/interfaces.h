// The executor's list of network interfaces, as the tests want it to be.
#pragma once

#include "harness/interface_replies.h"
#include "harness/record_test.h"
#include "library/aliasing/interface_list.h"

namespace interfaces {

// Begins each test with an empty list, and answers requests for it with `machine`.
struct InterfacesTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        TheInterfaceList = {};
        executor::answer(54, [this](uint8_t *block, uint32_t) {
            const Image image = replyOf(machine, count);
            memcpy(block + 16, image.bytes.data() + 16, image.bytes.size() - 16);
            return result;
        });
    }

    // How often the list was asked for. No other command may have been sent.
    static std::size_t refreshes() {
        const std::vector<int32_t> sent = executor::commandsSent();
        EXPECT_EQ(sent, std::vector<int32_t>(sent.size(), 54));
        return sent.size();
    }

    std::vector<Interface> machine;
    std::optional<int32_t> count; // another count than the machine's
    int32_t result = 0;           // of the request
};

} // namespace interfaces
