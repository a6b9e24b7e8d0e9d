#include "harness/fakes/fake_peermsg.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/cfg_ptr.h"
#include "harness/fakes/fake_clock.h"
#include "platform/peermsg.h"
#include "platform/replywait.h"

struct peermsg_ctx {
    std::string request;  // the last one
    std::size_t record_before = 0;
};

using fake_peermsg::bus;

namespace {

std::string answer_to(const std::string& request) {
    if (bus.answer_all) return bus.answer_all(request);
    const rfcd::cfg_ptr tree(cfg_parse_buffer(request.c_str()));
    const char* path = cfg_get_param(tree.get(), "path");
    if (path == nullptr) return bus.answer;
    const auto found = bus.store.find(path);
    if (found == bus.store.end()) return "";
    return R"({"command":"get-response","value":)" + found->second + "}";
}

// Takes the next answer that has arrived by this time. False when there is none.
bool take_answer(std::int64_t now_ns, std::string& answer) {
    if (bus.answers.empty() || bus.answers.front().first > now_ns) return false;
    answer = bus.answers.front().second;
    bus.answers.pop_front();
    return true;
}

}  // namespace

peermsg_ctx* peermsg_init(unsigned module, peermsg_settings* settings, int mode) {
    bus.record += "init " + std::to_string(module) + " " + std::to_string(settings->code) + " " +
                  std::to_string(mode) + ", ";
    if (bus.init_fails) return nullptr;
    ++bus.contexts;
    return new peermsg_ctx;
}

void peermsg_release(peermsg_ctx* ctx) {
    bus.record += "release, ";
    --bus.contexts;
    delete ctx;
}

int peermsg_peer_start(peermsg_ctx* ctx) {
    ctx->record_before = bus.record.size();
    bus.record += "start, ";
    bus.loop = 1;
    // What arrived while no exchange was running is lost.
    for (std::string gone; take_answer(fake_clock::now_ns, gone);) {
    }
    return 0;
}

int peermsg_peer_stop(peermsg_ctx* ctx) {
    bus.record += "stop, ";
    if (ctx->request.find(R"("command":"get")") != std::string::npos && !bus.answer_all) {
        bus.record.resize(ctx->record_before);
    }
    return 0;
}

int peermsg_msg_send(peermsg_ctx* ctx, const char* text, uint8_t peer, size_t length) {
    ctx->request.assign(text, length);
    bus.record += "send " + std::to_string(peer) + " " + std::string(text, length) + ", ";
    if (bus.busy_until_ns != 0) {
        bus.busy_until_ns =
            std::max<std::int64_t>(bus.busy_until_ns, fake_clock::now_ns) + bus.answer_ns;
        bus.answers.emplace_back(bus.busy_until_ns, answer_to(ctx->request));
    }
    return 0;
}

int peermsg_get_moduleloop(const peermsg_ctx* /*ctx*/) { return bus.loop; }

void peermsg_set_moduleloop(peermsg_ctx* /*ctx*/, int value) {
    bus.loop = bus.loop_sticks ? 1 : value;
}

void* peermsg_get_msg_from_queue_no_wait(peermsg_ctx* /*ctx*/) {
    std::string text;
    if (!take_answer(fake_clock::now_ns, text)) {
        if (bus.incoming.empty()) return nullptr;
        text = std::move(bus.incoming.front());
        bus.incoming.pop_front();
    }
    char* block = static_cast<char*>(std::malloc(PEERMSG_TEXT_OFFSET + text.size() + 1));
    const auto length = static_cast<std::uint32_t>(text.size());
    std::memset(block, 0xee, PEERMSG_TEXT_OFFSET);
    std::memcpy(block + PEERMSG_LENGTH_OFFSET, &length, sizeof length);
    std::memcpy(block + PEERMSG_TEXT_OFFSET, text.c_str(), text.size() + 1);
    return block;
}

cfg_tree* replywait_wait_answer(peermsg_ctx* ctx, const char* answer_command,
                                const char* error_text, unsigned timeout_s) {
    if (bus.answer_all) {
        bus.record += std::string("wait ") + answer_command + " " + std::to_string(timeout_s) +
                      " " + error_text;
    }
    if (bus.busy_until_ns == 0) return cfg_parse_buffer(answer_to(ctx->request).c_str());

    const std::int64_t deadline = fake_clock::now_ns + timeout_s * fake_clock::second_ns;
    const std::int64_t due = bus.answers.empty() ? deadline : bus.answers.front().first;
    fake_clock::now_ns = std::clamp<std::int64_t>(due, fake_clock::now_ns, deadline);
    std::string answer;
    return take_answer(fake_clock::now_ns, answer) ? cfg_parse_buffer(answer.c_str()) : nullptr;
}
