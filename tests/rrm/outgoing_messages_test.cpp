// The messages to the service as whole texts, with the descriptions of the radios.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

const std::string envelope = R"({"version":"2.4","service":"rrm","cmd":")";
const std::string body = R"(","ap-mac":"00:11:22:33:44:50","domain":"dom")";
const std::string factory =
    R"("factory":{"board":"AP","hw":"2","serial":"S1","mac":"00:11:22:33:44:50"})";

class OutgoingMessages : public RrmMemberTest {
  protected:
    static std::string down_radio(int radio) {
        return R"({"id":)" + std::to_string(radio) + R"(,"status":0,"mac-offset":)" +
               std::to_string(16 * radio) +
               R"(,"radio-mac-count":16,"locked-for-dca":1,"locked-for-tpc":1,)"
               R"("locked-for-balancer":1,"power":16,"power-max":16,"power-min":11,"channel":0,)"
               R"("band":0,"bandwidth":20,"primary-channel":"none"})";
    }
    const std::string down_radios =
        R"("radios":[)" + down_radio(0) + "," + down_radio(1) + "," + down_radio(2) + "]";

    // The text of "rrm-mode-response".
    std::string description() {
        messages.send_mode_response();
        return drain(out).at(0);
    }

    safe_queue out;
    outgoing_messages messages{*drv, out, "dom"};
};

TEST_F(OutgoingMessages, Texts) {
    messages.send_subscribe_request();
    messages.send_unsubscribe_request();
    messages.send_unlink();

    const texts expected{envelope + "subscribe-request" + body +
                             R"(,"ap-mac-count":48,"use-wildcard-80211r":0,)" + factory + "," +
                             down_radios + "}",
                         envelope + "unsubscribe-request" + body + "," + factory + "}",
                         R"({"version":"2.4","service":"internal-ipc","cmd":"unlink"})"};
    EXPECT_EQ(drain(out), expected);
}

// One switch is "true", the other only similar; the last radio is in sentry mode.
TEST_F(OutgoingMessages, RadiosThatAreUp) {
    const auto radio = [](int id, const char* dca, int band, const char* fast_transition) {
        return R"({"id":)" + std::to_string(id) + R"(,"status":1,"mac-offset":)" +
               std::to_string(16 * id) + R"(,"radio-mac-count":16,"locked-for-dca":)" + dca +
               R"(,"locked-for-tpc":1,"locked-for-balancer":1,)"
               R"("power":17,"power-max":20,"power-min":5,"channel":36,"band":)" +
               std::to_string(band) +
               R"(,"bandwidth":80,"primary-channel":"ll","available-channels":"1 6 11",)"
               R"("vaps":[{"id":0,"ssid":"net","mac":"00:11:22:33:44:50","802dot11k":1,)"
               R"("802dot11r":)" +
               fast_transition + "}]}";
    };
    drv->radios_up = true;
    drv->sentry_radio = 2;
    fake_peermsg::bus.store = {{"/skylark/dca", "\"true\""}, {"/skylark/tpc", "\"True\""}};

    EXPECT_EQ(description(), envelope + "rrm-mode-response" + body + R"(,"radios":[)" +
                                 radio(0, "0", 2, "0") + "," + radio(1, "0", 5, "1") + "," +
                                 radio(2, "1", 6, "0") + "]}");
}

TEST_F(OutgoingMessages, AnAutomaticChannelHasItsConfiguredWidthAndPlace) {
    drv->radios_up = true;
    drv->auto_channel = true;

    const auto message = read(description());
    const auto radio = message.get_object("radios").get_array_item(0);

    EXPECT_EQ(radio.get_int("bandwidth"), 40);
    EXPECT_STREQ(radio.get_string("primary-channel"), "upper");
    EXPECT_EQ(radio.get_int("channel"), 36);
}

TEST_F(OutgoingMessages, RadiosWithoutAVapAreDownOnTheFirstChannelOfTheirBand) {
    drv->radios_up = true;
    drv->vaps_up = false;
    fake_peermsg::bus.store = {{"/skylark/dca", "\"true\""}, {"/skylark/tpc", "\"true\""}};

    const auto message = read(description());

    for (const int radio : {0, 1, 2}) {
        const auto described = message.get_object("radios").get_array_item(radio);
        EXPECT_EQ(described.get_int("locked-for-dca"), 1);
        EXPECT_EQ(described.get_int("locked-for-tpc"), 1);
        EXPECT_EQ(described.get_int("channel"), radio == 1 ? 36 : 1);
    }
}

TEST_F(OutgoingMessages, OverlongDomainIsNotTaken) {
    fake_log::reset(log_mask_error);

    messages.take_domain(std::string(256, 'd'));

    EXPECT_EQ(fake_log::take(),
              "error rrm: a domain of 256 bytes is too long (255), the old one stays\n");
    EXPECT_NE(description().find(R"("domain":"dom")"), std::string::npos);
}

TEST_F(OutgoingMessages, AServiceThatDoesNotReadGetsNoMoreButTheUnlink) {
    for (int i = 0; i < 70; ++i) out.push(buffer_of(std::string(1'000'000, 'd')));

    messages.send_mode_response();
    messages.send_unlink();

    EXPECT_EQ(drain(out).size(), 71U);
}

}  // namespace
}  // namespace rfcd
