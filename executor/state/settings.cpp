#include "executor/state/settings.h"

#include "executor/state/values.h"
#include "rk/reasons.h"

#include <cstring>

namespace rk {

bool applySettings(std::span<const Setting> settings, const CommandHeader &request, CommandHeader &kept) {
    const auto *from = reinterpret_cast<const uint8_t *>(&request);
    auto *to = reinterpret_cast<uint8_t *>(&kept);
    for (const Setting &setting : settings) {
        if (!isSet(from[setting.flag]))
            continue;
        if (!setting.isText) {
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
