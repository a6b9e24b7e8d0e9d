// The messaging library: a context is a connection to the broker.
#include "platform/peermsg.h"

#include <new>
#include <utility>

#include "peermsg/context.h"

using standin::frame_block;
using standin::frame_kind;

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::seconds start_limit{1};

// The next text that has already arrived, or null. Handles the broker's notices before it.
frame_block next_text(peermsg_ctx& ctx) {
    while (auto frame = ctx.connection.receive()) {
        const auto head = head_of(frame);
        if (head.kind == frame_kind::text) return frame;
        if (head.kind == frame_kind::untaken && head.destination == ctx.last_addressee) {
            ctx.untaken = true;
        }
    }
    if (!ctx.connection.is_open()) ctx.loop = 0;
    return {};
}

// Discards texts that were sent before the start: everything up to the broker's answer to it.
bool wait_started(peermsg_ctx& ctx, clock_type::time_point deadline) {
    while (ctx.connection.is_open() && clock_type::now() < deadline) {
        while (auto frame = ctx.connection.receive()) {
            if (head_of(frame).kind == frame_kind::started) return true;
        }
        ctx.connection.wait_readable(std::chrono::milliseconds(100));
    }
    ctx.connection.close();
    return false;
}

void forget_aside(peermsg_ctx& ctx) {
    ctx.aside.clear();
    ctx.aside_bytes = 0;
}

bool send_control(peermsg_ctx& ctx, frame_kind kind) {
    return ctx.connection.send({0, kind, ctx.module, 0}, {});
}

}  // namespace

namespace standin {

frame_block wait_new_text(peermsg_ctx& ctx, clock_type::time_point deadline) {
    ctx.interrupted = false;
    while (true) {
        if (clock_type::now() >= deadline) return {};
        if (auto frame = next_text(ctx)) return frame;
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - clock_type::now());
        if (std::exchange(ctx.untaken, false)) return {};
        if (ctx.loop == 0 || left.count() <= 0) return {};
        ctx.interrupted = ctx.connection.wait_readable(left) == readiness::interrupted;
        if (ctx.interrupted) return {};
    }
}

void put_aside(peermsg_ctx& ctx, frame_block block) {
    constexpr std::size_t most = std::size_t{1} << 20;
    if (ctx.aside_bytes > most) return;
    ctx.aside_bytes += frame_head_size + text_of(block).size();
    ctx.aside.push_back(std::move(block));
}

}  // namespace standin

peermsg_ctx* peermsg_init(unsigned module, peermsg_settings* settings, int mode) {
    if (module > standin::max_module || settings == nullptr ||
        settings->code != PEERMSG_SETTINGS_CODE || mode != PEERMSG_MODE_PEER) {
        return nullptr;
    }
    auto* ctx = new (std::nothrow) peermsg_ctx;
    if (ctx != nullptr) ctx->module = static_cast<std::uint8_t>(module);
    return ctx;
}

void peermsg_release(peermsg_ctx* ctx) { delete ctx; }

int peermsg_peer_start(peermsg_ctx* ctx) {
    forget_aside(*ctx);
    const auto deadline = clock_type::now() + start_limit;
    // The second attempt finds a broker that was restarted.
    for (int attempt = 0; attempt < 2 && clock_type::now() < deadline; ++attempt) {
        if (!ctx->connection.open(ctx->module)) break;
        if (send_control(*ctx, frame_kind::start) && wait_started(*ctx, deadline)) {
            ctx->loop = 1;
            return 0;
        }
    }
    ctx->loop = 0;
    return -1;
}

int peermsg_peer_stop(peermsg_ctx* ctx) {
    forget_aside(*ctx);
    ctx->loop = 0;
    return ctx->connection.is_open() && send_control(*ctx, frame_kind::stop) ? 0 : -1;
}

int peermsg_msg_send(peermsg_ctx* ctx, const char* text, uint8_t peer, size_t length) {
    if (text == nullptr || length > standin::max_text_size) return -1;
    ctx->last_addressee = peer;
    ctx->untaken = false;
    const standin::frame_head head{static_cast<std::uint32_t>(length), frame_kind::text,
                                   ctx->module, peer};

    // A dead connection is noticed here; the second attempt may find a new broker. The exchange
    // ends with its connection.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!ctx->connection.is_open()) ctx->loop = 0;
        if (!ctx->connection.open(ctx->module)) return -1;
        if (ctx->connection.send(head, {text, length})) return 0;
    }
    ctx->loop = 0;
    return -1;
}

int peermsg_get_moduleloop(const peermsg_ctx* ctx) { return ctx->loop; }

void peermsg_set_moduleloop(peermsg_ctx* ctx, int value) { ctx->loop = value; }

void* peermsg_get_msg_from_queue_no_wait(peermsg_ctx* ctx) {
    if (ctx->aside.empty()) {
        return ctx->connection.is_worth_a_look() ? next_text(*ctx).release() : nullptr;
    }
    auto block = std::move(ctx->aside.front());
    ctx->aside.pop_front();
    ctx->aside_bytes -= standin::frame_head_size + text_of(block).size();
    return block.release();
}
