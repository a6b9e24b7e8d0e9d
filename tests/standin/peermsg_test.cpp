// What the daemon expects of the bus. Except in the last group, the tests use the public header
// only, so that the same suite can test the maker's library.
#include "platform/peermsg.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "lab/daemon.h"
#include "peermsg/frame.h"

namespace {

using namespace std::chrono_literals;
using context = std::unique_ptr<peermsg_ctx, decltype(&peermsg_release)>;

peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};

context open_module(unsigned module) {
    return {peermsg_init(module, &settings, PEERMSG_MODE_PEER), &peermsg_release};
}

context started(unsigned module) {
    auto ctx = open_module(module);
    EXPECT_EQ(peermsg_peer_start(ctx.get()), 0);
    return ctx;
}

bool send(const context& from, std::uint8_t to, const std::string& text) {
    return peermsg_msg_send(from.get(), text.data(), to, text.size()) == 0;
}

// The next text, or "nothing".
std::string next(const context& ctx, lab::milliseconds timeout = lab::patience) {
    void* block = nullptr;
    lab::wait_until(
        [&] { return (block = peermsg_get_msg_from_queue_no_wait(ctx.get())) != nullptr; },
        timeout);
    if (block == nullptr) return "nothing";
    std::uint32_t length = 0;
    const char* bytes = static_cast<char*>(block);
    std::memcpy(&length, bytes + PEERMSG_LENGTH_OFFSET, sizeof length);
    const std::string text(bytes + PEERMSG_TEXT_OFFSET, length);
    EXPECT_EQ(bytes[PEERMSG_TEXT_OFFSET + length], '\0');
    std::free(block);
    return text;
}

class Peermsg : public testing::Test {
  protected:
    lab::transcript story{nullptr};
    lab::bus_broker broker{story};
};

TEST_F(Peermsg, CarriesTextsOfAnySize) {
    const auto a = started(2);
    const auto b = started(255);
    for (const std::size_t size : {0U, 1U, 3U, 65'519U, 65'520U, 5'000'000U, 64U << 20}) {
        std::string text(size, 'x');
        if (size > 2) text[size - 2] = '\0';
        ASSERT_TRUE(send(a, 255, text));
        EXPECT_TRUE(next(b) == text) << size;
    }
    EXPECT_FALSE(send(a, 255, std::string((64U << 20) + 1, 'e')));
    EXPECT_TRUE(send(b, 2, "back"));
    EXPECT_EQ(next(a), "back");
}

TEST_F(Peermsg, LoopValueFollowsTheExchange) {
    const auto ctx = open_module(2);
    EXPECT_EQ(peermsg_get_moduleloop(ctx.get()), 0);
    peermsg_peer_start(ctx.get());
    EXPECT_NE(peermsg_get_moduleloop(ctx.get()), 0);

    broker.process().stop();
    EXPECT_EQ(next(ctx, 50ms), "nothing");
    EXPECT_EQ(peermsg_get_moduleloop(ctx.get()), 0);
    EXPECT_NE(peermsg_peer_start(ctx.get()), 0) << "there is no bus";
    EXPECT_FALSE(send(ctx, 3, "x"));

    broker.restart();
    EXPECT_EQ(peermsg_peer_start(ctx.get()), 0) << "the same context serves the new bus";
    EXPECT_NE(peermsg_get_moduleloop(ctx.get()), 0);
}

TEST_F(Peermsg, ExchangeBeginsEmpty) {
    const auto a = open_module(2);
    const auto b = started(3);
    EXPECT_TRUE(send(a, 3, "seen")) << "sending needs no exchange";
    EXPECT_EQ(next(b), "seen");

    EXPECT_TRUE(send(a, 3, "left lying"));
    EXPECT_TRUE(send(a, 99, "to nobody"));
    std::this_thread::sleep_for(20ms);
    peermsg_peer_stop(b.get());
    EXPECT_TRUE(send(a, 3, "while stopped"));
    std::this_thread::sleep_for(20ms);
    peermsg_peer_start(b.get());

    EXPECT_TRUE(send(a, 3, "fresh"));
    EXPECT_EQ(next(b), "fresh");
}

