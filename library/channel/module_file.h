// Which of the executor's two kernel module files is in use.
#pragma once

#include <cstdint>

extern "C" {

// Mode 1 links the generic name of the executor's module file to the file for this kernel, unless the generic name can
// be opened already; mode 2 removes the link; any other mode does nothing. Nothing is reported: a failure leaves things
// as they are, or links the file for one processor.
void CMN_LinuxBinaryFile(int32_t mode);
}
