// An access point that a person controls by typing.
#include <algorithm>
#include <atomic>
#include <charconv>
#include <deque>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string_view>
#include <thread>
#include <utility>

#include "harness/child_process.h"
#include "lab/rf_picture.h"
#include "lab/rrm_report.h"
#include "lab/scenarios.h"
#include "lab/service_world.h"

namespace lab {

namespace {

class playground {
  public:
    explicit playground(transcript& story)
        : story_(story), world_(story, service_world::service::rrm) {
        world_.point.start_hostapd();
        world_.start_daemon();
        world_.cloud.wait_connections(1);
        listener_ = std::thread([this] { answer_subscriptions(); });
    }
    playground(const playground&) = delete;
    playground& operator=(const playground&) = delete;
    ~playground() {
        stopping_ = true;
        listener_.join();
        if (world_.agent->process().running()) world_.agent->stop();
    }

    void help() const {
        story_.add("", "", "{...}                  send this JSON message to the daemon");
        for (const auto& w : words) story_.add("", "", usage_of(w));
        story_.add("", "", "quit                   end everything");
    }

    void obey(const std::string& line) {
        if (line.empty()) return;
        if (line.front() == '{' || line.front() == '[') {
            world_.cloud.send(line);
            return;
        }
        if (line == "help") {
            help();
            return;
        }

        for (const auto& w : words) {
            const std::string word = w.word;
            if (line != word && line.rfind(word + " ", 0) != 0) continue;

            const auto rest = arguments{line.substr(word.size())};
            const bool misused = rest.empty() ? w.needs_argument : *w.argument == '\0';
            if (misused || !(this->*w.act)(rest)) story_.add("", "", "usage: " + usage_of(w));
            return;
        }
        story_.add("", "", "no such word; \"help\" lists them");
    }

  private:
    // The rest of a line after its word, without the blanks around it.
    class arguments {
      public:
        explicit arguments(const std::string& text) {
            const auto first = text.find_first_not_of(" \t");
            if (first == std::string::npos) return;
            text_ = text.substr(first, text.find_last_not_of(" \t") - first + 1);
        }
        bool empty() const { return text_.empty(); }
        const std::string& whole() const { return text_; }
        std::string first() const { return text_.substr(0, text_.find_first_of(" \t")); }
        // Everything after the first argument.
        arguments after_first() const { return arguments{text_.substr(first().size())}; }

      private:
        std::string text_;
    };

    struct row {
        const char* word;
        const char* argument;  // how the help names it; empty for a word without one
        bool needs_argument;
        const char* meaning;
        bool (playground::*act)(const arguments& rest);  // false when it was misused
    };
    static const row words[20];

    static std::string usage_of(const row& w) {
        std::string usage = w.word;
        if (*w.argument != '\0') usage += std::string(" ") + w.argument;
        usage.resize(std::max<std::size_t>(usage.size() + 1, 23), ' ');
        return usage + w.meaning;
    }

    // Accepts every subscription and prints every report, until the playground ends.
    void answer_subscriptions() {
        while (!stopping_) {
            tell_of_the_end();
            const auto message = world_.cloud.received().take(100ms);
            if (!message) continue;

            if (message->find("\"subscribe-request\"") != std::string::npos) {
                world_.cloud.send(later_.exchange(false) ? message::try_later()
                                                         : message::subscribed());
            }

            for (const auto& line : describe_radios(*message)) story_.add("", "", line);
            if (message->find("\"rf-environment\"") == std::string::npos) continue;
            for (const auto& line : describe_environment(*message)) story_.add("", "", line);
            const std::lock_guard guard(report_lock_);
            last_report_ = *message;
        }
    }

    // Prints a line once for each end of the daemon.
    void tell_of_the_end() {
        const std::lock_guard guard(agent_lock_);
        const auto status = world_.agent->process().status();
        if (!status || std::exchange(ended_, true)) return;
        story_.add("rfcd", "",
                   "ended with status " + std::to_string(*status) +
                       "; \"log\" shows its last lines, \"start\" starts it again");
    }

    bool start(const arguments&) {
        const std::lock_guard guard(agent_lock_);
        if (world_.agent->process().running()) {
            story_.add("rfcd", "", "is running");
            return true;
        }
        world_.start_daemon();
        access_point::notify("hostapd_started");
        ended_ = false;
        return true;
    }

