// Subscription, dispatch, the outgoing messages as whole texts.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

using RrmDispatch = RrmTest;

const std::string envelope = R"({"version":"2.4","service":"rrm","cmd":")";
const std::string body = R"(","ap-mac":"00:11:22:33:44:50","domain":"dom")";
const std::string factory =
    R"("factory":{"board":"AP","hw":"2","serial":"S1","mac":"00:11:22:33:44:50"})";

std::string down_radio(int radio) {
    return R"({"id":)" + std::to_string(radio) + R"(,"status":0,"mac-offset":)" +
           std::to_string(16 * radio) +
           R"(,"radio-mac-count":16,"locked-for-dca":1,"locked-for-tpc":1,)"
           R"("locked-for-balancer":1,"power":16,"power-max":16,"power-min":11,"channel":0,)"
           R"("band":0,"bandwidth":20,"primary-channel":"none"})";
}
const std::string down_radios =
    R"("radios":[)" + down_radio(0) + "," + down_radio(1) + "," + down_radio(2) + "]";

TEST_F(RrmDispatch, OutgoingMessages) {
    EXPECT_EQ(texts_sent_by(link("connected")),
              texts{envelope + "subscribe-request" + body +
                    R"(,"ap-mac-count":48,"use-wildcard-80211r":0,)" + factory + "," + down_radios +
                    "}"});
    EXPECT_EQ(texts_sent_by(rrm("rrm-request-mode")),
              texts{envelope + "rrm-mode-response" + body + "," + down_radios + "}"});
    EXPECT_EQ(
        texts_sent_by(rrm("rrm-info", "", "2.3")),
        (texts{envelope + "unsubscribe-request" + body + "," + factory + "}", link("unlink")}));
}

TEST_F(RrmDispatch, RadioDescriptions) {
    drv->radios_up = true;
    drv->sentry_radio = 2;
    fake_peermsg::bus.store["/skylark/dca"] = "\"true\"";
    const auto radio = [](int id, const char* dca, int band, const std::string& width) {
        return R"({"id":)" + std::to_string(id) + R"(,"status":1,"mac-offset":)" +
               std::to_string(16 * id) + R"(,"radio-mac-count":16,"locked-for-dca":)" + dca +
               R"(,"locked-for-tpc":1,"locked-for-balancer":1,)" +
               R"("power":17,"power-max":20,"power-min":5,"channel":36,"band":)" +
               std::to_string(band) + width +
               R"(,"available-channels":"1 6 11","vaps":[{"id":0,"ssid":"net","mac":"00:11:22:33:44:50",)" +
               R"("802dot11k":1,"802dot11r":)" + (id == 1 ? "1" : "0") + "}]}";
    };
    const auto radios = [&](const std::string& width) {
        return texts{envelope + "rrm-mode-response" + body + R"(,"radios":[)" +
                     radio(0, "0", 2, width) + "," + radio(1, "0", 5, width) + "," +
                     radio(2, "1", 6, width) + "]}"};
    };
    EXPECT_EQ(texts_sent_by(rrm("rrm-request-mode")),
              radios(R"(,"bandwidth":80,"primary-channel":"ll")"));
    drv->auto_channel = true;
    EXPECT_EQ(texts_sent_by(rrm("rrm-request-mode")),
              radios(R"(,"bandwidth":40,"primary-channel":"upper")"))
        << "width and place as configured, the channel as it is";
}

TEST_F(RrmDispatch, RadiosThatAreDownAreLocked) {
    const struct {
        const char* name;
        const char* switches;  // for dca and tpc
        bool radios_up;
        bool vaps_up;
        int locked;
        const char* channels;  // of the three radios
    } rows[] = {
        {.name = "up",
         .switches = "\"true\"",
         .radios_up = true,
         .vaps_up = true,
         .locked = 0,
         .channels = "36 36 36 "},
        {.name = "not quite true",
         .switches = "\"True\"",
         .radios_up = true,
         .vaps_up = true,
         .locked = 1,
         .channels = "36 36 36 "},
        {.name = "without a VAP",
         .switches = "\"true\"",
         .radios_up = true,
         .vaps_up = false,
         .locked = 1,
         .channels = "1 36 1 "},
        {.name = "down",
         .switches = "\"true\"",
         .radios_up = false,
         .vaps_up = true,
         .locked = 1,
         .channels = "0 0 0 "},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fake_peermsg::bus.store = {{"/skylark/dca", row.switches}, {"/skylark/tpc", row.switches}};
        drv->radios_up = row.radios_up;
        drv->vaps_up = row.vaps_up;

        const auto sent = texts_sent_by(rrm("rrm-request-mode"));
        const json_reader report(sent.at(0).c_str());
        std::string channels;
        for (int radio = 0; radio < 3; ++radio) {
            const auto described = report.get_object("radios").get_array_item(radio);
            channels += std::to_string(described.get_int("channel")) + " ";
            EXPECT_EQ(described.get_int("locked-for-dca"), row.locked);
            EXPECT_EQ(described.get_int("locked-for-tpc"), row.locked);
        }
        EXPECT_EQ(channels, row.channels);
    }
}

