#include "executor/forwarding/kernel/mark_numbers.h"

namespace rk {

uint32_t markFor(MarkNumbers &numbers, const std::string &name) {
    if (const uint32_t mark = findMark(numbers, name))
        return mark;
    // From where the last one was found: a number is not given to another thing as soon as it is free.
    for (uint32_t tried = kFirstMark; tried <= kLastMark; ++tried) {
        const uint32_t mark = numbers.next;
        numbers.next = mark == kLastMark ? kFirstMark : mark + 1;
        if (keepMark(numbers, name, mark))
            return mark;
    }
    return 0;
}

uint32_t findMark(const MarkNumbers &numbers, std::string_view name) {
    const auto found = numbers.ofName.find(name);
    return found == numbers.ofName.end() ? 0 : found->second;
}

bool keepMark(MarkNumbers &numbers, const std::string &name, uint32_t mark) {
    if (mark < kFirstMark || mark > kLastMark || numbers.nameOf.contains(mark) || numbers.ofName.contains(name))
        return false;
    numbers.ofName.emplace(name, mark);
    numbers.nameOf.emplace(mark, name);
    return true;
}

void releaseMark(MarkNumbers &numbers, uint32_t mark) {
    const auto found = numbers.nameOf.find(mark);
    if (found == numbers.nameOf.end())
        return;
    numbers.ofName.erase(found->second);
    numbers.nameOf.erase(found);
}

} // namespace rk
