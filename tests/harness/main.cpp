// Runs the tests of a program with every native call watched for what it keeps, then looks at what the Java VM had to
// say about the library's JNI calls.
#include "harness/balance.h"
#include "harness/jvm.h"

#include <cstdio>
#include <gtest/gtest.h>

namespace {

struct VmComplaints : testing::Environment {
    void SetUp() override {
        printf("Java VM %s\n", java::vmVersion().c_str());
        java::watchBalance();
    }

    void TearDown() override {
        EXPECT_EQ(java::vmOutput().substr(0, 2000), "") << "the Java VM complains";
    }
};

} // namespace

int main(int argumentCount, char **arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    testing::AddGlobalTestEnvironment(new VmComplaints);
    return RUN_ALL_TESTS();
}