TEST_F(Peermsg, ModuleNumberBelongsToTheFirst) {
    auto first = started(3);
    const auto second = open_module(3);
    EXPECT_NE(peermsg_peer_start(second.get()), 0);
    EXPECT_EQ(peermsg_get_moduleloop(second.get()), 0);
    EXPECT_NE(peermsg_get_moduleloop(first.get()), 0);

    first.reset();
    EXPECT_TRUE(lab::wait_until([&] { return peermsg_peer_start(second.get()) == 0; }));
}

TEST_F(Peermsg, SlowPeerHoldsUpNobodyAndIsBounded) {
    const auto slow = started(3);
    const auto other = started(4);
    const auto from = open_module(2);
    const std::string megabyte(1U << 20, 'x');

    for (int i = 0; i < 200; ++i) ASSERT_TRUE(send(from, 3, megabyte));

    ASSERT_TRUE(send(from, 4, "quick"));
    EXPECT_EQ(next(other), "quick");
    EXPECT_LT(lab::status_kilobytes(broker.process().pid(), "VmRSS"), 100'000 * MEMORY_SCALE);
    int arrived = 0;
    while (next(slow, 200ms) == megabyte) ++arrived;
    EXPECT_GE(arrived, 60);
    EXPECT_LT(arrived, 80);
}

// From here on: the behaviour of the stand-in only.

int connect_raw() {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, standin::bus_socket);
    EXPECT_EQ(connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return descriptor;
}

TEST_F(Peermsg, GarbageIsDroppedAndTheRestGoesOn) {
    using standin::frame_kind;
    const auto head = [](frame_kind kind, std::uint8_t source, std::uint32_t length = 0) {
        const auto bytes = standin::encode_head({length, kind, source, 3});
        return std::string(bytes.begin(), bytes.end());
    };
    const std::string hello = head(frame_kind::hello, 9);
    const struct {
        const char* name;
        std::string bytes;
    } rows[] = {
        {.name = "no frame", .bytes = std::string(100, 'g')},
        {.name = "another's name", .bytes = hello + head(frame_kind::text, 2, 1) + "x"},
        {.name = "the broker's own", .bytes = hello + head(frame_kind::started, 9)},
        {.name = "start without a number",
         .bytes = head(frame_kind::hello, 0) + head(frame_kind::start, 0)},
    };
    const auto a = started(2);
    const auto b = started(3);

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const int garbage = connect_raw();
        EXPECT_GT(write(garbage, row.bytes.data(), row.bytes.size()), 0);
        char end = 0;
        EXPECT_LE(recv(garbage, &end, 1, 0), 0) << "the broker closes it";
        close(garbage);
    }
    const int unfinished = connect_raw();
    const std::string promise = hello + head(frame_kind::text, 9, 64U << 20);
    EXPECT_GT(write(unfinished, promise.data(), promise.size()), 0);

    ASSERT_TRUE(send(a, 3, "still here"));
    EXPECT_EQ(next(b), "still here");
    close(unfinished);
}

TEST_F(Peermsg, SocketIsPrivateAndTheBrokerAlone) {
    struct stat status {};
    ASSERT_EQ(stat(standin::bus_directory, &status), 0);
    EXPECT_EQ(status.st_mode & 077, 0U);
    ASSERT_EQ(stat(standin::bus_socket, &status), 0);
    EXPECT_EQ(status.st_mode & 077, 0U);
    lab::child_process second({PEERMSGD_BINARY}, "/tmp/second.out");
    EXPECT_EQ(second.wait(), 1);
}

TEST_F(Peermsg, CommandSendsAndListens) {
    lab::child_process listener({PEERMSG_BINARY, "listen", "3"}, "/tmp/listen.out");
    const std::string expected = "from 0: {\"a\":1}\n";
    EXPECT_TRUE(lab::wait_until([&] {
        lab::child_process({PEERMSG_BINARY, "send", "3", "{\"a\":1}"}, "/tmp/send.out").wait();
        return lab::read_file("/tmp/listen.out").rfind(expected, 0) == 0;
    }));
    broker.process().stop();
    EXPECT_EQ(listener.wait(), 1);
    EXPECT_EQ(lab::child_process({PEERMSG_BINARY, "send", "3", "x"}, "/tmp/send.out").wait(), 1);
}

}  // namespace
