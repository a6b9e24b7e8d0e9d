#include "support/fake_peermsg.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/peermsg.h"
#include "platform/replywait.h"
#include "workers/cfg_ptr.h"

struct peermsg_ctx {
    std::string request;  // the last one
    std::size_t record_before = 0;
};

using fake_peermsg::bus;

peermsg_ctx* peermsg_init(unsigned module, const peermsg_settings* settings, int mode) {
    bus.record +=
        "init " + std::to_string(module) + " " + std::to_string(settings->code) + " " + std::to_string(mode) + ", ";
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
    return 0;
}

int peermsg_get_moduleloop(const peermsg_ctx* /*ctx*/) { return bus.loop; }

void peermsg_set_moduleloop(peermsg_ctx* /*ctx*/, int value) { bus.loop = bus.loop_sticks ? 1 : value; }

void* peermsg_get_msg_from_queue_no_wait(peermsg_ctx* /*ctx*/) {
    if (bus.incoming.empty()) return nullptr;
    const std::string text = std::move(bus.incoming.front());
    bus.incoming.pop_front();
    char* block = static_cast<char*>(std::malloc(PEERMSG_TEXT_OFFSET + text.size() + 1));
    const auto length = static_cast<std::uint32_t>(text.size());
    std::memset(block, 0xee, PEERMSG_TEXT_OFFSET);
    std::memcpy(block + PEERMSG_LENGTH_OFFSET, &length, sizeof length);
    std::memcpy(block + PEERMSG_TEXT_OFFSET, text.c_str(), text.size() + 1);
    return block;
}

namespace {

std::string answer_to(const std::string& request) {
    if (bus.answer_all) return bus.answer_all(request);
    const rfcd::cfg_ptr tree(cfg_parse_buffer(request.c_str()));
    const char* path = cfg_get_param(tree.get(), "path");
    if (path == nullptr) return bus.answer;
    const auto found = bus.store.find(path);
    return found == bus.store.end() ? "" : "{\"value\":" + found->second + "}";
}

}  // namespace

cfg_tree* replywait_wait_answer(peermsg_ctx* ctx, const char* answer_command, const char* error_text,
                                unsigned timeout_s) {
    if (bus.answer_all) {
        bus.record += std::string("wait ") + answer_command + " " + std::to_string(timeout_s) + " " + error_text;
    }
    return cfg_parse_buffer(answer_to(ctx->request).c_str());
}