    bool send(const std::string& text) {
        world_.cloud.send(text);
        return true;
    }
    bool update(const arguments&) { return send(message::update(true)); }
    bool scan(const arguments&) { return send(message::update(false)); }
    bool map(const arguments&) {
        const std::lock_guard guard(report_lock_);
        if (last_report_.empty()) {
            story_.add("picture", "", "no report yet; \"update\" and \"scan\" ask for one");
            return true;
        }
        const std::string file = write_picture(last_report_);
        story_.add("picture", "", file.empty() ? "there is no folder \"build\" here" : file);
        return true;
    }
    bool mode(const arguments&) { return send(message::request_mode()); }
    bool info(const arguments&) { return send(message::move_radio(1, 44, 80, "ul", 14)); }
    bool neighbour(const arguments&) {
        return send(message::neighbour("02:00:00:00:05:15", 36, 5));
    }
    bool fbt(const arguments&) {
        return send(message::use_80211r(true)) && send(message::fast_transition(1, 0, 2));
    }
    bool later(const arguments&) {
        later_ = true;
        story_.add("cloud", "", "answers the next subscription with 503");
        return true;
    }
    bool drop(const arguments&) {
        world_.cloud.reset_all();
        return true;
    }
    bool down(const arguments&) {
        world_.cloud.go_down();
        return true;
    }
    bool up(const arguments&) {
        world_.cloud.come_up();
        return true;
    }
    bool hostapd_stop(const arguments&) {
        world_.point.stop_hostapd();
        return true;
    }
    bool hostapd_start(const arguments&) {
        world_.point.start_hostapd();
        return true;
    }
    bool notify(const arguments& rest) {
        constexpr std::string_view names[] = {"hostapd_started", "widsd_started", "config_updated",
                                              "timezone_changed"};
        if (std::find(std::begin(names), std::end(names), rest.whole()) == std::end(names)) {
            return false;
        }
        access_point::notify(rest.whole());
        return true;
    }
    bool get(const arguments& rest) {
        const auto value = world_.point.store.get(rest.whole());
        story_.add("store", "", value.value_or("has no " + rest.whole()));
        return true;
    }
    bool set(const arguments& rest) {
        const auto value = rest.after_first();
        if (value.empty()) return false;
        world_.point.store.set(rest.first(), value.whole());
        return true;
    }
    bool list(const arguments& rest) {
        const std::string neighbours = world_.point.neighbours(rest.whole());
        story_.add("hostapd", "", neighbours.empty() ? "holds no neighbours" : neighbours);
        return true;
    }
    bool shell(const arguments& rest) {
        child_process child({"sh", "-c", rest.whole()}, "/tmp/sh.out");
        const auto status = child.wait(60s);
        std::istringstream all(read_file("/tmp/sh.out"));
        for (std::string line; std::getline(all, line);) story_.add("sh", "", line);

        if (!status) {
            story_.add("sh", "", "ended: it took more than a minute");
        } else if (*status != 0) {
            story_.add("sh", "", "status " + std::to_string(*status));
        }
        return true;
    }
    // Without the lines of the WebSocket library, which are too many to read.
    bool log(const arguments& rest) {
        std::size_t most = 20;
        const char* const end = rest.whole().data() + rest.whole().size();
        if (!rest.empty() && std::from_chars(rest.whole().data(), end, most).ptr != end) {
            return false;
        }

        std::istringstream all(world_.agent->log());
        std::deque<std::string> last;
        for (std::string line; std::getline(all, line);) {
            if (line.find("libwebsocket-debug") != std::string::npos) continue;
            last.push_back(line);
            if (last.size() > most) last.pop_front();
        }

        for (const auto& line : last) story_.add("rfcd", "", line);
        return true;
    }

    transcript& story_;
    service_world world_;
    std::mutex agent_lock_;  // the daemon's process, and whether its end was told
    bool ended_ = false;
    std::mutex report_lock_;
    std::string last_report_;  // the last message with "rf-environment"; guarded by report_lock_
    std::atomic<bool> later_ = false;  // the next subscription is put off
    std::atomic<bool> stopping_ = false;
    std::thread listener_;
};

const playground::row playground::words[] = {
    {"update", "", false, "active sweeps, one channel a band, and their report",
     &playground::update},
    {"scan", "", false, "one RRM scan, and its report", &playground::scan},
    {"map", "", false, "draw the last report as build/rf-environment.svg", &playground::map},
    {"mode", "", false, "ask for the description of the radios", &playground::mode},
    {"info", "", false, "move wlan1 to channel 44 and set its power", &playground::info},
    {"neighbour", "", false, "an 802.11k neighbour for the VAPs \"office\" of 5 GHz",
     &playground::neighbour},
    {"fbt", "", false, "fast transition on, with two remote key holders", &playground::fbt},
    {"later", "", false, "answer the next subscription with code 503", &playground::later},
    {"drop", "", false, "reset the connection", &playground::drop},
    {"down", "", false, "the service goes away", &playground::down},
    {"up", "", false, "the service comes back", &playground::up},
    {"start", "", false, "start the daemon again when it has ended", &playground::start},
    {"hostapd stop", "", false, "hostapd ends, its pid file goes", &playground::hostapd_stop},
    {"hostapd start", "", false, "hostapd comes back, and says so", &playground::hostapd_start},
    {"notify", "NAME", true,
     "touch a notify file: hostapd_started, widsd_started, config_updated, timezone_changed",
     &playground::notify},
    {"get", "PATH", true, "read the configuration store", &playground::get},
    {"set", "PATH VALUE", true, "change the configuration store", &playground::set},
    {"list", "IFNAME", true, "the neighbours that hostapd holds", &playground::list},
    {"log", "[LINES]", false, "the end of the daemon's log", &playground::log},
    {"sh", "COMMAND", true, "run a shell line beside the daemon", &playground::shell},
};

}  // namespace

int stay(transcript& story) {
    playground here(story);
    here.help();
    for (std::string line; std::getline(std::cin, line) && line != "quit";) here.obey(line);
    return 0;
}

}  // namespace lab
