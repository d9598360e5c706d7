// Reads a configuration as HAProxy does, as far as ours go: words out of lines, sections out of words. It is written
// apart from what writes them.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace rk {

using ConfigurationLine = std::vector<std::string>;

struct ConfigurationSection {
    std::string kind; // "frontend"
    std::string name; // empty: it has none
    std::vector<ConfigurationLine> lines;
};

// None when HAProxy would not take a word as it stands: an unended quotation, an unknown escape, a byte that cannot be.
std::optional<std::vector<ConfigurationSection>> readConfiguration(const std::string &text);

// The section of a kind and name; null when there is none, or more than one.
const ConfigurationSection *sectionIn(const std::vector<ConfigurationSection> &sections, const std::string &kind,
                                      const std::string &name);

// The lines of a section that begin with a word, without it.
std::vector<ConfigurationLine> linesWith(const ConfigurationSection &section, const std::string &word);

} // namespace rk
