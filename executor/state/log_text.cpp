#include "executor/state/log_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace rk {

void append(LogText &text, const char *format, ...) {
    const std::size_t room = sizeof text.text - text.length;
    va_list arguments;
    va_start(arguments, format);
    const int wanted = std::vsnprintf(text.text + text.length, room, format, arguments);
    va_end(arguments);
    text.length += std::min(static_cast<std::size_t>(wanted), room - 1);
}

void appendName(LogText &text, std::string_view name) {
    for (const char character : name.substr(0, sizeof text.text - 1 - text.length)) {
        const bool isControl = static_cast<unsigned char>(character) < ' ' || character == '\x7f';
        text.text[text.length++] = isControl ? '?' : character;
    }
    text.text[text.length] = '\0';
}

void appendNameAndKey(LogText &text, const char *kind, std::string_view name, uint32_t key) {
    append(text, " %s=", kind);
    appendName(text, name);
    append(text, "(0x%08x)", static_cast<unsigned int>(key));
}

void appendAddress(LogText &text, const char *kind, NetworkAddress address) {
    char dotted[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, dotted, sizeof dotted);
    append(text, " %s=%s", kind, dotted);
}

void appendEndpoint(LogText &text, const char *kind, NetworkAddress address, int port) {
    appendAddress(text, kind, address);
    append(text, ":%d", port);
}

void appendTime(LogText &text) {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char time[32];
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%SZ", &parts);
    append(text, "%s", time);
}

} // namespace rk
