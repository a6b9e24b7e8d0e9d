// "fbt-info" and the requests that result from it.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

class FastTransition : public RrmMemberTest {
  protected:
    FastTransition() {
        drv->radios_up = true;
        transition.take_switch(read(R"({"use-80211r":1})"));
    }

    std::string applied(const std::string& members) {
        transition.process_fbt_info(read("{" + members + "}"));
        return drv->take();
    }
    static std::string remote(const std::string& number) {
        return R"({"remote-r0-kh-id":"r0-)" + number + R"(","remote-r1-kh-id":"r1-)" + number +
               R"(","remote-r1-kh-key":"k)" + number + "\"}";
    }
    static std::string vap(int radio, int index, const std::string& remotes,
                           const std::string& key = "rrb") {
        return R"({"vap_id":)" + std::to_string(index) + R"(,"radio_id":)" + std::to_string(radio) +
               R"(,"mobility-domain":7,"r0-key-holder-id":"r0","r1-key-holder-id":"r1",)"
               R"("fbt-rrb-key":")" +
               key + R"(","remotes":)" + remotes + "}";
    }
    // The configuration text of a VAP whose "mac" has these members.
    static std::string text(const std::string& mac) {
        return R"({"version":"2.4","service":"fbt","ft-config":{"enabled":"true",)"
               R"("ft-over-ds":"true","ft-psk-generate-local":"false",)"
               R"("reassociation-deadline":900,"mobility-domain":7,"r0-key-holder-id":"r0",)"
               R"("r1-key-holder-id":"r1","mac":{)" +
               mac + "}}}, ";
    }

    fast_transition transition{*drv};
};

// The second remote lacks its identifier; the fourth replaces the first.
TEST_F(FastTransition, OneTextAVap) {
    const std::string remotes = "[" + remote("a") + R"(,{"remote-r0-kh-id":"z"},)" + remote("b") +
                                R"(,{"remote-r1-kh-id":"r1-a","remote-r1-kh-key":"new"}])";
    const std::string absent_radio = vap(3, 0, "[]");
    const std::string absent_vap = vap(0, 99, "[]");
    const std::string without_remotes =
        R"({"vap_id":0,"radio_id":2,"r0-key-holder-id":"","r1-key-holder-id":""})";

    const auto done = applied(R"("fbt-reassoc-deadline":900,"fbt-over-ds":1,"vaps":[)" +
                              vap(1, 3, remotes) + "," + absent_radio + "," + absent_vap + "," +
                              vap(0, 0, "[]") + "," + without_remotes + "]");

    EXPECT_EQ(done, "fbt begin, fbt wlan1-vap3 " +
                        text(R"("r1-a":{"name":"r1-a","index":"3","r0-kh-id":"",)"
                             R"("r1-kh-id":"r1-a","r0-kh-key":"rrb","r1-kh-key":"new"},)"
                             R"("r1-b":{"name":"r1-b","index":"2","r0-kh-id":"r0-b",)"
                             R"("r1-kh-id":"r1-b","r0-kh-key":"rrb","r1-kh-key":"kb"})") +
                        "fbt wlan0-vap0 " + text("") + "fbt finish, ");
}

TEST_F(FastTransition, MissingKeyHoldersAbandonTheMessage) {
    fake_log::reset(log_mask_error);

    const auto done = applied(R"("vaps":[)" + vap(0, 0, "[]") +
                              R"(,{"vap_id":0,"radio_id":1,"r0-key-holder-id":"r0"}])");

    EXPECT_TRUE(done.ends_with("fbt reset 0, ")) << done;
    EXPECT_EQ(fake_log::take(), "error Unexpected error, no r0/r1 key holders found\n");
}

TEST_F(FastTransition, MissingMembersAreZeroAndAnEmptyElementEndsTheList) {
    const auto done = applied(R"("vaps":[)" + vap(0, 0, "[]") + ",null," + vap(1, 0, "[]") + "]");

    EXPECT_NE(done.find(R"("ft-over-ds":"false")"), std::string::npos);
    EXPECT_NE(done.find(R"("reassociation-deadline":0,)"), std::string::npos);
    EXPECT_EQ(done.find("wlan1"), std::string::npos);
}

// The key must not be long, because every remote would get a copy of it.
TEST_F(FastTransition, AVapWithAnOverlongKeyIsLeftOut) {
    EXPECT_EQ(applied(R"("vaps":[)" + vap(0, 0, "[]", std::string(1025, 'k')) + "]"),
              "fbt begin, fbt finish, ");
}

TEST_F(FastTransition, ListsAreCut) {
    std::string remotes = remote("0");
    for (int i = 1; i < 2000; ++i) remotes += "," + remote(std::to_string(i));
    std::string vaps = vap(0, 1, "[" + remotes + "]");
    for (int i = 1; i < 40; ++i) vaps += "," + vap(0, 2, "[]");

    const auto done = applied(R"("vaps":[)" + vaps + "]");

    EXPECT_NE(done.find(R"("index":"1024")"), std::string::npos);
    EXPECT_EQ(done.find(R"("index":"1025")"), std::string::npos);
    std::size_t added = 0;
    for (auto at = done.find("fbt wlan"); at != std::string::npos; ++added) {
        at = done.find("fbt wlan", at + 1);
    }
    EXPECT_EQ(added, 32U);
}

}  // namespace
}  // namespace rfcd
