// Report texts and split lists, on strings.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace model {

// A growing text: what it holds, and the size of its buffer.
struct Report {
    std::string text;
    std::size_t size;
};

// Whether an addition makes the buffer grow. One that cannot grow keeps its text and still gets the new size.
bool grows(const Report &report, const std::string &addition);
int append(Report &report, const std::string &addition, bool canGrow);

// The tokens of a list; none when the list is refused, which one that ends in a separator is.
std::vector<std::string> splitList(const std::string &list, char separator);

} // namespace model
