// The reply-wait library, based on the messaging library of this folder. A wait without an answer
// is reported to the system log, except when a signal ended it.
//
// A signal that arrives before the wait begins cannot end it: its handler has run, and nothing
// tells this library. The caller checks its own flag before, and the time between is microseconds.
#include "platform/replywait.h"

#include <syslog.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "peermsg/context.h"

namespace {

using tree = std::unique_ptr<cfg_tree, decltype(&cfg_release)>;

// The tree in the text if it is the expected answer; otherwise null.
tree answer_in(const peermsg_ctx& ctx, const standin::frame_block& block, const char* command) {
    tree parsed(nullptr, &cfg_release);
    if (head_of(block).source != ctx.last_addressee) return parsed;
    parsed.reset(cfg_parse_buffer(text_of(block).data()));
    const char* found = cfg_get_param(parsed.get(), "command");
    if (found == nullptr || std::strcmp(found, command) != 0) parsed.reset();
    return parsed;
}

}  // namespace

cfg_tree* replywait_wait_answer(peermsg_ctx* ctx, const char* answer_command,
                                const char* error_text, unsigned timeout_s) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_s);
    while (auto block = standin::wait_new_text(*ctx, deadline)) {
        if (auto answer = answer_in(*ctx, block, answer_command)) return answer.release();
        standin::put_aside(*ctx, std::move(block));
    }
    if (!ctx->interrupted) syslog(LOG_ERR, "%s", error_text);
    return nullptr;
}
