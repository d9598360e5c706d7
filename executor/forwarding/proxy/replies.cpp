#include "executor/forwarding/proxy/replies.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <optional>

namespace rk {

namespace {

// Takes what stands in front of `separator` off `text`; all of it when there is none.
std::string_view takeField(std::string_view &text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return field;
}

template <typename Number> std::optional<Number> numberIn(std::string_view text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

// A count that a line tells, or 0: columns that do not apply are empty.
uint64_t countIn(std::string_view text) {
    return numberIn<uint64_t>(text).value_or(0);
}

// The word behind `name` in a line of words; empty when there is none.
std::string_view wordBehind(std::string_view line, std::string_view name) {
    while (!line.empty()) {
        std::string_view word = takeField(line, ' ');
        if (word.starts_with(name))
            return word.substr(name.size());
    }
    return {};
}

// A time as HAProxy prints it, in seconds: 45s, 4m59s, 2h1m, 3d7h.
uint32_t secondsIn(std::string_view text) {
    uint64_t seconds = 0;
    while (!text.empty()) {
        const std::size_t unit = std::min(text.find_first_not_of("0123456789"), text.size());
        const uint64_t count = countIn(text.substr(0, unit));
        const char letter = unit < text.size() ? text[unit] : 's';
        const uint64_t factor = letter == 'd' ? 86400 : letter == 'h' ? 3600 : letter == 'm' ? 60 : 1;
        seconds += std::min<uint64_t>(count, UINT32_MAX) * factor;
        text.remove_prefix(std::min(unit + 1, text.size()));
    }
    return static_cast<uint32_t>(std::min<uint64_t>(seconds, UINT32_MAX));
}

// The time that stands behind `rx=` between the brackets of a request or a reply: until it times out.
uint32_t timeLeft(std::string_view line, std::string_view buffer) {
    const std::size_t begin = line.find(buffer);
    if (begin == std::string_view::npos)
        return 0;
    std::string_view inside = line.substr(begin + buffer.size());
    inside = inside.substr(0, inside.find(']'));
    const std::size_t time = inside.find("rx=");
    if (time == std::string_view::npos)
        return 0;
    inside.remove_prefix(time + 3);
    return secondsIn(takeField(inside, ','));
}

Endpoint endpointIn(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos)
        return {};
    return {parseAddress(text.substr(0, colon)), numberIn<uint16_t>(text.substr(colon + 1)).value_or(0)};
}

std::string_view valueOf(std::string_view reply, std::string_view name) {
    while (!reply.empty()) {
        std::string_view line = takeField(reply, '\n');
        if (line.starts_with(name))
            return line.substr(name.size());
    }
    return {};
}

// Where the columns are that are looked at.
struct Columns {
    std::size_t pool = 0, server = 0, active = 0, connections = 0, bytesIn = 0, bytesOut = 0, rate = 0;
};

std::vector<std::string_view> fieldsOf(std::string_view line) {
    std::vector<std::string_view> fields;
    while (!line.empty())
        fields.push_back(takeField(line, ','));
    return fields;
}

// None when one is missing.
std::optional<Columns> columnsIn(std::string_view header) {
    const std::vector<std::string_view> names = fieldsOf(header);
    Columns columns;
    const std::pair<std::size_t *, std::string_view> wanted[] = {
        {&columns.pool, "pxname"},      {&columns.server, "svname"}, {&columns.active, "scur"},
        {&columns.connections, "stot"}, {&columns.bytesIn, "bin"},   {&columns.bytesOut, "bout"},
        {&columns.rate, "rate"},
    };
    for (const auto &[column, name] : wanted) {
        const auto found = std::find(names.begin(), names.end(), name);
        if (found == names.end())
            return std::nullopt;
        *column = static_cast<std::size_t>(found - names.begin());
    }
    return columns;
}

// The number of a server, or of the server for which one stands by.
uint32_t serverNumber(std::string_view name) {
    const uint32_t number = numberBehind('s', name);
    return number != 0 ? number : numberBehind('t', name);
}

} // namespace

uint32_t numberBehind(char letter, std::string_view text) {
    if (text.empty() || text.front() != letter)
        return 0;
    return numberIn<uint32_t>(text.substr(1)).value_or(0);
}

Address parseAddress(std::string_view text) {
    Address address;
    const std::string terminated(text);
    if (terminated.size() == text.size() && inet_pton(AF_INET, terminated.c_str(), address.bytes.data()) == 1)
        address.family = AddressFamily::ipv4;
    return address;
}

std::vector<StatisticsRow> parseStatistics(std::string_view reply) {
    std::vector<StatisticsRow> rows;
    std::optional<Columns> columns;
    while (!reply.empty()) {
        std::string_view line = takeField(reply, '\n');
        if (line.starts_with("# ")) {
            columns = columnsIn(line.substr(2));
            continue;
        }
        if (!columns)
            continue;
        const std::vector<std::string_view> fields = fieldsOf(line);
        const auto field = [&fields](std::size_t column) {
            return column < fields.size() ? fields[column] : std::string_view{};
        };
        StatisticsRow row;
        row.pool = numberBehind('b', field(columns->pool));
        row.server = serverNumber(field(columns->server));
        if (row.pool == 0 || (row.server == 0 && field(columns->server) != "BACKEND"))
            continue;
        row.active = countIn(field(columns->active));
        row.connections = countIn(field(columns->connections));
        row.bytesIn = countIn(field(columns->bytesIn));
        row.bytesOut = countIn(field(columns->bytesOut));
        row.rate = countIn(field(columns->rate));
        rows.push_back(row);
    }
    return rows;
}

std::vector<SessionRow> parseSessions(std::string_view reply) {
    std::vector<SessionRow> rows;
    while (!reply.empty()) {
        const std::string_view line = takeField(reply, '\n');
        SessionRow row;
        row.client = endpointIn(wordBehind(line, "src="));
        row.pool = numberBehind('b', wordBehind(line, "be="));
        row.server = serverNumber(wordBehind(line, "srv="));
        row.age = secondsIn(wordBehind(line, "age="));
        row.left = std::max(timeLeft(line, "rq["), timeLeft(line, "rp["));
        if (row.client.address.family != AddressFamily::none && row.pool != 0 && row.server != 0)
            rows.push_back(row);
    }
    return rows;
}

std::vector<TableRow> parseTable(std::string_view reply) {
    std::vector<TableRow> rows;
    while (!reply.empty()) {
        const std::string_view line = takeField(reply, '\n');
        TableRow row;
        row.client = parseAddress(wordBehind(line, "key="));
        row.server = numberIn<uint32_t>(wordBehind(line, "server_id=")).value_or(0) % kStandbyNumber;
        row.left = numberIn<uint32_t>(wordBehind(line, "exp=")).value_or(0);
        if (row.client.family != AddressFamily::none && row.server != 0)
            rows.push_back(row);
    }
    return rows;
}

int parseProcess(std::string_view reply) {
    return numberIn<int>(valueOf(reply, "Pid: ")).value_or(0);
}

uint64_t parseCurrentConnections(std::string_view reply) {
    return countIn(valueOf(reply, "CurrConns: "));
}

std::string alertsIn(std::string_view printed) {
    std::string alerts;
    while (!printed.empty()) {
        std::string_view line = takeField(printed, '\n');
        if (!line.starts_with("[ALERT]"))
            continue;
        // [ALERT]    (1234) : config : parsing [/tmp/.../haproxy.cfg:12] : reason
        const std::size_t process = line.find(") : ");
        if (process != std::string_view::npos)
            line.remove_prefix(process + 4);
        const std::size_t place = line.find("[/");
        const std::size_t placeEnd = line.find(']', place);
        std::string alert(line);
        if (place != std::string_view::npos && placeEnd != std::string_view::npos)
            alert.erase(place, placeEnd + 1 - place);
        for (char &character : alert)
            character = static_cast<unsigned char>(character) < ' ' ? '?' : character;
        alerts += (alerts.empty() ? "" : "; ") + alert;
    }
    return alerts;
}

} // namespace rk
