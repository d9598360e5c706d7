#include "executor/state/settings.h"

#include <cstring>

namespace rk {

namespace {

template <typename Number> Number numberAt(const uint8_t *bytes) {
    Number number{};
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

template <typename Byte, typename Half, typename Word> int64_t integerAt(const uint8_t *bytes, std::size_t size) {
    switch (size) {
    case sizeof(Byte):
        return numberAt<Byte>(bytes);
    case sizeof(Half):
        return numberAt<Half>(bytes);
    case sizeof(Word):
        return numberAt<Word>(bytes);
    default:
        return numberAt<int64_t>(bytes);
    }
}

// The value of a setting as a number. What is none is within any limits: 0.
int64_t valueOf(const Setting &setting, const uint8_t *record) {
    const uint8_t *bytes = record + setting.value;
    switch (setting.kind) {
    case ValueKind::signedNumber:
        return integerAt<int8_t, int16_t, int32_t>(bytes, setting.size);
    case ValueKind::unsignedNumber:
        return integerAt<uint8_t, uint16_t, uint32_t>(bytes, setting.size);
    case ValueKind::twoWords: {
        const auto words = numberAt<SplitInt64>(bytes);
        return int64_t{words.high} * (int64_t{1} << 32) + static_cast<uint32_t>(words.low);
    }
    default:
        return 0;
    }
}

} // namespace

bool applySettings(std::span<const Setting> settings, const CommandHeader &request, CommandHeader &kept) {
    const auto *from = reinterpret_cast<const uint8_t *>(&request);
    auto *to = reinterpret_cast<uint8_t *>(&kept);
    for (const Setting &setting : settings) {
        if (!isSet(from[setting.flag]))
            continue;
        if (setting.kind != ValueKind::text) {
            std::memcpy(to + setting.value, from + setting.value, setting.size);
            continue;
        }
        const std::string_view text = textIn(reinterpret_cast<const char *>(from + setting.value), setting.size);
        if (text.size() == setting.size)
            return false;
        storeText(reinterpret_cast<char *>(to + setting.value), setting.size, text);
    }
    return true;
}

int32_t checkLimits(std::span<const Setting> settings, const CommandHeader &kept) {
    const auto *record = reinterpret_cast<const uint8_t *>(&kept);
    for (const Setting &setting : settings) {
        const int64_t value = valueOf(setting, record);
        if (value < setting.limits.low || value > setting.limits.high)
            return setting.limits.reason;
    }
    return 0;
}

void clearFlags(std::span<const Setting> settings, CommandHeader &record) {
    auto *bytes = reinterpret_cast<uint8_t *>(&record);
    for (const Setting &setting : settings) {
        if (isSet(bytes[setting.flag]))
            bytes[setting.flag] = 0;
    }
}

int32_t keepRate(int32_t rate, int32_t &kept) {
    if (rate < 0)
        return kOutOfRange;
    kept = rate;
    return 0;
}

} // namespace rk
