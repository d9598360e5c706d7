#include "executor/children/descriptor.h"

#include <unistd.h>

namespace rk {

OwnDescriptor ownDescriptor(int number) {
    OwnDescriptor descriptor;
    struct stat status {};
    if (fstat(number, &status) == 0)
        descriptor = {number, status.st_dev, status.st_ino};
    return descriptor;
}

bool isOurs(const OwnDescriptor &descriptor) {
    struct stat status {};
    return descriptor.number >= 0 && fstat(descriptor.number, &status) == 0 && status.st_dev == descriptor.device &&
           status.st_ino == descriptor.inode;
}

void closeOwn(OwnDescriptor &descriptor) {
    if (isOurs(descriptor))
        close(descriptor.number);
    descriptor = {};
}

} // namespace rk
