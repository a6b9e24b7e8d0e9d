#include "wids/wids_worker.h"

#include <gtest/gtest.h>

#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/queues.h"
#include "main/logging.h"

namespace rfcd {
namespace {

struct helper_for_test final : ipc_helper {
    using ipc_helper::ipc_helper;
};

class WidsWorker : public testing::Test {
  protected:
    WidsWorker() {
        fake_clock::reset();
        fake_peermsg::reset();
        fake_log::reset(log_mask_none);
    }

    // Hands a message to a worker whose list has this name; returns what it sent to the service.
    texts replies_to(const std::string& message, const std::string& list = "l1") {
        const helper_for_test ipc(&running);
        wids_worker worker({out, in}, ipc, list, &running);
        fake_peermsg::take_record();

        in.push(buffer_of(message));
        EXPECT_TRUE(worker.process());
        status_lines lines;
        worker.status().append_to(lines);
        told = lines.text();
        return drain(out);
    }

    running_flag running = true;
    safe_queue in;
    safe_queue out;
    std::string told;  // by the status after the message
};

TEST_F(WidsWorker, AnswersEachList) {
    const struct {
        const char* name;
        const char* list = "l1";
        std::string members;
        const char* reply;  // the text from the command on; null for no reply
    } rows[] = {
        {.name = "letter case does not matter",
         .members = R"("service":"WIDS-Mac-Service","Name":"L1","a":[1])",
         .reply = R"(received","Name":"L1"})"},
        {.name = "another list",
         .members = R"("service":"wids-mac-service","Name":"l2")",
         .reply = R"(rejected","Name":"l2"})"},
        {.name = "no name",
         .members = R"("service":"wids-mac-service")",
         .reply = R"(rejected","Name":"empty-name"})"},
        {.name = "a null name is no empty name",
         .list = "",
         .members = R"("service":"wids-mac-service","Name":null)",
         .reply = R"(rejected","Name":"empty-name"})"},
        {.name = "an empty name",
         .list = "",
         .members = R"("service":"wids-mac-service","Name":"")",
         .reply = R"(received","Name":""})"},
        {.name = "a number as a name",
         .list = "5",
         .members = R"("service":"wids-mac-service","Name":5)",
         .reply = R"(received","Name":"5"})"},
        {.name = "a notice of the link",
         .members = R"("service":"internal-ipc","cmd":"connected","Name":"l1")",
         .reply = nullptr},
        {.name = "no service", .members = R"("Name":"l1")", .reply = nullptr},
        {.name = "not JSON", .members = "broken", .reply = nullptr},
    };
    const std::string head = R"({"version":"2.4","service":"wids-mac-service","cmd":"mac-list-)";

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const bool accepted =
            row.reply != nullptr && std::string_view(row.reply).starts_with("received");

        EXPECT_EQ(replies_to("{" + row.members + "}", row.list),
                  row.reply != nullptr ? texts{head + row.reply} : texts{});
        const std::string last_list = accepted ? "accepted" : "rejected";
        EXPECT_EQ(told,
                  row.reply == nullptr ? "" : "last-list: " + last_list + "\nlast-list-at: 1000\n");
        EXPECT_EQ(fake_peermsg::take_record(),
                  accepted ? "start, send 6 {" + row.members +
                                 R"(,"command":"update-wids-mac-lists"}, stop, release, )"
                           : "release, ");
    }
}

TEST_F(WidsWorker, AcknowledgesBeforeItAsksNetworkd) {
    bool acknowledged = false;
    fake_peermsg::bus.answer_all = [&](const std::string&) {
        acknowledged = !out.empty();
        return std::string();
    };

    const auto replies =
        replies_to(R"({"service":"wids-mac-service","Name":"l1","command":"of the service"})");

    EXPECT_TRUE(acknowledged);
    EXPECT_EQ(replies.size(), 1U) << "a networkd that is silent changes nothing";
    EXPECT_NE(fake_peermsg::take_record().find(R"("command":"update-wids-mac-lists"})"),
              std::string::npos)
        << "the service's own command is replaced";
}

}  // namespace
}  // namespace rfcd
