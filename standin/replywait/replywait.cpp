// The reply-wait library, based on the stand-in of the messaging library. It reports a wait without
// an answer to the system log, unless a signal ended the wait.
//
// A signal that arrives before the wait begins cannot end it: its handler has already run, and this
// library does not know. The caller checks its own flag shortly before; the gap is microseconds.
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
