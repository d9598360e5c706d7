// The executor is installed as two module files, one for kernels with a single processor and one for kernels with
// several. The generic name is a link to the file that suits the kernel. No native method makes it; programs that
// install the executor do.
#include "library/channel/module_file.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int32_t kModeLink = 1;
constexpr int32_t kModeUnlink = 2;

constexpr char kGenericName[] = "/opt/qel/brev/xw/servers/bin/qelrk";

// Runs a command. Returns the first byte that it prints, or -1 when it cannot be run or prints nothing.
int firstByteOf(const char *command) {
    std::FILE *pipe = popen(command, "r");
    if (pipe == nullptr)
        return -1;
    unsigned char byte = 0;
    const bool read = ::read(fileno(pipe), &byte, 1) == 1;
    pclose(pipe);
    return read ? byte : -1;
}

// Runs a command to its end. Its outcome does not matter.
void run(const char *command) {
    std::FILE *pipe = popen(command, "r");
    if (pipe != nullptr)
        pclose(pipe);
}

void linkFile() {
    const int existing = open(kGenericName, O_RDWR);
    if (existing != -1) {
        close(existing);
        return;
    }
    const int processors = firstByteOf("/bin/uname -a | /bin/grep -i smp | wc -l | awk '{print $1}'");
    char file[16];
    std::snprintf(file, sizeof(file), "qelrk-%s", processors != -1 && processors != '0' ? "smp" : "up");
    char command[160];
    std::snprintf(command, sizeof(command), "/bin/ln -s /opt/qel/brev/xw/servers/bin/%s %s", file, kGenericName);
    run(command);
}

void removeLink() {
    if (firstByteOf("/usr/bin/test -L /opt/qel/brev/xw/servers/bin/qelrk && echo 1") == '1')
        run("/bin/rm /opt/qel/brev/xw/servers/bin/qelrk");
}

} // namespace

void CMN_LinuxBinaryFile(int32_t mode) {
    if (mode == kModeLink)
        linkFile();
    else if (mode == kModeUnlink)
        removeLink();
}
