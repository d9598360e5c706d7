// Which mark on packets stands for what. The numbers are this program's own stretch of all marks; a thing keeps its
// number as long as it is there, over restarts too (by the journal).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace rk {

inline constexpr uint32_t kFirstMark = 0x4C000001;
inline constexpr uint32_t kLastMark = 0x4CFFFFFF;

inline bool isOwnMark(uint32_t mark) {
    return mark >= kFirstMark - 1 && mark <= kLastMark;
}

struct MarkNumbers {
    std::map<std::string, uint32_t, std::less<>> ofName;
    std::map<uint32_t, std::string> nameOf; // the other way
    uint32_t next = kFirstMark;             // where to look for one that is free
};

// The mark of a thing, given out when it has none. Throws std::bad_alloc; when all marks are taken the result is 0.
uint32_t markFor(MarkNumbers &numbers, const std::string &name);

// The mark of a thing, 0 when it has none.
uint32_t findMark(const MarkNumbers &numbers, std::string_view name);

// Gives a thing the mark that it had in the journal. False when either is taken, or is not one of this program's.
bool keepMark(MarkNumbers &numbers, const std::string &name, uint32_t mark);

void releaseMark(MarkNumbers &numbers, uint32_t mark);

} // namespace rk
