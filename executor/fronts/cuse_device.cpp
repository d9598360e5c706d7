#define FUSE_USE_VERSION 312

#include "executor/fronts/cuse_device.h"

#include "executor/fronts/device_options.h"
#include "executor/fronts/device_request.h"
#include "executor/fronts/device_wait.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cuse_lowlevel.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr int kPatienceMilliseconds = 10'000; // ample: the kernel asks at once

void answerIoctl(fuse_req_t request, int command, void *argument, fuse_file_info * /*file*/, unsigned int /*flags*/,
                 const void *in, size_t inBytes, size_t outBytes) {
    auto &state = *static_cast<ExecutorState *>(fuse_req_userdata(request));
    DeviceReply reply;
    answerDeviceRequest(state, static_cast<uint32_t>(command), in, inBytes, outBytes, reply);
    const iovec bring{argument, reply.inBytes};
    const iovec take{argument, reply.outBytes};
    switch (reply.answer) {
    case DeviceAnswer::refused:
        fuse_reply_err(request, reply.error);
        break;
    case DeviceAnswer::retry:
        fuse_reply_ioctl_retry(request, &bring, 1, &take, reply.outBytes == 0 ? 0 : 1);
        break;
    case DeviceAnswer::performed:
        fuse_reply_ioctl(request, 0, reply.block.data(), reply.block.size());
        break;
    }
}

fuse_session *newSession(const std::string &name, ExecutorState &state) {
    const std::string nameLine = "DEVNAME=" + name;
    const char *lines[] = {nameLine.c_str()}; // the session copies them
    cuse_info info{};
    info.dev_info_argc = 1;
    info.dev_info_argv = lines;
    info.flags = CUSE_UNRESTRICTED_IOCTL;
    cuse_lowlevel_ops operations{};
    operations.ioctl = answerIoctl;
    char program[] = "qelxwd";
    char *arguments[] = {program, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    fuse_session *session = cuse_lowlevel_new(&args, &info, &operations, &state);
    fuse_opt_free_args(&args); // reading them made a copy
    return session;
}

// Answers one message of the kernel, if it still waits. False when the session is at its end: `mistake` says why.
bool answerMessage(CuseDevice &device, fuse_buf &message) {
    const int bytes = fuse_session_receive_buf(device.session, &message);
    if (bytes > 0)
        fuse_session_process_buf(device.session, &message);
    if (bytes > 0 || bytes == -EINTR || bytes == -EAGAIN)
        return true;
    device.mistake = bytes == 0 ? "the kernel has ended the device"
                                : std::string("cannot read from ") + kDeviceChannel + ": " + std::strerror(-bytes);
    return false;
}

// Answers the first message, which asks for the device's name. The kernel makes the device from the answer, and ends
// the session when it cannot. False when there is no device.
bool introduce(CuseDevice &device) {
    pollfd wanted{device.channel, POLLIN, 0};
    fuse_buf message{};
    const bool isAnswered = poll(&wanted, 1, kPatienceMilliseconds) == 1 && answerMessage(device, message);
    std::free(message.mem);
    return isAnswered && poll(&wanted, 1, 0) >= 0 && (wanted.revents & POLLERR) == 0;
}

bool isThere(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

void fail(CuseDevice &device, std::string mistake) {
    closeDevice(device);
    device.mistake = std::move(mistake);
}

} // namespace

CuseDevice openDevice(const std::string &name, ExecutorState &state) {
    CuseDevice device;
    const std::string path = "/dev/" + name;
    const int channel = open(kDeviceChannel, O_RDWR | O_CLOEXEC | O_NONBLOCK);
    if (channel == -1) {
        device.mistake = describeChannelError(errno);
        return device;
    }
    if (isThere(path)) {
        close(channel);
        device.mistake = path + " is there already: stop what serves it, or take another --device-name";
        return device;
    }
    device.session = newSession(name, state);
    if (device.session == nullptr) {
        close(channel);
        device.mistake = "no session with " + std::string(kDeviceChannel) + " can be set up";
        return device;
    }
    const std::string place = "/dev/fd/" + std::to_string(channel);
    if (fuse_session_mount(device.session, place.c_str()) != 0) {
        close(channel);
        fail(device, "the session does not take " + std::string(kDeviceChannel));
        return device;
    }
    device.channel = channel;
    if (!introduce(device))
        fail(device, "the kernel does not make " + path + ": the name may be taken (see dmesg)");
    else if (!isThere(path))
        fail(device, "the kernel made the device, but it is not at " + path + ": is /dev a devtmpfs?");
    return device;
}

bool serveDevice(CuseDevice &device, int signals) {
    fuse_buf message{};
    DeviceEvent event = DeviceEvent::message;
    do {
        event = awaitEvent(device.channel, signals, device.mistake);
        if (event == DeviceEvent::message && !answerMessage(device, message))
            event = DeviceEvent::failure;
    } while (event == DeviceEvent::message);
    std::free(message.mem);
    return event == DeviceEvent::signal;
}

void closeDevice(CuseDevice &device) {
    if (device.session != nullptr)
        fuse_session_destroy(device.session);
    device.session = nullptr;
    device.channel = -1;
}

} // namespace rk
