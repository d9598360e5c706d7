#include "proxy/configuration_model.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace rk {

namespace {

std::optional<int> digit(char character) {
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return std::nullopt;
}

// The words of a line: blanks end them, a # ends the line, quotes and backslashes keep what would.
std::optional<ConfigurationLine> wordsOf(const std::string &line) {
    ConfigurationLine words;
    std::string word;
    bool isInWord = false;
    char quote = 0;
    for (std::size_t index = 0; index < line.size(); ++index) {
        const char character = line[index];
        if (quote == 0 && (character == ' ' || character == '\t')) {
            if (isInWord)
                words.push_back(word);
            word.clear();
            isInWord = false;
            continue;
        }
        if (quote == 0 && character == '#')
            break;
        isInWord = true;
        if (character == quote) {
            quote = 0;
        } else if (quote == 0 && (character == '"' || character == '\'')) {
            quote = character;
        } else if (quote == '"' && character == '$') {
            return std::nullopt; // would be the environment's
        } else if (quote != '\'' && character == '\\') {
            if (++index == line.size())
                return std::nullopt;
            const char escaped = line[index];
            const std::string plain = "\\ #'\"";
            if (escaped == 'x') {
                if (index + 2 >= line.size())
                    return std::nullopt;
                const auto high = digit(line[index + 1]);
                const auto low = digit(line[index + 2]);
                if (!high || !low || *high * 16 + *low == 0)
                    return std::nullopt;
                word += static_cast<char>(*high * 16 + *low);
                index += 2;
            } else if (plain.find(escaped) != std::string::npos) {
                word += escaped;
            } else {
                return std::nullopt;
            }
        } else {
            word += character;
        }
    }
    if (quote != 0)
        return std::nullopt;
    if (isInWord)
        words.push_back(word);
    return words;
}

} // namespace

std::optional<std::vector<ConfigurationSection>> readConfiguration(const std::string &text) {
    constexpr std::array kKinds = {"global",    "defaults", "frontend", "backend", "listen",      "peers", "userlist",
                                   "resolvers", "program",  "mailers",  "cache",   "http-errors", "ring",  "crt-store"};
    std::vector<ConfigurationSection> sections;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) {
        const std::optional<ConfigurationLine> words = wordsOf(line);
        if (!words || words->size() > 64 || line.size() > 2000)
            return std::nullopt;
        if (words->empty())
            continue;
        if (std::find(kKinds.begin(), kKinds.end(), words->front()) != kKinds.end())
            sections.push_back({words->front(), words->size() > 1 ? (*words)[1] : "", {}});
        else if (sections.empty())
            return std::nullopt;
        else
            sections.back().lines.push_back(*words);
    }
    return sections;
}

const ConfigurationSection *sectionIn(const std::vector<ConfigurationSection> &sections, const std::string &kind,
                                      const std::string &name) {
    const ConfigurationSection *found = nullptr;
    for (const ConfigurationSection &section : sections) {
        if (section.kind != kind || section.name != name)
            continue;
        if (found != nullptr)
            return nullptr;
        found = &section;
    }
    return found;
}

std::vector<ConfigurationLine> linesWith(const ConfigurationSection &section, const std::string &word) {
    std::vector<ConfigurationLine> lines;
    for (const ConfigurationLine &line : section.lines) {
        if (line.front() == word)
            lines.emplace_back(line.begin() + 1, line.end());
    }
    return lines;
}

} // namespace rk
