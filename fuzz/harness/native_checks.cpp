// What the checks of the native methods ask.
#include "fuzz/harness/native_calls.h"
#include "fuzz/models/address_model.h"
#include "fuzz/models/key_model.h"

#include <arpa/inet.h>
#include <cstring>

namespace fuzz {

namespace {

constexpr char kKnownHost[] = "balancer.example";
constexpr int64_t kMostEntries = 10000; // more are not sure to find memory
constexpr jint kNoMemory = -28;

std::string entryText(const uint8_t *entry, const List &list) {
    if (list.ofPorts) {
        uint16_t port = 0;
        memcpy(&port, entry, sizeof(port));
        return std::to_string(ntohs(port));
    }
    const char *name = reinterpret_cast<const char *>(entry + list.name);
    return {name, strnlen(name, list.entry - list.name)};
}

// The texts of a block's entries, each led by a plus sign: as many as are said to be filled, and are there.
std::string entriesIn(const std::vector<uint8_t> &block, const List &list, int64_t count) {
    std::string texts;
    for (std::size_t at = list.first; count > 0 && at + list.entry <= block.size(); at += list.entry, --count)
        texts += "+" + entryText(block.data() + at, list);
    return texts;
}

void expectAppended(const NativeCall &call, const std::string &expected) {
    const std::string &text = call.objects.back()->text;
    if (text != expected)
        finding("the list is %s, not %s", text.c_str(), expected.c_str());
}

} // namespace

jlong numberOf(const NativeCall &call, const char *member) {
    const auto found = call.given.find(member);
    return found == call.given.end() ? 0 : found->second.number;
}

std::optional<std::string> textOf(const NativeCall &call, const char *member) {
    const auto found = call.given.find(member);
    return found == call.given.end() ? std::nullopt : found->second.text;
}

bool isNull(const NativeCall &call, const char *member) {
    const auto found = call.given.find(member);
    return found != call.given.end() && !found->second.text;
}

bool isLonger(const NativeCall &call, const char *member, std::size_t most) {
    const std::optional<std::string> text = textOf(call, member);
    return text && text->size() > most;
}

bool isNoPort(jlong number) {
    return number < 0 || number > 65535;
}

bool isMany(jlong entries) {
    return entries < 0 || entries > kMostEntries;
}

bool isAddress(const std::string &text) {
    if (!model::isNumericAddress(text))
        return text == kKnownHost;
    return inet_addr(text.c_str()) != INADDR_NONE;
}

bool isBadAddress(const NativeCall &call, const char *flag, const char *member) {
    const std::optional<std::string> text = textOf(call, member);
    return numberOf(call, flag) == 1 && text && !isAddress(*text);
}

jint statusByReasons(const Exchange &exchange, std::span<const ReasonStatus> reasons) {
    if (exchange.status == 0)
        return 0;
    for (const ReasonStatus &row : reasons) {
        if (row.reason == exchange.reason)
            return row.status;
    }
    return -99;
}

void expectStatus(const NativeCall &call, jint status) {
    if (call.status != status)
        finding("returned %d, not %d", call.status, status);
}

std::string returnedText(const NativeCall &call) {
    const fake_java::Object *text = fake_java::objectOf(call.text);
    return text == nullptr ? "" : text->text;
}

uint32_t keyOf(const NativeCall &call, const char *member) {
    return model::key(textOf(call, member).value_or(""));
}

void expectSent(const NativeCall &call, std::size_t offset, uint32_t word) {
    if (call.exchanges.empty())
        return;
    const Exchange &last = call.exchanges.back();
    if (wordAt(last.request, offset) != static_cast<int32_t>(word))
        finding("command %d has 0x%x at %zu, not 0x%x", last.command, wordAt(last.request, offset), offset, word);
}

void expectList(const NativeCall &call, const List &list) {
    const std::size_t reports = list.afterReport ? 1 : 0;
    if (call.exchanges.empty()) // refused
        return expectAppended(call, "");
    if (list.afterReport && call.exchanges.front().status != 0) {
        expectStatus(call, call.exchanges.front().status);
        return expectAppended(call, "");
    }
    if (call.exchanges.size() == reports) {
        if (!isMany(list.room(call)))
            finding("no list was asked for, with %d entries", static_cast<int>(list.room(call)));
        expectStatus(call, kNoMemory);
        return expectAppended(call, "");
    }
    const Exchange &last = call.exchanges.back();
    expectStatus(call, statusByReasons(last, list.reasons));
    expectAppended(call, last.status == 0 ? entriesIn(last.reply, list, list.count(call)) : "");
}

int32_t wordAt(const std::vector<uint8_t> &block, std::size_t offset) {
    int32_t word = 0;
    if (offset + sizeof(word) > block.size())
        finding("a block of %zu bytes has no word at %zu", block.size(), offset);
    memcpy(&word, block.data() + offset, sizeof(word));
    return word;
}

} // namespace fuzz
