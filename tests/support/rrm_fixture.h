// What the tests of the RRM worker and its members share: a scripted driver, the fake clock, the
// files of an access point with a running hostapd, and the worker itself.
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

// For the tests of one member with the scripted driver.
class RrmMemberTest : public testing::Test {
  protected:
    RrmMemberTest() { reset_world(); }

    // A fresh driver and clock, an empty log, and no file but hostapd's.
    void reset_world() {
        running = true;
        fake_clock::reset();
        fake_peermsg::reset();
        fake_log::reset(rfcd::log_mask_none);
        for (const char* path : {rfcd::flag_files::widsd_pid, rfcd::flag_files::notify,
                                 rfcd::flag_files::hostapd_started, rfcd::flag_files::widsd_started,
                                 rfcd::flag_files::config_updated,
                                 rfcd::flag_files::timezone_changed, rfcd::flag_files::connected}) {
            std::filesystem::remove(path);
        }
        touch(rfcd::flag_files::hostapd_pid);
        drv = std::make_unique<scripted_driver>(&running);
    }
    static void touch(const char* path) { lab::write_file(path, ""); }
    static bool there(const char* path) { return std::filesystem::exists(path); }
    static rfcd::json_reader read(const std::string& text) {
        return rfcd::json_reader(text.c_str());
    }

    rfcd::running_flag running = true;
    std::unique_ptr<scripted_driver> drv;
};

class RrmTest : public RrmMemberTest {
  protected:
    RrmTest() { renew(); }

    // A fresh worker in a fresh world, with empty queues.
    void renew() {
        worker.reset();
        drain(in);
        drain(out);
        reset_world();
        make_worker(std::chrono::milliseconds{0});
    }
    void make_worker(std::chrono::milliseconds idle_wait) {
        rfcd::rrm_tuning tuning;
        tuning.idle_wait = idle_wait;
        worker = std::make_unique<rfcd::rrm_worker>(*drv, rfcd::service_queues{out, in}, "dom",
                                                    &running, tuning);
    }

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
    // The commands that were sent since the last call: "subscribe-request rrm-response with
    // neighbours ".
    std::string sent() {
        std::string commands;
        for (const auto& text : drain(out)) {
            commands += read(text).get_string("cmd");
            commands += text.find("bssid") != std::string::npos ? " with neighbours " : " ";
        }
        return commands;
    }
    // What the worker asks of the driver because of a message, and the commands that it sends.
    std::string effects_of(const std::string& message) {
        receive(message);
        return drv->take() + sent();
    }

    rfcd::safe_queue in;
    rfcd::safe_queue out;
    std::unique_ptr<rfcd::rrm_worker> worker;
};
