// Chooses between the executor's two kernel module files.
#pragma once

#include <cstdint>

extern "C" {

// Mode 1 links the generic name of the executor's module file to the file for this kernel, unless the generic name can
// already be opened. Mode 2 removes the link. Any other mode does nothing. No outcome is reported: after a failure
// there is no link, or one to the file for a single processor.
void CMN_LinuxBinaryFile(int32_t mode);
}
