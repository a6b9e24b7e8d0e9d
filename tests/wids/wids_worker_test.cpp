#include "wids/wids_worker.h"

#include <gtest/gtest.h>

#include "main/logging.h"
#include "support/fake_log.h"
#include "support/fake_peermsg.h"
#include "support/queues.h"

namespace rfcd {
namespace {

struct helper_for_test final : ipc_helper {};

TEST(WidsWorker, AnswersEachList) {
    // The list's name, a message's members, and the reply from its command on; null for none.
    const std::tuple<const char*, std::string, const char*> rows[] = {
        {"l1", R"("service":"WIDS-Mac-Service","Name":"L1","a":[1])", R"(received","Name":"L1"})"},
        {"l1", R"("service":"wids-mac-service","Name":"l2")", R"(rejected","Name":"l2"})"},
        {"l1", R"("service":"wids-mac-service")", R"(rejected","Name":"empty-name"})"},
        {"", R"("service":"wids-mac-service","Name":null)", R"(rejected","Name":"empty-name"})"},
        {"", R"("service":"wids-mac-service","Name":"")", R"(received","Name":""})"},
        {"5", R"("service":"wids-mac-service","Name":5)", R"(received","Name":"5"})"},
        {"l1", R"("service":"internal-ipc","cmd":"connected","Name":"l1")", nullptr},
        {"l1", R"("Name":"l1")", nullptr},
        {"l1", "broken", nullptr},
    };
    for (const bool networkd_answers : {true, false}) {
        for (const auto& [list, members, reply] : rows) {
            SCOPED_TRACE(members);
            fake_peermsg::reset();
            fake_log::reset(log_mask_none);
            if (!networkd_answers) fake_peermsg::bus.answer = "";
            const running_flag running = true;
            safe_queue in;
            safe_queue out;
            const helper_for_test ipc;
            wids_worker worker(out, in, ipc, list, &running);
            fake_peermsg::take_record();
            in.push(buffer_of("{" + members + (networkd_answers ? "}" : R"(,"command":"x"})")));
            EXPECT_TRUE(worker.process());
            const std::string head = R"({"version":"2.4","service":"wids-mac-service","cmd":"mac-list-)";
            EXPECT_EQ(drain(out), reply != nullptr ? texts{head + reply} : texts{});
            const bool passed_on = reply != nullptr && std::string_view(reply).starts_with("received");
            EXPECT_EQ(fake_peermsg::take_record(),
                      passed_on ? "start, send 6 {" + members + R"(,"command":"update-wids-mac-lists"}, stop, )" : "");
        }
    }
}

}  // namespace
}  // namespace rfcd
