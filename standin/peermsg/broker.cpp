#include "peermsg/broker.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace standin {

namespace {

// How much the broker reads from one module before it sends the frames and serves the others.
constexpr int frames_per_turn = 256;
constexpr std::size_t bytes_per_turn = std::size_t{256} << 10;
constexpr std::size_t max_parts = 64;

int open_spare() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }

// The process at the other end; nothing when it belongs to another user.
std::optional<pid_t> trusted_process(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
    if (peer.uid != geteuid() && peer.uid != 0) return std::nullopt;
    return peer.pid;
}

void add_to(int epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    if (epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) != 0) {
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
}

// Null when out of memory.
frame_block make_frame(frame_head head, std::string_view text) {
    head.length = static_cast<std::uint32_t>(text.size());
    const auto bytes = encode_head(head);
    frame_block frame(static_cast<char*>(std::malloc(bytes.size() + text.size())));
    if (frame)
        std::copy(text.begin(), text.end(), std::copy_n(bytes.begin(), bytes.size(), frame.get()));
    return frame;
}

frame_block control_frame(frame_kind kind, std::uint8_t destination = 0) {
    return make_frame({.length = 0, .kind = kind, .source = 0, .destination = destination}, {});
}

// A frame whose text the broker writes itself.
frame_block report_frame(frame_kind kind, std::string_view text) {
    return make_frame({.length = 0, .kind = kind, .source = 0, .destination = 0}, text);
}

std::size_t size_of(const frame_block& frame) { return frame_head_size + head_of(frame).length; }

std::size_t weight_of(const frame_block& frame) { return size_of(frame) + broker::frame_overhead; }

}  // namespace

broker::broker(int listener, int stop)
    : listener_(listener),
      stop_(stop),
      epoll_(epoll_create1(EPOLL_CLOEXEC)),
      spare_descriptor_(open_spare()) {
    if (epoll_ == -1) throw std::system_error(errno, std::generic_category(), "epoll_create1");
    add_to(epoll_, listener_);
    add_to(epoll_, stop_);
}

broker::~broker() {
    while (!clients_.empty()) close_client(clients_.begin()->first);
    for (const int descriptor : {listener_, stop_, epoll_, spare_descriptor_}) close(descriptor);
}

void broker::run() {
    while (true) {
        std::array<epoll_event, 64> events{};
        const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()),
                                     unfinished_ > 0 ? 0 : -1);

        for (int i = 0; i < count; ++i) {
            const auto& event = events[static_cast<std::size_t>(i)];
            if (event.data.fd == stop_) return;
            if (event.data.fd == listener_) {
                accept_client();
            } else if (const auto found = clients_.find(event.data.fd); found != clients_.end()) {
                serve(*found->second, event.events);
            }
        }

        serve_unfinished();
        flush_unsent();
    }
}

// Serves clients whose frames have been read but not handled: their sockets may never become
// readable again.
void broker::serve_unfinished() {
    for (auto next = clients_.begin(); unfinished_ > 0 && next != clients_.end();) {
        client& c = *(next++)->second;
        if (c.unfinished) serve(c, EPOLLIN);
    }
}

void broker::accept_client() {
    const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor == -1) {
        // Accept and close the connection; otherwise the listener stays readable and the loop
        // spins.
        if (errno == EMFILE || errno == ENFILE) {
            close(spare_descriptor_);
            close(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
            spare_descriptor_ = open_spare();
        }
        return;
    }

    const auto process = trusted_process(descriptor);
    if (!process) {
        close(descriptor);
        return;
    }

    add_to(epoll_, descriptor);
    auto c = std::make_unique<client>();
    c->descriptor = descriptor;
    c->process = *process;
    clients_.emplace(descriptor, std::move(c));
}

void broker::close_client(int descriptor) {
    client& c = *clients_.at(descriptor);
    stop_exchange(c);
    mark_unfinished(c, false);
    std::erase(unsent_, &c);
    std::erase(monitors_, &c);
    clients_.erase(descriptor);
    close(descriptor);
}

void broker::serve(client& c, std::uint32_t events) {
    bool alive = true;
    if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) alive = read_frames(c);
    if (alive && (events & EPOLLOUT) != 0) alive = flush(c);
    if (alive) {
        watch(c);
    } else {
        close_client(c.descriptor);
    }
}

void broker::mark_unfinished(client& c, bool unfinished) {
    if (c.unfinished == unfinished) return;
    c.unfinished = unfinished;
    unfinished ? ++unfinished_ : --unfinished_;
}

bool broker::read_frames(client& c) {
    std::size_t bytes = 0;
    for (int i = 0; i < frames_per_turn && bytes < bytes_per_turn; ++i) {
        frame_block frame;
        switch (c.reader.next(c.descriptor, frame)) {
            case frame_reader::state::nothing: mark_unfinished(c, false); return true;
            case frame_reader::state::closed: return false;
            case frame_reader::state::frame:
                bytes += size_of(frame);
                if (!handle(c, std::move(frame))) return false;
        }
    }

    mark_unfinished(c, true);
    return true;
}

// False when the frame is not allowed at this point of the conversation.
bool broker::handle(client& c, frame_block frame) {
    const auto head = head_of(frame);
    if (head.kind == frame_kind::hello && !c.greeted) {
        c.greeted = true;
        c.module = head.source;
        return true;
    }
    if (!c.greeted || head.source != c.module) return false;

    switch (head.kind) {
        case frame_kind::start: return start_exchange(c);
        case frame_kind::stop: stop_exchange(c); return true;
        case frame_kind::text: deliver(c, std::move(frame)); return true;
        case frame_kind::list: tell_registered(c); return true;
        case frame_kind::monitor: return start_monitor(c);
        default: return false;
    }
}

