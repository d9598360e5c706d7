// What every test of the library begins with: a clean executor, a clean system, and room for local references.
#pragma once

#include "harness/balance.h"
#include "harness/jvm.h"
#include "harness/scripted_executor.h"
#include "harness/system_calls.h"

#include <gtest/gtest.h>

struct LibraryTest : testing::Test {
    void SetUp() override {
        calls::reset();
        executor::reset();
        java::env()->PushLocalFrame(256);
    }

    void TearDown() override {
        calls::reset();
        EXPECT_EQ(java::takeException(), "") << "an exception that no test took";
        java::env()->PopLocalFrame(nullptr);
    }
};

// The block that was sent last is exactly this image.
#define EXPECT_SENT(image) EXPECT_EQ(executor::dump(executor::lastSent()), executor::dump((image).bytes))
