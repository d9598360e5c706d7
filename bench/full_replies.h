// Replies of an executor whose tables are full.
#pragma once

#include <cstdint>

namespace full {

// Makes the stub executor answer every list with this many entries of 13 characters each, every dump with as many
// entries as a block holds, and the reports with the numbers that belong to them.
void answerAll(int32_t entries);

// From now on there are no more than this many entries, in reports, lists and dumps.
void countEntries(int32_t entries);

} // namespace full
