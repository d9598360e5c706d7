// The settings of a port, in the order in which the library reads them from Java.
#pragma once

#include "contract/settings.h"

using enum values::Kind;

// A setting's flag and its value: the offset of each, and its place among those that go back to Java, or that reading
// sets.
inline constexpr OneValueSetting kPortSettings[] = {
    {{"SetMaxNumberOfServers", 80, 1}, {"MaxNumberOfServers", intWord, 32, 2}},
    {{"SetStaleTimeout", 84, 5}, {"StaleTimeout", intTwoWords, 56, 6}},
    {{"SetStickyTime", 81, 2}, {"StickyTime", intTwoWords, 40, 3}},
    {{"SetStickyBits", 83, 4}, {"iStickyBits", intWord, 52, 5}},
    {{"SetWeightBound", 85, 6}, {"WeightBound", intSignedHalf, 64, 7}},
    {{"SetType", 86, 7}, {"Type", charSignedByte, 66, 8}},
    {{"SetMethod", 87, 8}, {"iMethod", intSignedHalf, 68, 9}},
    {{"SetPortProtocol", 82, 3}, {"iPortProtocol", intHalf, 48, 4}},
    {{"SetReplicate", 88, 9}, {"Replicate", intByte, 70, 10}},
    {{"SetMaxHalfOpen", 90, 10}, {"iMaxHalfOpen", intWord, 76, 12}},
    {{"SetCrossPort", 89, 11}, {"iCrossPort", intPort, 72, 11}},
    {{"SetSendReset", 91, 12}, {"SendReset", byteByte, 92, 13}},
};