// With a wait that would be seen.
TEST_F(RrmDispatch, MessagesPutAsideDoNotWaitForOthers) {
    rrm_tuning tuning;
    tuning.idle_wait = std::chrono::seconds(5);
    worker = std::make_unique<rrm_worker>(*drv, service_queues{out, in}, "dom", &running, tuning);
    drv->take();
    drv->scanning = true;
    for (int i = 0; i < 3; ++i) receive(rrm("fbt-info"));
    drv->scanning = false;
    const auto start = std::chrono::steady_clock::now();

    for (int i = 0; i < 3; ++i) worker->process();

    EXPECT_EQ(drv->take(), "fbt reset 0, fbt reset 0, fbt reset 0, ");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(RrmDispatch, SuccessTakesDomainAndSettings) {
    receive(link("connected"));
    sent();
    drv->radios_up = true;
    EXPECT_EQ(
        effects_of(rrm("subscribe-response", R"("status":"success","domain":"other","config":)"
                                             R"({"use-tpc":1,"radios":[{"id":1,"power":9}]})")),
        "power wlan1 9, clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, ");
    EXPECT_NE(texts_sent_by(rrm("rrm-request-mode"))[0].find(R"("domain":"other")"),
              std::string::npos);
    EXPECT_EQ(effects_of(rrm("subscribe-response", R"("status":"success","config":[1])")), "")
        << "only an object is a configuration";
}

TEST_F(RrmDispatch, MessagesThatChangeNothing) {
    const std::string rows[] = {"",
                                "[]",
                                "{}",
                                R"({"service":5,"cmd":"rrm-request-mode"})",
                                R"({"service":null})",
                                R"({"service":"rrm"})",
                                R"({"service":"rrm","cmd":null})",
                                R"({"service":"other","cmd":"connected"})",
                                R"({"service":"internal-ipc"})",
                                R"({"service":["rrm"],"cmd":"rrm-request-mode"})"};
    for (const auto& row : rows) EXPECT_EQ(effects_of(row), "") << row.substr(0, 60);
    for (const char* cmd : {"status", "unlink"}) EXPECT_EQ(effects_of(link(cmd)), "") << cmd;
    for (const char* cmd :
         {"rrm-unknown", "rrm-response", "RRM-BLACKLIST", "rrm-client-assoc-ack"}) {
        EXPECT_EQ(effects_of(rrm(cmd)), "") << cmd;
    }
    fake_log::reset();
    receive(rrm("RRM-Probe-Request"));
    EXPECT_EQ(fake_log::take(),
              "debug Ignoring rrm-probe-request because load balancer is not yet supported\n");
}

TEST_F(RrmDispatch, HostapdIsNeededForRadioWork) {
    drv->initialized = false;
    fake_log::reset();
    for (const char* cmd : {"rrm-info", "rrm-update", "rrm-request-mode"}) {
        receive(rrm(cmd));
        EXPECT_EQ(fake_log::take(),
                  std::string("debug Ignoring ") + cmd + " because hostapd is not running\n");
    }
    EXPECT_EQ(effects_of(rrm("fbt-info")), "fbt reset 0, ") << "fast transition does not need it";
}

TEST_F(RrmDispatch, Versions) {
    const auto with_version = [](const std::string& version) {
        return R"({"service":"RRM","cmd":"RRM-Request-Mode","version":)" + version + "}";
    };
    for (const char* version :
         {R"("2.4")", R"("2.10")", R"("3.0")", "2.4", R"("2147483647.2147483647")"}) {
        EXPECT_EQ(effects_of(with_version(version)), "rrm-mode-response ") << version;
    }
    for (const char* version :
         {R"("2.3")", R"("1.9")", R"("2")", R"("new")", "null", R"("-1.99999")"}) {
        EXPECT_EQ(effects_of(with_version(version)), "unsubscribe-request unlink ") << version;
    }
    touch(flag_files::connected);
    EXPECT_EQ(effects_of(R"({"service":"rrm","cmd":"subscribe-response","status":"success"})"),
              "unsubscribe-request unlink ");
    EXPECT_FALSE(there(flag_files::connected));
}

TEST_F(RrmDispatch, MessagesWaitForTheEndOfAScan) {
    drv->scanning = true;
    fake_log::reset();
    receive(rrm("rrm-info", R"("use-80211r":1)"));
    EXPECT_EQ(fake_log::take(), "debug Pending message for delayed processing\n");
    receive(rrm("fbt-info"));
    receive(rrm("rrm-info", "", "2.3"));
    EXPECT_EQ(effects_of(link("status")), "");
    drv->scanning = false;
    fake_log::reset();
    worker->process();
    EXPECT_NE(fake_log::take().find("debug From pended\n"), std::string::npos);
    EXPECT_EQ(drv->take(), "") << "one a pass";
    worker->process();
    EXPECT_EQ(drv->take(), "fbt begin, fbt finish, ");
    worker->process();
    EXPECT_EQ(sent(), "unsubscribe-request unlink ");
}

TEST_F(RrmDispatch, HostileSizesAreRefused) {
    const std::string megabyte(1'000'000, 'd');
    fake_log::reset(log_mask_error);
    receive(rrm("subscribe-response", R"("status":"success","domain":")" + megabyte + "\""));
    EXPECT_NE(texts_sent_by(rrm("rrm-request-mode"))[0].find(R"("domain":"dom")"),
              std::string::npos);
    EXPECT_NE(fake_log::take().find(
                  "error rrm: a domain of 1000000 bytes is too long (255), the old one stays\n"),
              std::string::npos);
    for (int i = 0; i < 70; ++i) out.push(buffer_of(megabyte));
    EXPECT_EQ(texts_sent_by(rrm("rrm-request-mode")).size(), 70U)
        << "no answer for a service that does not read";
    drv->scanning = true;
    for (int i = 0; i < 70; ++i) receive(rrm("fbt-info", R"("x":")" + megabyte + "\""));
    drv->scanning = false;
    for (int i = 0; i < 70; ++i) worker->process();
    const auto acted = drv->take();
    EXPECT_EQ(std::count(acted.begin(), acted.end(), ','), 68)
        << "what was put aside up to the limit";
}

}  // namespace
}  // namespace rfcd
