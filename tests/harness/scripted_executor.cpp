#include "harness/scripted_executor.h"

#include "library/channel/channel.h"
#include "rk/uexc.h"

#include <cstdio>
#include <cstring>
#include <deque>
#include <map>

namespace executor {

namespace {

std::vector<Bytes> blocks;
std::map<int32_t, std::deque<Answer>> answers;
Answer otherAnswer;
std::vector<std::string> operationCalls;
int32_t operationResult = 0;

int32_t operation(const std::string &name) {
    operationCalls.push_back(name);
    return operationResult;
}

std::string textOf(const char *path) {
    return path == nullptr ? "(null)" : path;
}

} // namespace

void reset() {
    blocks.clear();
    answers.clear();
    otherAnswer = nullptr;
    operationCalls.clear();
    operationResult = 0;
    memset(&ucb, 0xEE, sizeof(ucb));
    prv_giKVAServerModality = 1;
}

const std::vector<Bytes> &sent() {
    return blocks;
}

const Bytes &lastSent() {
    static const Bytes nothing;
    return blocks.empty() ? nothing : blocks.back();
}

std::vector<int32_t> commandsSent() {
    std::vector<int32_t> commands;
    for (const Bytes &block : blocks) {
        int32_t command = 0;
        memcpy(&command, block.data(), sizeof(command));
        commands.push_back(command);
    }
    return commands;
}

void answer(int32_t command, Answer answer) {
    answers[command].push_back(std::move(answer));
}

void answerOthers(Answer answer) {
    otherAnswer = std::move(answer);
}

Answer reply(std::vector<std::pair<std::size_t, uint32_t>> words) {
    return [words = std::move(words)](uint8_t *block, uint32_t) {
        for (const auto &[offset, value] : words)
            memcpy(block + offset, &value, sizeof(value));
        return 0;
    };
}

Answer refuse(int32_t reason, int32_t result) {
    return [reason, result](uint8_t *block, uint32_t) {
        const int32_t words[] = {-1, reason};
        memcpy(block + 4, words, sizeof(words));
        return result;
    };
}

int32_t perform(uint8_t *block) {
    uint32_t length = 0;
    int32_t command = 0;
    memcpy(&command, block, sizeof(command));
    memcpy(&length, block + 12, sizeof(length));
    blocks.emplace_back(block, block + length);
    const auto found = answers.find(command);
    if (found == answers.end())
        return otherAnswer ? otherAnswer(block, length) : 0;
    const Answer now = found->second.front();
    if (found->second.size() > 1)
        found->second.pop_front();
    return now(block, length);
}

std::vector<std::string> &operations() {
    return operationCalls;
}

void operationsReturn(int32_t value) {
    operationResult = value;
}

Image::Image(std::size_t size, uint8_t fill) : bytes(size, fill) {}

namespace {

template <typename Value> void put(Bytes &bytes, std::size_t offset, Value value) {
    memcpy(&bytes.at(offset + sizeof(value) - 1) - (sizeof(value) - 1), &value, sizeof(value));
}

} // namespace

Image &Image::word(std::size_t offset, uint32_t value) {
    put(bytes, offset, value);
    return *this;
}

Image &Image::half(std::size_t offset, uint16_t value) {
    put(bytes, offset, value);
    return *this;
}

Image &Image::quad(std::size_t offset, uint64_t value) {
    put(bytes, offset, value);
    return *this;
}

Image &Image::byte(std::size_t offset, uint8_t value) {
    put(bytes, offset, value);
    return *this;
}

Image &Image::hex(std::size_t offset, const std::string &digits) {
    unsigned value = 0;
    int read = 0;
    for (const char *rest = digits.c_str(); sscanf(rest, "%2x%n", &value, &read) == 1; rest += read)
        bytes.at(offset++) = static_cast<uint8_t>(value);
    return *this;
}

Image &Image::text(std::size_t offset, const std::string &text) {
    for (const char character : text)
        bytes.at(offset++) = static_cast<uint8_t>(character);
    bytes.at(offset) = 0;
    return *this;
}

Image &Image::header(int32_t command, uint32_t length) {
    return word(0, static_cast<uint32_t>(command)).word(12, length);
}

Answer replyImage(const Image &image) {
    return [bytes = image.bytes](uint8_t *block, uint32_t) {
        memcpy(block + 16, bytes.data() + 16, bytes.size() - 16);
        return 0;
    };
}

std::string dump(const Bytes &bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string rows;
    char text[32];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            snprintf(text, sizeof(text), "%s%5zu:", i == 0 ? "" : "\n", i);
            rows += text;
        }
        rows += ' '; // by hand, as large blocks are compared by their dumps, and not on fast machines only
        rows += kDigits[bytes[i] >> 4];
        rows += kDigits[bytes[i] & 15];
    }
    return rows;
}

} // namespace executor

int32_t EXC_UserInput(rk::CommandHeader *block) {
    return executor::perform(reinterpret_cast<uint8_t *>(block));
}

int32_t EXC_UsrExecutorInit() {
    return executor::operation("Init");
}

int32_t EXC_UsrExecutorTerm() {
    return executor::operation("Term");
}

int32_t EXC_UsrExecutorProcessInit() {
    return executor::operation("ProcessInit");
}

int32_t EXC_UsrExecutorProcessTerm() {
    return executor::operation("ProcessTerm");
}

int32_t EXC_UsrExecutorStarted() {
    return executor::operation("Started");
}

int32_t EXC_UsrExecutorSetLog(const char *path) {
    return executor::operation("SetLog " + executor::textOf(path));
}

int32_t EXC_UsrExecutorSetInstallPath(const char *path) {
    return executor::operation("SetInstallPath " + executor::textOf(path));
}
