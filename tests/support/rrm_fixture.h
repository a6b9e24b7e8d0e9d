// An RRM worker with a scripted driver, a moved clock, and the files of an access point whose
// hostapd runs.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "harness/child_process.h"
#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/queues.h"
#include "harness/fakes/scripted_driver.h"
#include "main/logging.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_worker.h"

class RrmTest : public testing::Test {
  protected:
    RrmTest() { renew(); }

    // A fresh worker, driver and clock, with empty queues.
    void renew() {
        worker.reset();
        drain(in);
        drain(out);
        running = true;
        fake_clock::reset();
        fake_peermsg::reset();
        fake_log::reset(rfcd::log_mask_none);
        for (const char* path : {rfcd::flag_files::notify, rfcd::flag_files::connected}) {
            std::filesystem::remove(path);
        }
        touch(rfcd::flag_files::hostapd_pid);
        drv = std::make_unique<scripted_driver>(&running);
        rfcd::rrm_tuning tuning;
        tuning.idle_wait = std::chrono::milliseconds{0};
        worker = std::make_unique<rfcd::rrm_worker>(*drv, rfcd::service_queues{out, in}, "dom",
                                                    &running, tuning);
    }
    static void touch(const char* path) { lab::write_file(path, ""); }
    static bool there(const char* path) { return std::filesystem::exists(path); }

    // Gives the worker a message and lets it pass once.
    void receive(const std::string& text) {
        in.push(buffer_of(text));
        worker->process();
    }
    static std::string rrm(const std::string& cmd, const std::string& rest = "",
                           const std::string& version = "2.4") {
        return R"({"version":")" + version + R"(","service":"rrm","cmd":")" + cmd + "\"" +
               (rest.empty() ? "" : "," + rest) + "}";
    }
    static std::string link(const std::string& cmd) {
        return R"({"version":"2.4","service":"internal-ipc","cmd":")" + cmd + "\"}";
    }
    // The commands of what was sent since the last look: "subscribe-request rrm-response ".
    std::string sent() {
        std::string commands;
        for (const auto& text : drain(out)) {
            commands += rfcd::json_reader(text.c_str()).get_string("cmd") + std::string(" ");
        }
        return commands;
    }
    // What the worker asks of the driver for a message, and the commands of what it sends.
    std::string effects_of(const std::string& message) {
        receive(message);
        return drv->take() + sent();
    }
    texts texts_sent_by(const std::string& message) {
        receive(message);
        return drain(out);
    }
    // Moves the clock second by second up to `until` seconds from now; what was sent, with times.
    std::string pass_until(int until) {
        std::string told;
        for (int second = 1; second <= until; ++second) {
            fake_clock::advance(1);
            worker->keep_running(&running);
            worker->process();
            if (const auto commands = sent(); !commands.empty())
                told += std::to_string(second) + " " + commands;
        }
        return told;
    }
    void subscribe() {
        receive(link("connected"));
        receive(rrm("subscribe-response", R"("status":"success")"));
        sent();
        drv->take();
    }

    rfcd::running_flag running = true;
    rfcd::safe_queue in;
    rfcd::safe_queue out;
    std::unique_ptr<scripted_driver> drv;
    std::unique_ptr<rfcd::rrm_worker> worker;
};
