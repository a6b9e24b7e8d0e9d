#include "bench/ready_service.h"

#include <arpa/inet.h>
#include <libwebsockets.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>
#include <vector>

namespace bench {

namespace {

// RFC 6455, 5.2: the first two bytes of a frame.
constexpr unsigned char final_fragment = 0x80;
constexpr unsigned char control_frame = 0x08;
constexpr unsigned char text_frame = 0x01;
constexpr unsigned char masked = 0x80;
constexpr unsigned char two_bytes_of_length = 126;
constexpr unsigned char eight_bytes_of_length = 127;
constexpr std::size_t mask_size = 4;

constexpr std::size_t read_size = 256 << 10;

unsigned char byte_of(const std::string& text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// Appends `count` bytes of a number, the highest first.
void append_number(std::string& text, std::uint64_t number, unsigned count) {
    for (unsigned i = count; i > 0; --i) {
        text += static_cast<char>(number >> (8 * (i - 1)) & 0xff);
    }
}

// The value of a header in a request; empty without it.
std::string header_of(const std::string& request, const std::string& name) {
    const auto begin = request.find("\r\n" + name + ": ");
    if (begin == std::string::npos) return "";
    const auto value = begin + name.size() + 4;
    return request.substr(value, request.find("\r\n", value) - value);
}

// RFC 6455, 4.2.2.
std::string accept_key(const std::string& key) {
    std::string text = key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    std::array<unsigned char, 20> hash{};
    lws_SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), hash.data());
    std::array<char, 64> encoded{};
    lws_b64_encode_string(reinterpret_cast<const char*>(hash.data()), hash.size(), encoded.data(),
                          encoded.size());
    return encoded.data();
}

// False when the connection ends before the request is whole.
bool shake_hands(int descriptor) {
    std::string request;
    while (request.find("\r\n\r\n") == std::string::npos) {
        char piece[4096];
        const auto size = recv(descriptor, piece, sizeof piece, 0);
        if (size <= 0) return false;
        request.append(piece, static_cast<std::size_t>(size));
    }

    const std::string answer =
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: " +
        accept_key(header_of(request, "Sec-WebSocket-Key")) +
        "\r\nSec-WebSocket-Protocol: " + header_of(request, "Sec-WebSocket-Protocol") + "\r\n\r\n";
    return ::send(descriptor, answer.data(), answer.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(answer.size());
}

}  // namespace

std::string ready_frame(std::string_view text) {
    std::string frame{static_cast<char>(final_fragment | text_frame)};
    if (text.size() < two_bytes_of_length) {
        append_number(frame, text.size(), 1);
    } else if (text.size() <= 0xffff) {
        append_number(frame, two_bytes_of_length, 1);
        append_number(frame, text.size(), 2);
    } else {
        append_number(frame, eight_bytes_of_length, 1);
        append_number(frame, text.size(), 8);
    }
    return frame.append(text);
}

std::size_t frame_counter::head_size() const {
    if (head_.size() < 2) return 2;
    const auto length = byte_of(head_, 1) & ~masked;
    const std::size_t more = length == two_bytes_of_length     ? 2
                             : length == eight_bytes_of_length ? 8
                                                               : 0;
    return 2 + more + ((byte_of(head_, 1) & masked) != 0 ? mask_size : 0);
}

std::uint64_t frame_counter::payload_size() const {
    const auto length = byte_of(head_, 1) & ~masked;
    if (length < two_bytes_of_length) return static_cast<std::uint64_t>(length);
    std::uint64_t size = 0;
    for (std::size_t i = 2; i < (length == two_bytes_of_length ? 4 : 10); ++i) {
        size = size << 8 | byte_of(head_, i);
    }
    return size;
}

long frame_counter::count(std::string_view bytes) {
    long ended = 0;
    while (true) {
        if (head_.size() == head_size() && skip_ == 0) {
            const auto first = byte_of(head_, 0);
            if ((first & final_fragment) != 0 && (first & control_frame) == 0) ++ended;
            head_.clear();
        }
        if (bytes.empty()) return ended;

        if (head_.size() < head_size()) {
            head_ += bytes.front();
            bytes.remove_prefix(1);
            if (head_.size() == head_size()) skip_ = payload_size();
        } else {
            const auto skipped = std::min<std::uint64_t>(skip_, bytes.size());
            bytes.remove_prefix(skipped);
            skip_ -= skipped;
        }
    }
}

ready_service::ready_service() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, generic, size) != 0 || listen(listener_, 8) != 0 ||
        getsockname(listener_, generic, &size) != 0) {
        close(listener_);
        throw std::runtime_error("the service of the benchmark cannot listen");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

ready_service::~ready_service() {
    stopping_ = true;
    shutdown(listener_, SHUT_RDWR);
    if (const int descriptor = connection_; descriptor >= 0) shutdown(descriptor, SHUT_RDWR);
    thread_.join();
    close(listener_);
}

bool ready_service::wait_connections(unsigned so_far) const {
    return lab::wait_until([&] { return connections_ >= so_far; });
}

void ready_service::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent = ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) throw std::runtime_error("the client has gone");
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

long ready_service::messages() const {
    const std::lock_guard guard(lock_);
    return messages_;
}

bool ready_service::wait_messages(long so_far, lab::milliseconds timeout) {
    std::unique_lock guard(lock_);
    return arrived_.wait_for(guard, timeout, [&] { return messages_ >= so_far; });
}

void ready_service::serve() {
    while (!stopping_) {
        const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0) continue;
        const int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (shake_hands(descriptor)) {
            connection_ = descriptor;
            ++connections_;
            read_until_end(descriptor);
            connection_ = -1;
        }
        close(descriptor);
    }
}

void ready_service::read_until_end(int descriptor) {
    frame_counter frames;
    std::vector<char> room(read_size);
    ssize_t size = 0;
    while (!stopping_ && (size = recv(descriptor, room.data(), room.size(), 0)) > 0) {
        const long ended = frames.count({room.data(), static_cast<std::size_t>(size)});
        if (ended == 0) continue;

        {
            const std::lock_guard guard(lock_);
            messages_ += ended;
        }
        arrived_.notify_all();
    }
}

}  // namespace bench
