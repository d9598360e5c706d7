// Descriptors in a process that is not ours: whoever has libuexc may close what it did not open, and the number may be
// another file's afterwards. Each is known by the file behind it, and is left alone when that is another one.
#pragma once

#include <sys/stat.h>

namespace rk {

struct OwnDescriptor {
    int number = -1;
    dev_t device = 0;
    ino_t inode = 0;
};

// Takes over an open descriptor.
OwnDescriptor ownDescriptor(int number);

// Whether the number still stands for what was taken over.
bool isOurs(const OwnDescriptor &descriptor);

// Closes it if it is ours. It is empty afterwards.
void closeOwn(OwnDescriptor &descriptor);

} // namespace rk
