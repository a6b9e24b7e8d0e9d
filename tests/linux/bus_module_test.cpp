// aplocald's places on the bus, with a broker that the test plays itself.
#include "aplocald/bus_module.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

namespace aplocal {
namespace {

using std::chrono_literals::operator""s;

int listen_at_the_bus() {
    std::filesystem::create_directories(standin::bus_directory);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::strcpy(address.sun_path, standin::bus_socket);
    EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener, 1), 0);
    return listener;
}

void send_frame(int module, standin::frame_kind kind, const std::string& text) {
    const auto length = static_cast<std::uint32_t>(text.size());
    const auto head = standin::encode_head({length, kind, 28, 1});
    const std::string frame = std::string(head.begin(), head.end()) + text;
    ASSERT_EQ(write(module, frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
}

// The module reads 32 frames before others have their turn. The end of the bus that it finds while
// it answers the last of them must not be forgotten over that.
TEST(BusModule, JoinsAgainAfterAnAnswerThatFindsTheBusClosed) {
    event_loop loop;
    const int listener = listen_at_the_bus();
    int first = -1;
    bool joined_again = false;
    std::unique_ptr<bus_module> module;
    module = std::make_unique<bus_module>(
        loop, 1,
        [&](std::uint8_t from, const std::string& text) {
            if (text == "last") close(first);
            module->send(from, "answer");
        },
        [] {});
    first = accept(listener, nullptr, nullptr);
    send_frame(first, standin::frame_kind::started, "");
    for (int i = 0; i < 30; ++i) send_frame(first, standin::frame_kind::text, "request");
    send_frame(first, standin::frame_kind::text, "last");

    loop.watch(listener, [&] {
        joined_again = true;
        loop.stop();
    });
    loop.after(2s * TIME_SCALE, [&] { loop.stop(); });
    loop.run();

    EXPECT_TRUE(joined_again);
    close(listener);
    std::filesystem::remove(standin::bus_socket);
}

}  // namespace
}  // namespace aplocal