// A module number belongs to the connection that started first; others are refused.
bool broker::start_exchange(client& c) {
    auto*& receiver = receivers_[c.module];
    if (c.module == 0 || (receiver != nullptr && receiver != &c)) return false;
    receiver = &c;
    c.started = true;
    auto answer = control_frame(frame_kind::started);
    if (!answer) return false;
    enqueue(c, std::move(answer));
    return true;
}

// Drops the waiting frames, except one that was sent in part.
void broker::stop_exchange(client& c) {
    if (c.started) receivers_[c.module] = nullptr;
    c.started = false;
    while (c.backlog.size() > (c.sent_of_first > 0 ? 1U : 0U)) {
        c.backlog_bytes -= weight_of(c.backlog.back());
        c.backlog.pop_back();
    }
}

void broker::deliver(client& sender, frame_block frame) {
    const auto destination = head_of(frame).destination;
    client* const receiver = receivers_[destination];
    const bool taken = receiver != nullptr && receiver->backlog_bytes < max_backlog;

    for (client* const monitor : monitors_) {
        show(*monitor, frame, taken ? frame_kind::passed : frame_kind::lost);
    }

    if (taken) {
        enqueue(*receiver, std::move(frame));
    } else {
        tell_untaken(sender, destination);
    }
}

void broker::tell_untaken(client& sender, std::uint8_t destination) {
    if (!sender.started || sender.backlog_bytes >= max_notice_backlog) return;
    if (auto notice = control_frame(frame_kind::untaken, destination)) {
        enqueue(sender, std::move(notice));
    }
}

// A client that asks and does not read gets no more answers.
void broker::tell_registered(client& c) {
    if (c.backlog_bytes >= max_notice_backlog) return;

    std::string lines;
    for (const client* const receiver : receivers_) {
        if (receiver == nullptr) continue;
        lines += std::to_string(receiver->module) + ' ' + std::to_string(receiver->process) + '\n';
    }
    if (auto answer = report_frame(frame_kind::listed, lines)) enqueue(c, std::move(answer));
}

// A module cannot monitor as well: copies would crowd out its own texts.
bool broker::start_monitor(client& c) {
    if (c.module != 0 || std::find(monitors_.begin(), monitors_.end(), &c) != monitors_.end()) {
        return false;
    }
    auto answer = control_frame(frame_kind::started);
    if (!answer) return false;
    monitors_.push_back(&c);
    enqueue(c, std::move(answer));
    return true;
}

// Once a copy is left out, the next ones are too until flush() has told of them. So the number
// stands where the texts are missing.
void broker::show(client& monitor, const frame_block& text, frame_kind how) {
    if (monitor.missed == 0 && monitor.backlog_bytes + weight_of(text) <= max_monitor_backlog) {
        auto head = head_of(text);
        head.kind = how;
        if (auto copy = make_frame(head, text_of(text))) {
            enqueue(monitor, std::move(copy));
            return;
        }
    }
    ++monitor.missed;
    mark_unsent(monitor);
}

// False when there is nothing to tell, or no memory to tell it.
bool broker::tell_missed(client& monitor) {
    if (monitor.missed == 0) return false;
    auto notice = report_frame(frame_kind::missed, std::to_string(monitor.missed));
    if (!notice) return false;
    monitor.missed = 0;
    append(monitor, std::move(notice));
    return true;
}

void broker::append(client& c, frame_block frame) {
    c.backlog_bytes += weight_of(frame);
    c.backlog.push_back(std::move(frame));
}

void broker::enqueue(client& c, frame_block frame) {
    append(c, std::move(frame));
    mark_unsent(c);
}

void broker::mark_unsent(client& c) {
    if (c.unsent || c.wants_write) return;
    c.unsent = true;
    unsent_.push_back(&c);
}

// Sends the frames of one turn together. A dead connection is noticed when it is read.
void broker::flush_unsent() {
    for (client* c : unsent_) {
        c->unsent = false;
        flush(*c);
        watch(*c);
    }
    unsent_.clear();
}

// Sends as much as the module's socket accepts now. False when the connection is dead.
bool broker::flush(client& c) {
    while (!c.backlog.empty() || tell_missed(c)) {
        std::array<iovec, max_parts> parts{};
        std::size_t count = 0;
        for (; count < std::min(max_parts, c.backlog.size()); ++count) {
            const auto& frame = c.backlog[count];
            const auto skip = count == 0 ? c.sent_of_first : 0;
            parts[count] = {frame.get() + skip, size_of(frame) - skip};
        }

        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);  // an int in musl
        const ssize_t sent = sendmsg(c.descriptor, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;

        c.sent_of_first += static_cast<std::size_t>(sent);
        while (!c.backlog.empty() && c.sent_of_first >= size_of(c.backlog.front())) {
            c.sent_of_first -= size_of(c.backlog.front());
            c.backlog_bytes -= weight_of(c.backlog.front());
            c.backlog.pop_front();
        }
    }
    return true;
}

void broker::watch(client& c) {
    const bool wants_write = !c.backlog.empty();
    if (wants_write == c.wants_write) return;
    c.wants_write = wants_write;
    epoll_event event{};
    event.events = EPOLLIN | (wants_write ? std::uint32_t{EPOLLOUT} : 0U);
    event.data.fd = c.descriptor;
    epoll_ctl(epoll_, EPOLL_CTL_MOD, c.descriptor, &event);
}

}  // namespace standin
