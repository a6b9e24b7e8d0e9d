// Runs the scenarios that people can watch as tests: each scenario checks itself at every step.
#include <gtest/gtest.h>

#include "lab/scenarios.h"

namespace lab {
namespace {

void expect_kept(int (*play)(transcript&)) {
    transcript story(nullptr);
    EXPECT_EQ(play(story), 0);
    if (!testing::Test::HasFailure()) return;
    for (const auto& line : story.lines()) std::printf("%s\n", line.c_str());
}

TEST(Scenario, Roaming) { expect_kept(play_roaming); }
TEST(Scenario, Rrm) { expect_kept(play_rrm); }
TEST(Scenario, Wids) { expect_kept(play_wids); }
TEST(Scenario, Driver) { expect_kept(play_driver); }

}  // namespace
}  // namespace lab
