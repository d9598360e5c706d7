#include "executor/availability/keepalived_words.h"

#include <algorithm>
#include <charconv>

namespace rk {

namespace {

struct PlaceWord {
    std::string_view word;
    Place place;
};

// A director that stops or has failed is not to have addresses, whatever comes next.
constexpr PlaceWord kPlaces[] = {
    {"MASTER", Place::active},
    {"BACKUP", Place::standby},
    {"STOP", Place::standby},
    {"FAULT", Place::failed},
};

constexpr std::string_view kTestStatus = "5"; // of a check that has something to say

// Takes the first word off a line; names come in quotation marks, which go.
std::string_view takeWord(std::string_view &line) {
    const std::size_t begin = std::min(line.find_first_not_of(' '), line.size());
    const std::size_t end = std::min(line.find(' ', begin), line.size());
    std::string_view word = line.substr(begin, end - begin);
    line.remove_prefix(end);
    if (word.size() >= 2 && word.front() == '"' && word.back() == '"')
        word = word.substr(1, word.size() - 2);
    return word;
}

// The number behind a prefix, as in ha0 and ha0_12; none when the name is another's.
std::optional<int> numberBehind(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix))
        return std::nullopt;
    int number = 0;
    const std::string_view digits = name.substr(prefix.size());
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isWhole = end == digits.data() + digits.size() || *end == '_';
    return error == std::errc{} && isWhole ? std::optional<int>(number) : std::nullopt;
}

struct OmenWords {
    std::string_view words;
    Omen omen;
};

constexpr OmenWords kOmens[] = {
    {"Receive advertisement timeout", Omen::silence},
    {"Backup received priority 0 advertisement", Omen::gaveWay},
    {"received lower priority", Omen::higher},
    {"Master received advert", Omen::lower},
};

// Takes the first line off a text.
std::string_view takeLine(std::string_view &text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

// Behind "Sat Nov 21 19:59:28 2026: ", where the line has that.
std::string_view withoutTime(std::string_view line) {
    constexpr std::size_t colon = 24;
    return line.size() > colon + 1 && line.substr(colon, 2) == ": " ? line.substr(colon + 2) : line;
}

} // namespace

std::optional<Notice> parseNotice(std::string_view line) {
    const std::string_view kind = takeWord(line);
    const std::optional<int> election = numberBehind(takeWord(line), "ha");
    const std::string_view what = takeWord(line);
    if (!election || *election < 0 || *election >= kMostElections)
        return std::nullopt;
    if (kind == "INSTANCE" && what == "MASTER_RX_LOWER_PRI")
        return Notice{NoticeKind::twoActive, *election, Place::active, false, Omen::none};
    const auto *const found =
        std::find_if(std::begin(kPlaces), std::end(kPlaces), [what](const PlaceWord &row) { return row.word == what; });
    if (kind != "GROUP" || found == std::end(kPlaces))
        return std::nullopt;
    return Notice{NoticeKind::election, *election, found->place, false, Omen::none};
}

std::optional<Notice> parseLogLine(std::string_view line) {
    line = withoutTime(line);
    const std::size_t end = line.find(") ");
    if (!line.starts_with("(") || end == std::string_view::npos)
        return std::nullopt;
    const std::string_view name = line.substr(1, end - 1);
    const std::string_view what = line.substr(end + 2);
    Notice notice;
    if (const std::optional<int> path = numberBehind(name, "path")) {
        notice = {NoticeKind::path, *path, Place::none, what.starts_with("Entering Up state"), Omen::none};
        const bool isDown = what.starts_with("Entering Down state") || what.starts_with("Entering AdminDown state");
        return *path >= 0 && *path < kHeartbeats && (notice.isUp || isDown) ? std::optional(notice) : std::nullopt;
    }
    const std::optional<int> election = numberBehind(name, "ha");
    const auto *const omen = std::find_if(std::begin(kOmens), std::end(kOmens),
                                          [what](const OmenWords &row) { return what.starts_with(row.words); });
    if (!election || *election < 0 || *election >= kMostElections || omen == std::end(kOmens))
        return std::nullopt;
    notice.kind = NoticeKind::omen;
    notice.index = *election;
    notice.omen = omen->omen;
    return notice;
}

bool isAccepted(std::string_view printed) {
    bool isClean = true;
    std::string_view line;
    while (!printed.empty()) {
        line = takeLine(printed);
        const bool isStatus = printed.empty();
        isClean = isClean && (isStatus || line.find("has only 1 virtual router") != std::string_view::npos);
    }
    return line == "0" || (isClean && line == kTestStatus);
}

std::string mistakeIn(std::string_view said) {
    std::string_view last;
    while (!said.empty()) {
        const std::string_view line = withoutTime(takeLine(said));
        const bool isMistake = line.find(": Line ") != std::string_view::npos ||
                               line.find("rror") != std::string_view::npos ||
                               line.find("unable") != std::string_view::npos;
        if (isMistake)
            return std::string(line);
        if (!line.empty())
            last = line;
    }
    return std::string(last);
}

int processIn(std::string_view line) {
    int process = 0;
    std::from_chars(line.data(), line.data() + line.size(), process);
    return process;
}

} // namespace rk
