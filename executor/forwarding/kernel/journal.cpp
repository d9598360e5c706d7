#include "executor/forwarding/kernel/journal.h"

#include "executor/forwarding/kernel/connection_table.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr char kFileName[] = "/forwarding";
constexpr off_t kLongBytes = 4 << 20; // more than all that can be in force takes
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;

// Takes the first word off `line`, and the blank behind it.
std::string_view takeWord(std::string_view &line) {
    const std::size_t end = line.find(' ');
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
    return word;
}

template <typename Number> bool takeNumber(std::string_view &line, int base, Number &number) {
    const std::string_view word = takeWord(line);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number, base);
    return !word.empty() && error == std::errc() && end == word.data() + word.size();
}

bool parseService(std::string_view line, IpvsServiceKey &service) {
    const std::string_view transport = takeWord(line);
    if (transport != "tcp" && transport != "udp")
        return false;
    service.transport = transport == "tcp" ? IPPROTO_TCP : IPPROTO_UDP;
    return takeNumber(line, 16, service.address) && takeNumber(line, 10, service.port);
}

void parseLine(std::string_view line, JournalContents &contents) {
    const std::string_view kind = takeWord(line);
    IpvsServiceKey service;
    uint32_t mark = 0;
    IpvsTimeouts timeouts;
    if (kind == "service" && parseService(line, service))
        contents.services.insert(service);
    else if (kind == "gone" && parseService(line, service))
        contents.services.erase(service);
    else if (kind == "mark" && takeNumber(line, 16, mark)) { // a later line is true
        releaseMark(contents.marks, mark);
        releaseMark(contents.marks, findMark(contents.marks, line));
        keepMark(contents.marks, std::string(line), mark);
    } else if (kind == "setting") {
        const std::string path(takeWord(line));
        contents.settings.emplace(path, line); // the first one: that before all changes
    } else if (kind == "timeouts" && takeNumber(line, 10, timeouts.established) &&
               takeNumber(line, 10, timeouts.closing) && takeNumber(line, 10, timeouts.udp) && !contents.timeouts)
        contents.timeouts = timeouts;
}

int openFile(const std::string &path, int flags) {
    return open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, kFileMode);
}

bool writeAll(int file, const std::string &text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t bytes = write(file, text.data() + written, text.size() - written);
        if (bytes < 0 && errno != EINTR)
            return false;
        written += bytes < 0 ? 0 : static_cast<std::size_t>(bytes);
    }
    return true;
}

} // namespace

bool openJournal(Journal &journal, const std::string &folder, JournalContents &contents, std::string &mistake) {
    journal.path = folder + kFileName;
    const std::string lockPath = journal.path + ".lock";
    if (mkdir(folder.c_str(), kFolderMode) == -1 && errno != EEXIST) {
        mistake = folder + " cannot be made: " + std::strerror(errno);
        return false;
    }
    journal.lock = openFile(lockPath, O_RDWR | O_CREAT);
    if (journal.lock == -1) {
        mistake = lockPath + " cannot be written: " + std::strerror(errno);
        return false;
    }
    std::string text;
    if (flock(journal.lock, LOCK_EX | LOCK_NB) == -1)
        mistake = "another process forwards already: it has " + lockPath;
    else if (!readWhole(journal.path, text) && errno != ENOENT)
        mistake = journal.path + " cannot be read: " + std::strerror(errno);
    else {
        contents = parseJournal(text);
        if (rewriteJournal(journal, contents))
            return true;
        mistake = journal.path + " cannot be written: " + std::strerror(errno);
    }
    closeJournal(journal, true);
    return false;
}

bool rewriteJournal(Journal &journal, const JournalContents &contents) {
    const std::string newPath = journal.path + ".new";
    const int file = openFile(newPath, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
    if (file == -1)
        return false;
    if (!writeAll(file, journalText(contents)) || std::rename(newPath.c_str(), journal.path.c_str()) == -1) {
        close(file);
        return false;
    }
    if (journal.file != -1)
        close(journal.file);
    journal.file = file;
    return true;
}

JournalContents parseJournal(std::string_view text) {
    JournalContents contents;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos) // a crash in the middle of writing: what it tells was not done
            break;
        parseLine(text.substr(0, end), contents);
        text.remove_prefix(end + 1);
    }
    return contents;
}

std::string serviceLine(const IpvsServiceKey &service, bool isOurs) {
    char text[64] = "";
    std::snprintf(text, sizeof text, "%s %s %08X %u\n", isOurs ? "service" : "gone",
                  service.transport == IPPROTO_UDP ? "udp" : "tcp", service.address,
                  static_cast<unsigned int>(service.port));
    return text;
}

std::string markNameLine(uint32_t mark, const std::string &name) {
    char text[32] = "";
    std::snprintf(text, sizeof text, "mark %08X ", mark);
    return text + name + "\n";
}

std::string settingLine(const std::string &path, const std::string &value) {
    return "setting " + path + " " + value + "\n";
}

std::string timeoutsLine(const IpvsTimeouts &timeouts) {
    return "timeouts " + std::to_string(timeouts.established) + " " + std::to_string(timeouts.closing) + " " +
           std::to_string(timeouts.udp) + "\n";
}

std::string journalText(const JournalContents &contents) {
    std::string text;
    for (const auto &[path, value] : contents.settings)
        text += settingLine(path, value);
    if (contents.timeouts)
        text += timeoutsLine(*contents.timeouts);
    for (const IpvsServiceKey &service : contents.services)
        text += serviceLine(service, true);
    for (const auto &[mark, name] : contents.marks.nameOf)
        text += markNameLine(mark, name);
    return text;
}

bool appendToJournal(const Journal &journal, const std::string &lines) {
    return lines.empty() || writeAll(journal.file, lines);
}

bool isJournalLong(const Journal &journal) {
    struct stat status {};
    return fstat(journal.file, &status) == 0 && status.st_size > kLongBytes;
}

void closeJournal(Journal &journal, bool isKept) {
    if (journal.file != -1) {
        if (!isKept)
            unlink(journal.path.c_str());
        close(journal.file);
    }
    if (journal.lock != -1)
        close(journal.lock);
    journal = Journal{};
}

} // namespace rk
