// The whole daemon and a service whose texts are about as large as the library's receive buffer.
#include <gtest/gtest.h>

#include "lab/raw_service.h"
#include "lab/roaming_world.h"

namespace lab {
namespace {

// As the service makes it: a text in which no two places look alike.
std::string numbered(std::size_t size) {
    std::string text;
    for (int number = 0; text.size() < size; ++number) text += std::to_string(number) + ' ';
    text.resize(size);
    return text;
}

TEST(Frames, AreWholeAtEveryEdgeOfTheReceiveBuffer) {
    transcript story(nullptr);
    const bus_broker broker(story);
    bus_peer peer(story, "peer 3", roaming_module);
    const raw_service service("around-the-buffer");

    const daemon agent(story, {{"log_level", "1"},
                               {"roam_service_url", loopback_url(raw_service::port, roaming_path)},
                               {"initial_connection_delay", "1"}});

    std::vector<std::size_t> sizes{5000};
    for (const std::size_t size : {4095, 4096, 4097, 65535, 65536, 65537, 131071, 131072, 131073}) {
        sizes.insert(sizes.end(), 15, size);
    }
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        SCOPED_TRACE("message " + std::to_string(i));
        const auto arrived = peer.received().take_matching(
            [](const auto& m) { return m.text.find("internal-ipc") == std::string::npos; });
        ASSERT_TRUE(arrived);
        ASSERT_EQ(arrived->text.size(), sizes[i]);
        ASSERT_TRUE(arrived->text == numbered(sizes[i]));
    }
}

}  // namespace
}  // namespace lab
