#include "main/logging.h"

#include <gtest/gtest.h>

#include "support/fake_log.h"

namespace rfcd {
namespace {

TEST(Logging, MaskChoosesTheLevels) {
    const struct {
        unsigned mask;
        const char* written;
    } rows[] = {
        {0, ""},
        {9, "error e1\ndebug d4\n"},
        {6, "warning w2\ninfo i3\n"},
        {15, "error e1\nwarning w2\ninfo i3\ndebug d4\n"},
        {16, ""},
        {65535, "error e1\nwarning w2\ninfo i3\ndebug d4\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mask);
        fake_log::reset(row.mask);
        log_error(daemon_logger, "e%d\n", 1);
        log_warning(daemon_logger, "w%d\n", 2);
        log_info(daemon_logger, "i%d\n", 3);
        log_debug(daemon_logger, "d%d\n", 4);
        EXPECT_EQ(fake_log::take(), row.written);
    }
}

}  // namespace
}  // namespace rfcd
