// The executor of the tests: it keeps every block that the library sends, and answers as told. It stands behind
// EXC_UserInput, and behind ioctl when a test lets the device answer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace executor {

using Bytes = std::vector<uint8_t>;

// What happens to a block: the answer changes it in place and returns what EXC_UserInput returns.
using Answer = std::function<int32_t(uint8_t *block, uint32_t length)>;

// Forgets all blocks and answers, fills the library's block with 0xEE (so that what it does not write shows), and
// makes the library talk to the user-space executor.
void reset();

// The blocks sent so far, each as long as its length word said.
const std::vector<Bytes> &sent();
const Bytes &lastSent();
std::vector<int32_t> commandsSent();

// Answers to the next commands with this code, in order; the last one stays. Without any, a command succeeds and the
// block stays as it was sent.
void answer(int32_t command, Answer answer);

// The answer to every command that has none of its own.
void answerOthers(Answer answer);

// Succeeds, with words of the block set: pairs of offset and 32-bit host-order value.
Answer reply(std::vector<std::pair<std::size_t, uint32_t>> words);
// Fails with a reason.
Answer refuse(int32_t reason, int32_t result = -1);

// Performs a block as EXC_UserInput does.
int32_t perform(uint8_t *block);

// What the user-space operations were called with ("SetLog /a/path"), and what they return next.
std::vector<std::string> &operations();
void operationsReturn(int32_t value);

// An expected block: bytes of 0xEE, and what a test puts over them. Offsets count from the start of the block.
struct Image {
    explicit Image(std::size_t size, uint8_t fill = 0xEE);

    Image &word(std::size_t offset, uint32_t value); // 32 bits, host order
    Image &half(std::size_t offset, uint16_t value); // 16 bits, host order
    Image &quad(std::size_t offset, uint64_t value); // 64 bits, host order
    Image &byte(std::size_t offset, uint8_t value);
    Image &hex(std::size_t offset, const std::string &digits); // bytes as they stand in memory
    Image &text(std::size_t offset, const std::string &text);  // with its terminator
    // The header that a command is sent with; result and reason as they stood.
    Image &header(int32_t command, uint32_t length);

    Bytes bytes;
};

// Succeeds, and replaces all but the header with what the image holds.
Answer replyImage(const Image &image);

// Bytes in rows of 16 with their offsets, so that two images that differ show where.
std::string dump(const Bytes &bytes);

} // namespace executor
