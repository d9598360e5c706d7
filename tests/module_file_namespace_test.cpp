// Choosing the executor's module file for real: with links and commands, in a file system of this program's own.
#include "harness/library_test.h"
#include "harness/namespaces.h"

#include "library/channel/module_file.h"

#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/utsname.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

constexpr int kMakeLink = 1;
constexpr int kRemoveLink = 2;
const fs::path kFolder = "/opt/qel/brev/xw/servers/bin";
const fs::path kGenericName = kFolder / "qelrk";

auto *const mounts = new namespaces::Environment(CLONE_NEWNS);
[[maybe_unused]] const testing::Environment *const registered = testing::AddGlobalTestEnvironment(mounts);

bool isSmp() {
    utsname kernel = {};
    uname(&kernel);
    return strcasestr(kernel.version, "smp") != nullptr || strcasestr(kernel.release, "smp") != nullptr ||
           strcasestr(kernel.nodename, "smp") != nullptr;
}

void writeFile(const fs::path &path, const std::string &text) {
    std::ofstream(path) << text;
}

std::string contentsOf(const fs::path &path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

struct RealModuleFileTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        if (!mounts->refusal.empty())
            GTEST_SKIP() << mounts->refusal;
        if (!fs::is_directory("/opt"))
            GTEST_SKIP() << "no folder /opt to put a file system over";
        // Nothing that is mounted from here on may be seen outside.
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tests", "/opt", "tmpfs", 0, nullptr) != 0)
            GTEST_SKIP() << "no file system can be put over /opt here: " << strerror(errno);
        mounted = true;
        fs::create_directories(kFolder);
        writeFile(kFolder / "qelrk-up", "one processor");
        writeFile(kFolder / "qelrk-smp", "several processors");
    }

    // With no child left behind: every command has been waited for.
    void TearDown() override {
        if (fakeUname) {
            EXPECT_EQ(umount("/bin/uname"), 0) << strerror(errno);
        }
        if (mounted) {
            EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
            EXPECT_EQ(umount("/opt"), 0) << strerror(errno);
        }
        LibraryTest::TearDown();
    }

    // A kernel that calls itself so.
    void pretendKernel(const std::string &name) {
        const fs::path script = "/opt/uname";
        writeFile(script, "#!/bin/sh\ncat << 'NAME'\n" + name + "NAME\n");
        fs::permissions(script, fs::perms::all);
        ASSERT_EQ(mount(script.c_str(), "/bin/uname", nullptr, MS_BIND, nullptr), 0) << strerror(errno);
        fakeUname = true;
    }

    bool mounted = false;
    bool fakeUname = false;
};

TEST_F(RealModuleFileTest, ALinkToTheFileForThisKernelIsMadeAndRemoved) {
    CMN_LinuxBinaryFile(kMakeLink);
    ASSERT_TRUE(fs::is_symlink(kGenericName));
    EXPECT_EQ(fs::read_symlink(kGenericName), kFolder / (isSmp() ? "qelrk-smp" : "qelrk-up"));
    EXPECT_EQ(contentsOf(kGenericName), isSmp() ? "several processors" : "one processor");
    CMN_LinuxBinaryFile(kRemoveLink);
    EXPECT_FALSE(fs::exists(fs::symlink_status(kGenericName)));
    EXPECT_TRUE(fs::exists(kFolder / "qelrk-up"));
    EXPECT_TRUE(fs::exists(kFolder / "qelrk-smp"));
    CMN_LinuxBinaryFile(kRemoveLink); // nothing is there any more
    EXPECT_FALSE(fs::exists(fs::symlink_status(kGenericName)));
}

TEST_F(RealModuleFileTest, AKernelForSeveralProcessors) {
    pretendKernel("Linux balancer 6.1.0 #1 SMP PREEMPT x86_64 GNU/Linux\n");
    CMN_LinuxBinaryFile(kMakeLink);
    EXPECT_EQ(fs::read_symlink(kGenericName), kFolder / "qelrk-smp");
}

TEST_F(RealModuleFileTest, AKernelForOneProcessor) {
    pretendKernel("Linux balancer 6.1.0 #1 PREEMPT x86_64 GNU/Linux\n");
    CMN_LinuxBinaryFile(kMakeLink);
    EXPECT_EQ(fs::read_symlink(kGenericName), kFolder / "qelrk-up");
}

TEST_F(RealModuleFileTest, AKernelThatTellsNothing) {
    pretendKernel("");
    CMN_LinuxBinaryFile(kMakeLink);
    EXPECT_EQ(fs::read_symlink(kGenericName), kFolder / "qelrk-up");
}

TEST_F(RealModuleFileTest, AnExistingLinkIsLeftAlone) {
    writeFile(kFolder / "other", "other");
    fs::create_symlink(kFolder / "other", kGenericName);
    CMN_LinuxBinaryFile(kMakeLink);
    EXPECT_EQ(fs::read_symlink(kGenericName), kFolder / "other");
}

TEST_F(RealModuleFileTest, AFileIsLeftAlone) {
    writeFile(kGenericName, "a file");
    for (const int mode : {kMakeLink, kRemoveLink, 3}) {
        CMN_LinuxBinaryFile(mode);
        EXPECT_FALSE(fs::is_symlink(kGenericName)) << mode;
        EXPECT_EQ(contentsOf(kGenericName), "a file") << mode;
    }
}

TEST_F(RealModuleFileTest, ALinkToNothingIsRemoved) {
    fs::create_symlink(kFolder / "absent", kGenericName);
    CMN_LinuxBinaryFile(kRemoveLink);
    EXPECT_FALSE(fs::exists(fs::symlink_status(kGenericName)));
}

TEST_F(RealModuleFileTest, OtherModesDoNothing) {
    for (const int mode : {0, 3, -1})
        CMN_LinuxBinaryFile(mode);
    EXPECT_FALSE(fs::exists(fs::symlink_status(kGenericName)));
    fs::create_symlink(kFolder / "qelrk-up", kGenericName);
    for (const int mode : {0, 3, -1})
        CMN_LinuxBinaryFile(mode);
    EXPECT_TRUE(fs::is_symlink(kGenericName));
}

TEST_F(RealModuleFileTest, WithoutTheFolderNothingHappens) {
    fs::remove_all("/opt/qel");
    testing::internal::CaptureStderr();
    CMN_LinuxBinaryFile(kMakeLink);
    CMN_LinuxBinaryFile(kRemoveLink);
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(fs::is_empty("/opt"));
}

} // namespace
