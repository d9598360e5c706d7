// What the program around the device waits for, with pipes in the places of the kernel's channel and of the signals.
#include "executor/fronts/device_wait.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

namespace rk {
namespace {

int writeEnd = -1; // for a signal's handler

struct Pipe {
    std::array<int, 2> ends{-1, -1};

    int readEnd() const {
        return ends[0];
    }
    void send() const {
        EXPECT_EQ(write(ends[1], "x", 1), 1);
    }
    void closeBoth() {
        for (int &end : ends) {
            if (end != -1)
                close(end);
            end = -1;
        }
    }
};

class DeviceWait : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(pipe(channel.ends.data()), 0);
        ASSERT_EQ(pipe(signals.ends.data()), 0);
    }
    void TearDown() override {
        channel.closeBoth();
        signals.closeBoth();
    }
    DeviceEvent await() {
        return awaitEvent(channel.readEnd(), signals.readEnd(), mistake);
    }

    Pipe channel;
    Pipe signals;
    std::string mistake;
};

TEST_F(DeviceWait, endsWithAMessage) {
    channel.send();
    EXPECT_EQ(await(), DeviceEvent::message);
    EXPECT_EQ(mistake, "");
}

TEST_F(DeviceWait, endsWithASignalBeforeAMessage) {
    signals.send();
    EXPECT_EQ(await(), DeviceEvent::signal);
    channel.send();
    EXPECT_EQ(await(), DeviceEvent::signal);
    EXPECT_EQ(mistake, "");
}

TEST_F(DeviceWait, failsWhenTheChannelEnds) {
    close(channel.ends[1]);
    channel.ends[1] = -1;
    EXPECT_EQ(await(), DeviceEvent::failure);
    EXPECT_EQ(mistake, "the kernel has ended the device");
}

TEST_F(DeviceWait, failsWithoutAnOpenDescriptor) {
    const int closed = channel.readEnd();
    channel.closeBoth();
    EXPECT_EQ(awaitEvent(closed, signals.readEnd(), mistake), DeviceEvent::failure);
    EXPECT_EQ(mistake, "the kernel has ended the device");
}

TEST_F(DeviceWait, failsWhenSignalsCannotBeAwaited) {
    const int closed = signals.readEnd();
    signals.closeBoth();
    channel.send();
    EXPECT_EQ(awaitEvent(channel.readEnd(), closed, mistake), DeviceEvent::failure);
    EXPECT_EQ(mistake, "signals can no longer be awaited");
}

// The system refuses to wait for more descriptors than a process may have.
TEST_F(DeviceWait, failsWhenTheSystemRefusesToWait) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit tooFew = before;
    tooFew.rlim_cur = 1;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tooFew), 0);
    EXPECT_EQ(await(), DeviceEvent::failure);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(mistake, "cannot wait for commands: Invalid argument");
}

// The second alarm brings the message; the first one interrupts and brings nothing.
TEST_F(DeviceWait, goesOnWhenASignalInterruptsIt) {
    static int alarms = 0;
    alarms = 0;
    writeEnd = channel.ends[1];
    struct sigaction handler {};
    handler.sa_handler = [](int) {
        if (++alarms == 2 && write(writeEnd, "x", 1) != 1)
            abort();
    };
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGALRM, &handler, &before), 0);
    const itimerval often{{0, 20'000}, {0, 20'000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    EXPECT_EQ(await(), DeviceEvent::message);
    const itimerval off{};
    ASSERT_EQ(setitimer(ITIMER_REAL, &off, nullptr), 0);
    ASSERT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
    EXPECT_GE(alarms, 2);
    EXPECT_EQ(mistake, "");
}

} // namespace
} // namespace rk
