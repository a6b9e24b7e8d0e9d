#include <csignal>

#include "lab/checklist.h"
#include "lab/roaming_world.h"
#include "lab/scenarios.h"

namespace lab {

namespace {

constexpr std::size_t megabyte = 1'000'000;

struct sample {
    const char* name;
    std::string text;
};

std::vector<sample> samples() {
    return {
        {"a small message", R"({"service":"roaming","cmd":"station-seen","rssi":-61})"},
        {"a text that is not JSON", "client 00:11:22:33:44:55 \x01 left <unfinished"},
        {"a message of 1 MB",
         R"({"service":"roaming","blob":")" + std::string(megabyte, 'x') + "\"}"},
    };
}

void show_first_connection(roaming_world& world, checklist& list) {
    list.check("the daemon connects and tells the bus", world.wait_linked());
    const auto request = world.cloud.last_request();
    list.check("it asks for " + std::string(roaming_path) + " with its subprotocol",
               request.path == roaming_path && request.subprotocol == "websock-roaming");
}

void show_messages(roaming_world& world, checklist& list) {
    for (const auto& [name, text] : samples()) {
        world.cloud.send(text);
        list.check(std::string("service to bus: ") + name, world.next_on_bus() == text);
        world.peer.send(bridge_module, text);
        list.check(std::string("bus to service: ") + name, world.cloud.expect() == text);
    }

    world.cloud.send("");
    world.peer.send(bridge_module, "");
    const std::string after = R"({"after":"the empty ones"})";
    world.cloud.send(after);
    world.peer.send(bridge_module, after);
    list.check("an empty message goes no further, either way",
               world.next_on_bus() == after && world.cloud.expect() == after);
}

void show_status(roaming_world& world, checklist& list, const char* answer) {
    world.peer.send(bridge_module, R"({"service":"internal-ipc","cmd":"status"})");
    list.check(std::string("the link answers \"status\" with \"") + answer + "\"",
               world.bus_hears(link_notice(answer)));
}

// The ranges that the daemon drew its delays from, as it logged them.
std::string delay_ranges(const daemon& agent) {
    const std::string log = agent.log();
    const std::string mark = "Generate delay into ";
    std::string ranges;
    for (auto at = log.find(mark); at != std::string::npos; at = log.find(mark, at + 1)) {
        const auto begin = at + mark.size();
        ranges += log.substr(begin, log.find(')', begin) + 1 - begin) + " ";
    }
    return ranges;
}

void show_reconnect(roaming_world& world, transcript& story, checklist& list) {
    world.cloud.go_down();
    story.add("cloud", "", "is down: its connections are closed, its port refuses");
    list.check("the bus hears that the link is down", world.bus_hears(link_notice("disconnected")));

    // The daemon draws the third delay after the second failed attempt.
    wait_until([&] { return world.agent->count_log("Generate delay into") >= 4; });
    show_status(world, list, "disconnected");

    world.cloud.come_up();
    story.add("cloud", "", "is up again");
    list.check("the daemon comes back by itself", world.wait_linked(2));

    const std::string ranges = delay_ranges(*world.agent);
    story.add("rfcd", "", "drew its delays, in seconds, from " + ranges);
    list.check("the delay grows with every failed attempt",
               ranges.rfind("[0;1) [0;1) [1;3) [2;6) ", 0) == 0);
    show_status(world, list, "connected");
}

}  // namespace

int play_roaming(transcript& story) {
    checklist list(story);

    story.chapter("a roaming access point starts");
    roaming_world::options options;
    options.max_delay = 4;
    roaming_world world(story, options);
    show_first_connection(world, list);

    story.chapter("messages in both directions");
    show_messages(world, list);
    show_status(world, list, "connected");

    story.chapter("the service goes away and comes back");
    show_reconnect(world, story, list);

    story.chapter("the end");
    const auto ending = world.agent->stop();
    list.check("the daemon ends within two seconds, with status 0",
               ending.status == 0 && ending.time < 2s);
    return list.summary("roaming");
}

}  // namespace lab
