// Plays a script against an rrm_worker and makes its passes as its loop would. A line is
//   >"CMD",REST   a message of the service, without the envelope
//   +  -          the link is connected, disconnected
//   tN            N seconds pass
//   h  w          hostapd, widsd comes or goes
//   nX            a notify file: h(ostapd started), w(idsd started), c(onfiguration), t(ime zone)
//   =X...         changes what the driver, or the system under it, returns; see the target
//   other         a message, used as it is
#pragma once

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "fuzz/fuzz.h"
#include "harness/child_process.h"
#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/queues.h"
#include "main/logging.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_worker.h"

namespace fuzz {

namespace files = rfcd::flag_files;

class rrm_session {
  public:
    // Resets the fakes and the files: hostapd runs, and nothing else has happened.
    static void start_over() {
        fake_clock::reset();
        fake_log::reset(rfcd::log_mask_all);
        for (const char* path :
             {files::widsd_pid, files::notify, files::hostapd_started, files::widsd_started,
              files::config_updated, files::timezone_changed, files::connected}) {
            files::remove(path);
        }
        files::create(files::hostapd_pid);
    }

    explicit rrm_session(rfcd::driver_interface& drv) {
        rfcd::rrm_tuning tuning;
        tuning.idle_wait = std::chrono::milliseconds{0};
        worker_ = std::make_unique<rfcd::rrm_worker>(drv, rfcd::service_queues{out_, in_}, "dom",
                                                     &running_, tuning);
    }
    rrm_session(const rrm_session&) = delete;
    rrm_session& operator=(const rrm_session&) = delete;
    ~rrm_session() {
        running_ = false;
        if (active_) worker_->on_stop();
    }

    const rfcd::running_flag& running() const { return running_; }
    bool hostapd_went() const { return hostapd_went_; }

    // `change` gets what follows "=". False when the process would end, as docs/limits.md says.
    template <typename Change>
    bool play(std::string_view line, const Change& change) {
        std::string_view rest = line;
        switch (cut_character(rest)) {
            case '>':
                receive(R"({"version":"2.4","service":"rrm","cmd":)" + std::string(rest) + "}");
                break;
            case '+': receive(R"({"service":"internal-ipc","cmd":"connected"})"); break;
            case '-': receive(R"({"service":"internal-ipc","cmd":"disconnected"})"); break;
            case 't': fake_clock::advance(std::clamp(cut_number<int>(rest), 0, 100'000)); break;
            case 'h': hostapd_went_ = flip(files::hostapd_pid) || hostapd_went_; break;
            case 'w': flip(files::widsd_pid); break;
            case 'n': notify(cut_character(rest)); break;
            case '=': change(rest); break;
            default: receive(std::string(line));
        }
        return pass();
    }

    // Makes one turn of the worker's loop and checks what the worker sent.
    bool pass() {
        try {
            if (!active_) active_ = worker_->start_check();
            const bool stays = active_ && worker_->keep_running(&running_);
            if (stays) worker_->process();
            if (active_ && !stays) worker_->on_stop();
            active_ = stays;
        } catch (const std::logic_error& failure) {
            require(is_listed(failure), "the exception is a listed one", failure.what());
            return false;
        }
        look_at_sent();
        fake_log::take();
        return true;
    }

  private:
    // A band without channels to scan, or a configured number that is not a number.
    static bool is_listed(const std::logic_error& failure) {
        const bool no_channels =
            typeid(failure) == typeid(std::out_of_range) && what_is(failure, "map::at");
        return no_channels || what_is(failure, "stoi");
    }
    static bool what_is(const std::logic_error& failure, const char* text) {
        return std::strcmp(failure.what(), text) == 0;
    }

    void receive(const std::string& text) { in_.push(buffer_of(text)); }

    // Removes the file if it is there, and makes it otherwise. True when it was removed.
    static bool flip(const char* path) {
        if (files::consume(path)) return true;
        files::create(path);
        return false;
    }

    void notify(char what) {
        constexpr struct {
            char letter;
            const char* path;
        } rows[] = {{'h', files::hostapd_started},
                    {'w', files::widsd_started},
                    {'c', files::config_updated},
                    {'t', files::timezone_changed}};
        for (const auto& row : rows) {
            if (row.letter == what) files::create(row.path);
        }
        files::create(files::notify);
        hostapd_went_ = hostapd_went_ || what == 'w';  // widsd takes its place
    }

    // A pass sends few messages, each whole and with its envelope.
    void look_at_sent() {
        constexpr std::size_t most = 12;  // for a message, one that was put aside, and all timers
        const auto sent = drain(out_);
        require(sent.size() <= most, "a pass sends few messages");
        for (const auto& text : sent) {
            const rfcd::json_reader message(text.c_str());
            require(message.is_object(), "what is sent is an object", text);
            for (const char* key : {"version", "service", "cmd"}) {
                require(message.get_string(key) != nullptr, "what is sent has its envelope", text);
            }
        }
    }

    rfcd::running_flag running_ = true;
    rfcd::safe_queue in_;
    rfcd::safe_queue out_;
    std::unique_ptr<rfcd::rrm_worker> worker_;
    bool active_ = false;
    bool hostapd_went_ = false;
};

}  // namespace fuzz
