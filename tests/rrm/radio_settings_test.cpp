// Channels, transmit powers and neighbour lists.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

class RadioSettings : public RrmMemberTest {
  protected:
    RadioSettings() { drv->radios_up = true; }

    std::string applied(const std::string& members) {
        settings.apply_config(read("{" + members + "}"));
        return drv->take();
    }

    fast_transition transition{*drv};
    radio_settings settings{*drv, transition};
    const std::string clears = "clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, ";
};

TEST_F(RadioSettings, ChannelsAndPower) {
    const struct {
        const char* name;
        const char* config;
        const char* done;
        const char* logged = "";
        int sentry_radio = -1;
    } rows[] = {
        {.name = "power before channel",
         .config = R"("use-tpc":1,"use-dca":1,)"
                   R"("radios":[{"id":1,"channel":44,"bandwidth":80,"power":14}])",
         .done = "power wlan1 14, channel wlan1 44/80/0, "},
        {.name = "power alone is under control",
         .config = R"("use-tpc":1,"use-dca":0,"radios":[{"id":0,"channel":36,"power":10}])",
         .done = "power wlan0 10, "},
        {.name = "the channel alone, 20 MHz unless told",
         .config = R"("use-dca":1,"radios":[{"id":2,"channel":5,"power":10}])",
         .done = "channel wlan2 5/20/0, "},
        {.name = "the place of the primary channel counts at 40 MHz",
         .config = R"("use-dca":1,"radios":[)"
                   R"({"id":1,"channel":36,"bandwidth":40,"primary-channel":"LOWER"},)"
                   R"({"id":1,"channel":36,"bandwidth":40,"primary-channel":"Upper"},)"
                   R"({"id":1,"channel":36,"bandwidth":40,"primary-channel":"ll"},)"
                   R"({"id":1,"channel":36,"bandwidth":80,"primary-channel":"upper"}])",
         .done = "channel wlan1 36/40/1, channel wlan1 36/40/2, channel wlan1 36/40/0, "
                 "channel wlan1 36/80/0, "},
        {.name = "null and numbers in texts",
         .config = R"("use-tpc":"1","radios":[{"power":null},null,{"id":"1","power":"9"}])",
         .done = "power wlan0 0, power wlan1 9, "},
        {.name = "radios that do not exist",
         .config = R"("use-tpc":1,)"
                   R"("radios":[{"id":3,"power":1},{"id":-1,"power":1},{"id":1,"power":-5}])",
         .done = "power wlan1 -5, ",
         .logged = "warning void rrm_worker::apply_config(const json_reader&) Wrong id value: "
                   "recv 3, max: 3 - skip radio\n"
                   "warning void rrm_worker::apply_config(const json_reader&) Wrong id value: "
                   "recv -1, max: 3 - skip radio\n"},
        {.name = "a radio of widsd",
         .config = R"("use-tpc":1,"radios":[{"id":2,"power":9}])",
         .done = "",
         .sentry_radio = 2},
    };
    fake_log::reset(log_mask_warning);

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        drv->sentry_radio = row.sentry_radio;

        EXPECT_EQ(applied(row.config), row.done + clears);
        EXPECT_EQ(fake_log::take(), row.logged);
    }
}

TEST_F(RadioSettings, NothingIsSetOnARadioThatIsDown) {
    drv->radios_up = false;

    EXPECT_EQ(applied(R"("use-tpc":1,"radios":[{"id":0,"power":9}])"), "");
}

TEST_F(RadioSettings, NeighboursAfterTheClearing) {
    EXPECT_EQ(
        applied(
            R"("802dot11k":[{"neighbour-mac":"x","channel":36,"band":5,"vaps":[)"
            R"({"ssid":"a","mac":"m1"},{"ssid":"b"},{"mac":"m2"},null,{"ssid":"c","mac":"m3"}]},)"
            R"({"channel":1,"vaps":[{"ssid":"a","mac":"m4"}]},null,{"neighbour-mac":"x"},)"
            R"({"neighbour-mac":"x","vaps":[{"ssid":"d","mac":"m5"}]}])"),
        clears + "neighbour m1 a 36/5, neighbour m3 c 36/5, neighbour m5 d 0/0, ");
}

TEST_F(RadioSettings, NeighboursHaveATimeOfTheirOwnAfterSlowRadios) {
    drv->power_takes_seconds = 100;
    fake_log::reset(log_mask_error);

    EXPECT_EQ(applied(R"("use-tpc":1,"radios":[{"id":0,"power":1},{"id":1,"power":1},)"
                      R"({"id":2,"power":1}],"802dot11k":[{"neighbour-mac":"x","vaps":[)"
                      R"({"ssid":"a","mac":"m"}]}])"),
              "power wlan0 1, power wlan1 1, " + clears + "neighbour m a 0/0, ");
    EXPECT_EQ(fake_log::take(), "error rrm: the settings take too long, the rest is left out\n");
}

TEST_F(RadioSettings, ClearingIsCutOff) {
    drv->clearing_takes_seconds = 40;
    fake_log::reset(log_mask_error);

    settings.clear_neighbour_lists();

    EXPECT_EQ(drv->take(), "clear wlan0-vap0, clear wlan1-vap0, ");
    EXPECT_EQ(fake_log::take(),
              "error rrm: clearing the neighbour lists takes too long, the rest stays\n");
}

}  // namespace
}  // namespace rfcd
