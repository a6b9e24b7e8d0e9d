#include "ipc/ipc_worker.h"

#include <gtest/gtest.h>

#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/queues.h"

namespace rfcd {
namespace {

using fake_peermsg::bus;
using fake_peermsg::take_record;

class IpcWorker : public testing::Test {
  protected:
    IpcWorker() {
        fake_peermsg::reset();
        fake_clock::reset();
    }

    void TearDown() override {
        worker.on_stop();
        EXPECT_EQ(bus.contexts, 0);
    }

    running_flag running = true;
    safe_queue outgoing;
    safe_queue incoming;
    ipc_worker worker{{outgoing, incoming}, 2, &running};
};

TEST_F(IpcWorker, OpensAndReleasesTheBus) {
    EXPECT_FALSE(worker.keep_running(&running)) << "not open yet";
    EXPECT_STREQ(worker.status().summary(), ", without a local bus");
    EXPECT_TRUE(worker.start_check());
    EXPECT_STREQ(worker.status().summary(), "");
    EXPECT_TRUE(worker.keep_running(&running));

    bus.loop = 0;
    EXPECT_FALSE(worker.keep_running(&running)) << "the bus is gone";
    bus.loop = 1;
    running = false;
    EXPECT_FALSE(worker.keep_running(&running));

    worker.on_stop();
    worker.on_stop();
    EXPECT_EQ(take_record(), "init 2 254 2, start, release, ");
}

TEST_F(IpcWorker, GivesUpABusThatCannotBeHad) {
    bus.init_fails = true;
    EXPECT_FALSE(worker.start_check());
    EXPECT_EQ(take_record(), "init 2 254 2, ");
    EXPECT_FALSE(worker.process());

    bus.init_fails = false;
    bus.loop_sticks = true;
    EXPECT_FALSE(worker.start_check());
    EXPECT_EQ(take_record(), "init 2 254 2, release, ");
}

TEST_F(IpcWorker, MovesOneMessageAPassThoseOfTheBusFirst) {
    worker.start_check();
    take_record();
    const std::string with_zero("a\0b", 3);
    bus.incoming = {"one", "", with_zero, "\x01"};
    for (const char* text : {"x", "", "y"}) incoming.push(buffer_of(text));

    for (int pass = 0; pass < 7; ++pass) EXPECT_FALSE(worker.process()) << pass;
    EXPECT_TRUE(worker.process()) << "nothing left to do";

    EXPECT_EQ(drain(outgoing), (texts{"one", with_zero, "\x01"}));
    EXPECT_EQ(take_record(), "send 3 x, send 3 y, ");
}

TEST_F(IpcWorker, LooksOnForAMomentAfterABurst) {
    worker.start_check();
    EXPECT_TRUE(worker.process());
    EXPECT_EQ(fake_clock::pauses, std::vector<std::uint32_t>{}) << "not at rest";

    bus.incoming = {"first"};
    EXPECT_FALSE(worker.process());

    fake_clock::on_pause = [] {
        if (fake_clock::pauses.size() == 3) bus.incoming = {"second"};
    };
    EXPECT_FALSE(worker.process());
    EXPECT_TRUE(worker.process());

    EXPECT_EQ(drain(outgoing), (texts{"first", "second"}));
    EXPECT_EQ(fake_clock::pauses, (std::vector<std::uint32_t>{100, 200, 400, 100, 200, 400, 800,
                                                              1600, 3200, 6400, 12800}));
}

TEST_F(IpcWorker, LeavesMessagesOnTheBusWhileTheServiceIsBehind) {
    worker.start_check();
    bus.incoming = {"waits", "too"};
    outgoing.push(buffer_of(std::string(heavy_queue, 'x')));
    incoming.push(buffer_of("other way"));

    EXPECT_FALSE(worker.process());
    EXPECT_TRUE(worker.process());
    EXPECT_EQ(bus.incoming.size(), 2U);

    drain(outgoing);
    EXPECT_FALSE(worker.process());
    EXPECT_EQ(drain(outgoing), texts{"waits"});
}

}  // namespace
}  // namespace rfcd
