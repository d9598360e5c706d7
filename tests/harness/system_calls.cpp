#include "harness/system_calls.h"

#include "harness/scripted_executor.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <netdb.h>
#include <set>

namespace {

constexpr int kFirstDescriptor = 1000;

calls::Device deviceState = calls::Device::real;
std::string devicePath;
int nextDescriptor = kFirstDescriptor;
std::function<int(void *)> ioctlAction;
std::vector<std::string> deviceRecord;
std::map<int, int> flagsOfDescriptors;

bool counting = false;
int failingAllocation = 0;
std::size_t largestAllocation = SIZE_MAX;
std::vector<std::size_t> sizes;
std::set<void *> held;
bool watching = false;
std::set<void *> watched; // of one native call
std::vector<std::string> names;
std::vector<unsigned> secondsSlept;
std::function<calls::Outcome(const std::string &)> commandAction;
std::vector<std::string> commandRecord;
std::set<FILE *> streams;

template <typename... Arguments> void record(const char *format, Arguments... arguments) {
    char text[64];
    snprintf(text, sizeof(text), format, arguments...);
    deviceRecord.emplace_back(text);
}

bool isDevice(const char *path) {
    return deviceState != calls::Device::real && path == devicePath;
}

bool isDevice(int descriptor) {
    return descriptor >= kFirstDescriptor && descriptor < nextDescriptor;
}

// Whether this allocation is to fail; counts it.
bool allocationFails(std::size_t size) {
    if (!counting)
        return size > largestAllocation;
    counting = false; // what the record itself allocates does not count
    sizes.push_back(size);
    counting = true;
    return size > largestAllocation || static_cast<int>(sizes.size()) == failingAllocation;
}

void *keep(void *block) {
    if (counting && block != nullptr) {
        counting = false;
        held.insert(block);
        counting = true;
    }
    if (watching && block != nullptr)
        watched.insert(block);
    return block;
}

void drop(void *block) {
    if (counting) {
        counting = false;
        held.erase(block);
        counting = true;
    }
    if (watching)
        watched.erase(block);
}

} // namespace

namespace calls {

void reset() {
    deviceState = Device::real;
    nextDescriptor = kFirstDescriptor;
    ioctlAction = nullptr;
    deviceRecord.clear();
    flagsOfDescriptors.clear();
    counting = false;
    failingAllocation = 0;
    largestAllocation = SIZE_MAX;
    sizes.clear();
    held.clear();
    names.clear();
    secondsSlept.clear();
    commandAction = nullptr;
    commandRecord.clear();
}

void device(Device state, const char *path) {
    deviceState = state;
    devicePath = path;
}

void onIoctl(std::function<int(void *)> action) {
    ioctlAction = std::move(action);
}

const std::vector<std::string> &deviceCalls() {
    return deviceRecord;
}

int descriptorFlags(int descriptor) {
    return flagsOfDescriptors[descriptor];
}

void countAllocations(int failing) {
    sizes.clear();
    held.clear();
    failingAllocation = failing;
    counting = true;
}

void allocateAtMost(std::size_t bytes) {
    largestAllocation = bytes;
}

int allocations() {
    return static_cast<int>(sizes.size());
}

int blocksHeld() {
    return static_cast<int>(held.size());
}

void watchBlocks() {
    watched.clear();
    watching = true;
}

int blocksLeft() {
    watching = false;
    return static_cast<int>(watched.size());
}

std::vector<std::size_t> allocationSizes() {
    return sizes;
}

void onCommand(std::function<Outcome(const std::string &command)> action) {
    commandAction = std::move(action);
    commandRecord.clear();
}

const std::vector<std::string> &commands() {
    return commandRecord;
}

const std::vector<std::string> &namesResolved() {
    return names;
}

const std::vector<unsigned> &waits() {
    return secondsSlept;
}

} // namespace calls

extern "C" {

int __real_open(const char *path, int flags, ...);
int __real_close(int descriptor);
int __real_fcntl(int descriptor, int command, ...);
int __real_ioctl(int descriptor, unsigned long request, ...);
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void __real_free(void *block);
int __real_system(const char *command);
FILE *__real_popen(const char *command, const char *mode);
int __real_pclose(FILE *stream);

int __wrap_open(const char *path, int flags, ...) {
    if (!isDevice(path)) {
        va_list arguments;
        va_start(arguments, flags);
        const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
        va_end(arguments);
        return __real_open(path, flags, mode);
    }
    record("open %d", flags);
    if (deviceState == calls::Device::absent) {
        errno = ENOENT;
        return -1;
    }
    return nextDescriptor++;
}

int __wrap_close(int descriptor) {
    if (!isDevice(descriptor))
        return __real_close(descriptor);
    record("close %d", descriptor);
    return 0;
}

int __wrap_fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (!isDevice(descriptor))
        return __real_fcntl(descriptor, command, argument);
    if (command == F_SETFD)
        flagsOfDescriptors[descriptor] = static_cast<int>(argument);
    return 0;
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void *block = va_arg(arguments, void *);
    va_end(arguments);
    if (!isDevice(descriptor))
        return __real_ioctl(descriptor, request, block);
    record("ioctl %d 0x%lx", descriptor, request);
    if (ioctlAction)
        return ioctlAction(block);
    executor::perform(static_cast<uint8_t *>(block));
    return 0;
}

// What stands in a new block is not zero by luck.
void *__wrap_malloc(std::size_t size) {
    if (allocationFails(size))
        return nullptr;
    void *block = __real_malloc(size);
    if (block != nullptr)
        memset(block, 0xEE, size);
    return keep(block);
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
    return allocationFails(count * size) ? nullptr : keep(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, std::size_t size) {
    if (allocationFails(size))
        return nullptr;
    drop(block);
    return keep(__real_realloc(block, size));
}

void __wrap_free(void *block) {
    drop(block);
    __real_free(block);
}

hostent *__wrap_gethostbyname(const char *name) {
    names.emplace_back(name);
    if (strcmp(name, "balancer.example") != 0)
        return nullptr;
    static in_addr address;
    inet_aton("192.0.2.7", &address);
    static char *addresses[] = {reinterpret_cast<char *>(&address), nullptr};
    static hostent host = {};
    host.h_addrtype = AF_INET;
    host.h_length = sizeof(address);
    host.h_addr_list = addresses;
    return &host;
}

int __wrap_system(const char *command) {
    if (!commandAction)
        return __real_system(command);
    commandRecord.push_back(std::string("system ") + command);
    return commandAction(command).status;
}

FILE *__wrap_popen(const char *command, const char *mode) {
    if (!commandAction)
        return __real_popen(command, mode);
    commandRecord.push_back(std::string("popen ") + mode + " " + command);
    const calls::Outcome outcome = commandAction(command);
    FILE *stream = nullptr;
    if (outcome.stream == calls::Stream::unreadable) {
        stream = fopen("/dev/null", "w");
    } else if (outcome.stream == calls::Stream::readable) {
        // A real descriptor, as the library reads without the stream's buffer.
        stream = tmpfile();
        fputs(outcome.output.c_str(), stream);
        rewind(stream);
    }
    if (stream != nullptr)
        streams.insert(stream);
    return stream;
}

int __wrap_pclose(FILE *stream) {
    if (streams.erase(stream) == 0)
        return __real_pclose(stream);
    commandRecord.emplace_back("pclose");
    return fclose(stream);
}

unsigned __wrap_sleep(unsigned seconds) {
    secondsSlept.push_back(seconds);
    return 0;
}
}
