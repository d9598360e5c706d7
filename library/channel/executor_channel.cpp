#include "library/channel/channel.h"
#include "rk/device.h"
#include "rk/uexc.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

int32_t hQelPd = -1;
uint8_t prv_giKVAServerModality = 0;
int32_t (*pfEXC_UserInput)(rk::CommandHeader *block) = nullptr;

int32_t EXC_is_loaded() {
    if (hQelPd != -1)
        return 1;
    hQelPd = open(rk::kExecutorDevice, O_RDWR);
    if (hQelPd == -1)
        return 0;
    // Programs that the server starts must not hold the device. It is opened with O_RDWR alone, so this comes after.
    fcntl(hQelPd, F_SETFD, FD_CLOEXEC);
    return 1;
}

void EXC_close_handle() {
    if (hQelPd == -1)
        return;
    close(hQelPd);
    hQelPd = -1;
}

int32_t prv_EXC_Command_Kernel(rk::CommandHeader *block) {
    if (hQelPd == -1 && EXC_is_loaded() == 0)
        return -1;
    block->result = 0;
    if (ioctl(hQelPd, rk::kExecutorRequest, block) == -1)
        return errno;
    if (block->result == -1)
        errno = block->reason;
    return block->result;
}

int32_t prv_EXC_Command(rk::CommandHeader *block) {
    if (block == nullptr)
        return -1;
    if (prv_giKVAServerModality != 0)
        return EXC_UserInput(block);
    return prv_EXC_Command_Kernel(block);
}
