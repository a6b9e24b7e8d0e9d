// What the daemon expects of the bus. All tests but the last group use only the public header, so
// that the same tests can check the maker's library.
#include "platform/peermsg.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "lab/bus_peer.h"
#include "lab/daemon.h"
#include "peermsg/frame_reader.h"

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

// The tests from here on check the stand-in only.

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
        {.name = "a module that monitors", .bytes = hello + head(frame_kind::monitor, 9)},
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

TEST_F(Peermsg, CommandAsksAndPrintsTheAnswer) {
    const auto answer = [](lab::bus_peer& self, const lab::bus_peer::message& asked) {
        if (asked.text != "ask") return;
        self.send(asked.source, R"({"command":"first"})");
        self.send(asked.source, R"({"command":"second"})");
    };
    const lab::bus_peer peer(story, "peer", 3, answer);
    const lab::bus_peer other(story, "other", 4, [](auto&, const auto&) {});
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        int status;
        const char* output;
    } rows[] = {
        {.name = "any text",
         .arguments = {"3", "ask"},
         .status = 0,
         .output = R"({"command":"first"})"},
        {.name = "the one with the command",
         .arguments = {"3", "ask", "second"},
         .status = 0,
         .output = R"({"command":"second"})"},
        {.name = "no answer with the command",
         .arguments = {"-t", "1", "3", "ask", "third"},
         .status = 1,
         .output = "peermsg: no answer within 1 s"},
        {.name = "no answer",
         .arguments = {"-t", "1", "4", "ask"},
         .status = 1,
         .output = "peermsg: no answer within 1 s"},
        {.name = "nobody, and no wait of 20 s",
         .arguments = {"9", "ask"},
         .status = 1,
         .output = "peermsg: nobody takes texts for module 9"},
    };

    for (const auto& row : rows) {
        std::vector<std::string> command{PEERMSG_BINARY, "ask"};
        command.insert(command.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_EQ(lab::child_process(command, "/tmp/ask.out").wait(), row.status) << row.name;
        EXPECT_EQ(lab::read_file("/tmp/ask.out"), std::string(row.output) + "\n") << row.name;
    }
}

TEST_F(Peermsg, CommandListsWhoIsRegistered) {
    const auto late = started(28);
    const auto first = started(2);
    const auto stopped = started(3);
    peermsg_peer_stop(stopped.get());
    const auto sender = open_module(4);
    send(sender, 2, "x");

    EXPECT_EQ(lab::child_process({PEERMSG_BINARY, "list"}, "/tmp/list.out").wait(), 0);

    std::istringstream words(lab::read_file("/tmp/list.out"));
    const std::vector<std::string> found{std::istream_iterator<std::string>(words), {}};
    const std::string process = std::to_string(getpid());
    std::string name = lab::read_file("/proc/self/comm");
    name.pop_back();
    EXPECT_EQ(found, (std::vector<std::string>{"module", "process", "name", "2", process, name,
                                               "28", process, name}));
}

TEST_F(Peermsg, CommandShowsWhatPasses) {
    const auto a = started(2);
    const auto b = started(28);
    lab::child_process monitor({PEERMSG_BINARY, "monitor"}, "/tmp/monitor.out");
    const auto shown = [] { return lab::read_file("/tmp/monitor.out"); };
    ASSERT_TRUE(lab::wait_until([&] { return shown().ends_with("ends\n"); }));

    send(a, 28, "two\nlines \x1b[31m");
    send(b, 9, "to nobody");
    EXPECT_EQ(next(b), "two\nlines \x1b[31m");
    lab::wait_until([&] { return shown().ends_with("nobody\n"); });

    EXPECT_EQ(std::regex_replace(shown(), std::regex(R"(\d\d:\d\d:\d\d\.\d\d\d)"), "TIME"),
              "peermsg: watching the bus, Ctrl-C ends\n"
              "TIME    2 -> 28   two\\x0alines \\x1b[31m\n"
              "TIME   28 -> 9    (lost) to nobody\n");
}

// A monitor's own end of the bus.
class raw_monitor {
  public:
    raw_monitor() {
        for (const auto kind : {standin::frame_kind::hello, standin::frame_kind::monitor}) {
            const auto head = standin::encode_head({0, kind, 0, 0});
            EXPECT_GT(write(descriptor_, head.data(), head.size()), 0);
        }
        EXPECT_EQ(head_of(next()).kind, standin::frame_kind::started);
    }
    raw_monitor(const raw_monitor&) = delete;
    raw_monitor& operator=(const raw_monitor&) = delete;
    ~raw_monitor() { close(descriptor_); }

    standin::frame_block next() {
        standin::frame_block frame;
        lab::wait_until([&] {
            reader_.next(descriptor_, frame);
            return frame != nullptr;
        });
        if (!frame) throw std::runtime_error("the broker sent nothing");
        return frame;
    }

  private:
    const int descriptor_ = connect_raw();
    standin::frame_reader reader_;
};

TEST_F(Peermsg, MonitorThatDoesNotReadHoldsUpNobodyAndIsToldWhatItMissed) {
    raw_monitor monitor;
    const auto from = open_module(2);
    const auto to = started(3);
    constexpr unsigned sent = 200;

    for (unsigned i = 0; i < sent; ++i) {
        ASSERT_TRUE(send(from, 3, std::string(100'000, 'x')));
        ASSERT_NE(next(to), "nothing");
    }
    EXPECT_LT(lab::status_kilobytes(broker.process().pid(), "VmRSS"), 20'000 * MEMORY_SCALE);

    unsigned copies = 0;
    auto frame = monitor.next();
    for (; head_of(frame).kind == standin::frame_kind::passed; frame = monitor.next()) ++copies;
    EXPECT_EQ(head_of(frame).kind, standin::frame_kind::missed);
    EXPECT_GT(copies, 30U);
    EXPECT_EQ(text_of(frame), std::to_string(sent - copies));
    send(from, 3, "shown again");
    EXPECT_EQ(text_of(monitor.next()), "shown again");
    send(from, 3, std::string(5'000'000, 'x'));
    EXPECT_EQ(text_of(monitor.next()), "1") << "a text too long to copy is told of at once";
}

}  // namespace
