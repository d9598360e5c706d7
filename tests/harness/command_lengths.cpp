#include "harness/command_lengths.h"

#include <algorithm>
#include <cstring>

namespace executor {

namespace {

// A block of `length` bytes and, where an entry has a size, as many entries as the word at `count` says.
struct Length {
    int32_t command;
    uint32_t length;
    uint32_t entry = 0;
    std::size_t count = 0;
};

constexpr Length kLengths[] = {
    {1, 696},    {2, 696},         {3, 240},         {4, 192},   {5, 192},         {6, 20, 72, 16},  {7, 192},
    {8, 192},    {9, 72},          {10, 96},         {11, 96},   {12, 24, 8, 20},  {13, 96},         {14, 96},
    {15, 72},    {16, 28, 96, 24}, {17, 28, 96, 24}, {18, 344},  {19, 344},        {20, 28, 28, 24}, {21, 344},
    {22, 344},   {23, 188},        {24, 1952},       {25, 1952}, {26, 48, 88, 44}, {27, 1952},       {28, 1952},
    {29, 136},   {30, 136},        {31, 48, 88, 44}, {32, 1952}, {33, 96},         {34, 40},         {35, 64016},
    {36, 64016}, {37, 280},        {39, 64016},      {40, 280},  {41, 16},         {43, 280},        {44, 280},
    {45, 280},   {46, 280},        {47, 1712},       {48, 280},  {50, 16},         {51, 280},        {52, 64016},
    {53, 280},   {54, 5620},       {55, 2132},       {56, 1952}, {57, 24},         {58, 24},         {63, 40},
    {65, 64016}, {67, 64016},      {68, 64016},      {69, 280},  {71, 240},        {72, 72},         {80, 72},
    {81, 188},   {83, 96},         {84, 2084},       {85, 8212}, {86, 6164},
};

constexpr int32_t kDirectedAffinity = 59; // in the shared block, unless it has more entries than that holds
constexpr uint32_t kSharedBlock = 64016;
constexpr Length kAffinities = {kDirectedAffinity, 48, 32, 44};

uint32_t wordAt(std::span<const uint8_t> block, std::size_t offset) {
    uint32_t word = 0;
    if (offset + sizeof(word) <= block.size())
        memcpy(&word, block.data() + offset, sizeof(word));
    return word;
}

uint64_t withEntries(std::span<const uint8_t> block, const Length &row) {
    return row.length + uint64_t{row.entry} * wordAt(block, row.count);
}

} // namespace

std::optional<uint64_t> lengthOf(std::span<const uint8_t> block) {
    const auto command = static_cast<int32_t>(wordAt(block, 0));
    if (command == kDirectedAffinity)
        return std::max<uint64_t>(kSharedBlock, withEntries(block, kAffinities));
    for (const Length &row : kLengths) {
        if (row.command == command)
            return withEntries(block, row);
    }
    return {};
}

} // namespace executor
