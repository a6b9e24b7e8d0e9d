// Both ends of the local bus. An input that begins with "l" is what a broker sends to the library;
// if "s" follows, the broker answers the library's start first. Any other input is a script for the
// broker. A line begins with the number of a client, 0 to 3, and goes on with
//   c            the client disconnects; its next line connects it again
//   KSDL,TEXT    a frame of kind K from module S to module D (letters, 'A' is 1); the length in its
//                head is that of TEXT plus L
//   .BYTES       raw bytes
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <thread>
#include <utility>

#include "fuzz/fuzz.h"
#include "harness/child_process.h"
#include "peermsg/broker.h"
#include "platform/replywait.h"

namespace {

using standin::frame_kind;
using standin::frame_reader;

// Makes the broker's socket in the sandbox, a new one for each input, so that no connection of an
// earlier input is left over.
int open_bus() {
    mkdir(standin::bus_directory, 0700);
    unlink(standin::bus_socket);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string_view(standin::bus_socket).copy(address.sun_path, sizeof address.sun_path - 1);
    fuzz::require(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                      listen(descriptor, 8) == 0,
                  "the bus opens");
    return descriptor;
}

int connect_to_bus() {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string_view(standin::bus_socket).copy(address.sun_path, sizeof address.sun_path - 1);
    fuzz::require(connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
                  "the broker takes connections");
    return descriptor;
}

std::string frame(frame_kind kind, std::uint8_t source, std::uint8_t destination,
                  std::string_view text, std::uint32_t lie = 0) {
    const auto length = static_cast<std::uint32_t>(text.size()) + lie;
    const auto head = standin::encode_head({length, kind, source, destination});
    return std::string(head.begin(), head.end()) + std::string(text);
}

void write_all(int descriptor, std::string_view bytes) {
    send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

// A broker on the calling thread. Its stop descriptor is our own module's end of a connection, so
// it serves until our module has received its own text. A monitor of ours watches, and
// asks each time who is registered.
class broker_session {
  public:
    broker_session() {
        const int listener = open_bus();
        ours_ = connect_to_bus();
        bus_ = std::make_unique<standin::broker>(listener, dup(ours_));
        write_all(ours_, frame(frame_kind::hello, our_module, 0, "") +
                             frame(frame_kind::start, our_module, 0, ""));
        bus_->run();
        expect(frame_kind::started);

        watcher_ = connect_to_bus();
        write_all(watcher_,
                  frame(frame_kind::hello, 0, 0, "") + frame(frame_kind::monitor, 0, 0, ""));
        while (!watches_) {
            echo_once();
            read_watcher();
        }
    }
    broker_session(const broker_session&) = delete;
    broker_session& operator=(const broker_session&) = delete;
    ~broker_session() {
        bus_.reset();
        for (const int descriptor : clients_) {
            if (descriptor != -1) close(descriptor);
        }
        close(ours_);
        close(watcher_);
    }

    void play(std::string_view line) {
        int& client =
            clients_[static_cast<unsigned char>(fuzz::cut_character(line)) % clients_.size()];
        const char kind = fuzz::cut_character(line);
        if (kind == 'c') {
            if (client != -1) close(client);
            client = -1;
        } else {
            if (client == -1) client = connect_to_bus();
            write_all(client, kind == '.' ? std::string(line) : frame_of(kind, line));
        }
        serve();
        for (const int descriptor : clients_) drop_received(descriptor);
    }

  private:
    static constexpr std::uint8_t our_module = 200;
    static constexpr std::string_view echo = "echo";

    static std::string frame_of(char kind, std::string_view rest) {
        const auto letter = [&] {
            return static_cast<std::uint8_t>(fuzz::cut_character(rest) - 'A' + 1);
        };
        const auto source = letter();
        const auto destination = letter();
        const auto lie = fuzz::cut_number<std::uint32_t>(rest);
        fuzz::cut(rest, ',');
        return frame(static_cast<frame_kind>(kind - 'A' + 1), source, destination, rest, lie);
    }

    void serve() {
        write_all(watcher_, frame(frame_kind::list, 0, 0, ""));
        echo_once();
        read_watcher();
        fuzz::require(std::exchange(saw_echo_, false), "a monitor sees every text");
        fuzz::require(std::exchange(saw_us_, false), "the list names who is registered");
    }
    void echo_once() {
        write_all(ours_, frame(frame_kind::text, our_module, our_module, echo));
        bus_->run();
        expect(frame_kind::text);
    }
    void read_watcher() {
        static const std::string us =
            std::to_string(our_module) + ' ' + std::to_string(getpid()) + '\n';
        standin::frame_block block;
        auto state = frame_reader::state::frame;
        while ((state = watcher_reader_.next(watcher_, block)) == frame_reader::state::frame) {
            const auto head = head_of(block);
            switch (head.kind) {
                case frame_kind::started: watches_ = true; break;
                case frame_kind::passed:
                    saw_echo_ |= head.source == our_module && text_of(block) == echo;
                    break;
                case frame_kind::listed:
                    saw_us_ |= text_of(block).find(us) != std::string_view::npos;
                    break;
                case frame_kind::lost: break;
                default: fuzz::require(false, "a monitor gets copies and answers alone");
            }
        }
        fuzz::require(state == frame_reader::state::nothing, "a monitor is kept");
    }
    // Reads up to a frame of this kind for us. Texts from other modules may come before it.
    void expect(frame_kind kind) {
        for (int turn = 0; turn < 1000; ++turn) {
            standin::frame_block block;
            const auto state = reader_.next(ours_, block);
            fuzz::require(state != frame_reader::state::closed,
                          "a module that does nothing wrong is kept");
            if (state == frame_reader::state::nothing) {
                bus_->run();
                continue;
            }
            const auto head = head_of(block);
            const bool from_us = head.source == our_module || kind == frame_kind::started;
            if (head.kind == kind && from_us) return;
            fuzz::require(head.kind == frame_kind::text && head.source != our_module,
                          "others send texts alone, and ours are taken");
        }
        fuzz::require(false, "the broker comes around");
    }
    static void drop_received(int descriptor) {
        std::array<char, 4096> bytes;
        while (descriptor != -1 && recv(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
        }
    }

    std::unique_ptr<standin::broker> bus_;
    frame_reader reader_;
    int ours_ = -1;
    frame_reader watcher_reader_;
    int watcher_ = -1;
    bool watches_ = false;
    bool saw_echo_ = false;  // since the last look
    bool saw_us_ = false;
    std::array<int, 4> clients_{-1, -1, -1, -1};
};

// A broker that sends the same bytes on every connection. The library tries two connections.
class lying_broker {
  public:
    explicit lying_broker(std::string bytes)
        : thread_([this, said = std::move(bytes)] { serve(said); }) {}
    lying_broker(const lying_broker&) = delete;
    lying_broker& operator=(const lying_broker&) = delete;
    ~lying_broker() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }

  private:
    void serve(const std::string& bytes) const {
        while (true) {
            const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (descriptor == -1) return;
            write_all(descriptor, bytes);
            shutdown(descriptor, SHUT_WR);
            std::array<char, 256> heard;
            while (recv(descriptor, heard.data(), heard.size(), 0) > 0) {
            }
            close(descriptor);
        }
    }

    const int listener_ = open_bus();
    std::thread thread_;
};

void play_library(std::string_view bytes) {
    const bool starts = fuzz::cut_character(bytes) == 's';
    const lying_broker broker((starts ? frame(frame_kind::started, 0, 0, "") : "") +
                              std::string(bytes));
    peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};
    const std::unique_ptr<peermsg_ctx, decltype(&peermsg_release)> ctx(
        peermsg_init(28, &settings, PEERMSG_MODE_PEER), &peermsg_release);
    const bool started = peermsg_peer_start(ctx.get()) == 0;
    fuzz::require(started == (peermsg_get_moduleloop(ctx.get()) != 0),
                  "the loop value follows the start");
    if (!started) return;
    peermsg_msg_send(ctx.get(), "{}", 6, 2);
    cfg_release(replywait_wait_answer(ctx.get(), "get-response", "no answer", 1));
    while (void* block = peermsg_get_msg_from_queue_no_wait(ctx.get())) {
        std::uint32_t length = 0;
        std::copy_n(static_cast<char*>(block) + PEERMSG_LENGTH_OFFSET, sizeof length,
                    reinterpret_cast<char*>(&length));
        fuzz::require(static_cast<char*>(block)[PEERMSG_TEXT_OFFSET + length] == '\0',
                      "a zero byte ends a text");
        std::free(block);
    }
    peermsg_peer_stop(ctx.get());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool alone = (lab::require_sandbox(), true);
    auto text = fuzz::text_of(data, size);
    if (text.starts_with('l')) {
        play_library(text.substr(1));
        return 0;
    }
    broker_session session;
    fuzz::play_lines(text, [&](std::string_view line) {
        session.play(line);
        return true;
    });
    return 0;
}
