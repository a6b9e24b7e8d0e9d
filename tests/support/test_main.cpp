// The tests write to paths that the machine itself uses, so they run in the sandbox only.
#include <gtest/gtest.h>

#include "harness/child_process.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    lab::require_sandbox();
    return RUN_ALL_TESTS();
}
