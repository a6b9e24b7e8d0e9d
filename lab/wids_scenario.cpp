#include "lab/checklist.h"
#include "lab/scenarios.h"
#include "lab/service_world.h"

namespace lab {

namespace {

std::string list_message(const std::string& name) {
    return R"({"service":"wids-mac-service",)" +
           (name.empty() ? "" : R"("Name":")" + name + "\",") +
           R"("black":["02:00:00:00:00:01","02:00:00:00:00:02"],"white":[]})";
}

std::string reply(const std::string& cmd, const std::string& name) {
    return R"({"version":"2.4","service":"wids-mac-service","cmd":")" + cmd + R"(","Name":")" +
           name + "\"}";
}

}  // namespace

int play_wids(transcript& story) {
    checklist list(story);

    story.chapter("the daemon connects");
    service_world world(story, service_world::service::wids);
    world.start_daemon();
    list.check("it asks for its subprotocol",
               world.cloud.wait_connections(1) &&
                   world.cloud.last_request().subprotocol == "websock-wids");

    story.chapter("lists of MAC addresses");
    world.cloud.send(list_message(mac_list));
    list.check("the access point's own list is acknowledged",
               world.cloud.expect() == reply("mac-list-received", mac_list));
    list.check("networkd gets it whole",
               world.point.network.requests().take() ==
                   R"({"service":"wids-mac-service","Name":"list-of-building-7",)"
                   R"("black":["02:00:00:00:00:01","02:00:00:00:00:02"],"white":[],)"
                   R"("command":"update-wids-mac-lists"})");

    world.cloud.send(list_message("LIST-OF-Building-7"));
    list.check("letter case does not matter",
               world.cloud.expect() == reply("mac-list-received", "LIST-OF-Building-7"));

    world.cloud.send(list_message("list-of-building-8"));
    list.check("another access point's list is rejected",
               world.cloud.expect() == reply("mac-list-rejected", "list-of-building-8"));
    world.cloud.send(list_message(""));
    list.check("so is one without a name",
               world.cloud.expect() == reply("mac-list-rejected", "empty-name"));

    world.point.network.requests().take();
    world.point.network.set_mood(mood::refusing);
    world.cloud.send(list_message(mac_list));
    list.check("what networkd refuses is acknowledged before, and logged",
               world.cloud.expect() == reply("mac-list-received", mac_list) &&
                   world.agent->wait_log("Error: reason (not today)"));
    list.check("networkd saw nothing of the rejected ones",
               world.point.network.requests().size() == 1);

    story.chapter("the end");
    const auto ending = world.agent->stop();
    list.check("the daemon ends within two seconds, with status 0",
               ending.status == 0 && ending.time < 2s);
    return list.summary("wids");
}

}  // namespace lab
