#include "executor/forwarding/kernel/kernel_settings.h"

#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/hashed_services.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

namespace rk {

namespace {

bool readSetting(const std::string &file, std::string &value) {
    if (!readWhole(file, value))
        return false;
    value.erase(value.find_last_not_of(" \n") + 1);
    return true;
}

bool writeSetting(const std::string &file, const std::string &value) {
    const int handle = open(file.c_str(), O_WRONLY | O_CLOEXEC);
    if (handle == -1)
        return false;
    const bool isWritten = write(handle, value.data(), value.size()) == static_cast<ssize_t>(value.size());
    const int error = errno;
    close(handle);
    errno = error;
    return isWritten;
}

using SettingRow = std::pair<const char *, const char *>;

// Without the first two, packets of servers that are gone, and of clients that stick to one that takes nothing, vanish
// without a word.
constexpr SettingRow kSettings[] = {
    {"net/ipv4/vs/expire_nodest_conn", "1"},
    {"net/ipv4/vs/expire_quiescent_template", "1"},
    {"net/ipv4/ip_forward", "1"},
};

// Where several directors forward at once, connections come over from one that is gone, and what routers say of a
// connection comes to any of them.
constexpr SettingRow kSettingsOfMany[] = {
    {"net/ipv4/vs/sloppy_tcp", "1"},
    {"net/ipv4/vs/schedule_icmp", "1"},
};

} // namespace

std::vector<SettingRow> settingsToForward(const std::string &scheduler) {
    std::vector<SettingRow> rows(std::begin(kSettings), std::end(kSettings));
    if (isHashed(scheduler))
        rows.insert(rows.end(), std::begin(kSettingsOfMany), std::end(kSettingsOfMany));
    return rows;
}

bool changeSetting(const std::string &folder, const std::string &path, const std::string &value, SettingsBefore &before,
                   std::string &note) {
    note.clear();
    std::string old;
    const std::string file = folder + "/" + path;
    if (!readSetting(file, old)) {
        note = path + " cannot be read: " + std::strerror(errno);
        return false;
    }
    if (old == value)
        return true;
    if (!writeSetting(file, value)) {
        note = path + " stays " + old + ", it should be " + value + ": " + std::strerror(errno);
        return false;
    }
    before.emplace(path, old);
    note = path + " is " + value + " now, it was " + old;
    return true;
}

bool putBackSetting(const std::string &folder, const std::string &path, SettingsBefore &before, std::string &note) {
    note.clear();
    const auto found = before.find(path);
    if (found == before.end())
        return true;
    const std::string old = found->second;
    before.erase(found);
    SettingsBefore ignored;
    return changeSetting(folder, path, old, ignored, note);
}

} // namespace rk
