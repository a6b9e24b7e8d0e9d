// The access point kept up for a person to play with.
#include <atomic>
#include <deque>
#include <iostream>
#include <sstream>
#include <thread>

#include "lab/child_process.h"
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
        world_.agent->stop();
    }

    void help() const {
        story_.add("", "", "{...}                  send this JSON message to the daemon");
        for (const auto& w : words) {
            story_.add(
                "", "",
                std::string(w.word).append(23 - std::string(w.word).size(), ' ') + w.meaning);
        }
        story_.add("", "", "quit                   end everything");
    }

    void obey(const std::string& line) {
        if (line.empty()) return;
        if (line.front() == '{' || line.front() == '[') {
            world_.cloud.send(line);
            return;
        }
        for (const auto& w : words) {
            const std::string word = w.word;
            if (line != word && line.rfind(word + " ", 0) != 0) continue;
            std::istringstream rest(line.substr(word.size()));
            (this->*w.act)(rest);
            return;
        }
        if (line == "help") {
            help();
        } else {
            story_.add("", "", "no such word; \"help\" lists them");
        }
    }

  private:
    struct row {
        const char* word;
        const char* meaning;
        void (playground::*act)(std::istream& rest);
    };
    static const row words[17];

    // As a service that accepts every access point would.
    void answer_subscriptions() {
        while (!stopping_) {
            const auto message = world_.cloud.received().take(100ms);
            if (!message) continue;
            if (message->find("\"subscribe-request\"") != std::string::npos) {
                world_.cloud.send(message::subscribed());
            }
            for (const auto& line : describe_radios(*message)) story_.add("", "", line);
            if (message->find("\"rf-environment\"") == std::string::npos) continue;
            for (const auto& line : describe_environment(*message)) story_.add("", "", line);
        }
    }

    void update(std::istream&) { world_.cloud.send(message::update(true)); }
    void scan(std::istream&) { world_.cloud.send(message::update(false)); }
    void mode(std::istream&) { world_.cloud.send(message::request_mode()); }
    void info(std::istream&) { world_.cloud.send(message::move_radio(1, 44, 80, "ul", 14)); }
    void neighbour(std::istream&) {
        world_.cloud.send(message::neighbour("02:00:00:00:05:15", 36, 5));
    }
    void fbt(std::istream&) {
        world_.cloud.send(message::use_80211r(true));
        world_.cloud.send(message::fast_transition(1, 0, 2));
    }
    void later(std::istream&) { world_.cloud.send(message::try_later()); }
    void drop(std::istream&) { world_.cloud.reset_all(); }
    void down(std::istream&) { world_.cloud.go_down(); }
    void up(std::istream&) { world_.cloud.come_up(); }
    void hostapd_stop(std::istream&) { world_.point.stop_hostapd(); }
    void hostapd_start(std::istream&) { world_.point.start_hostapd(); }
    void notify(std::istream& rest) {
        std::string name;
        rest >> name;
        access_point::notify(name);
    }
    void set(std::istream& rest) {
        std::string path;
        std::string value;
        rest >> path >> value;
        world_.point.store.set(path, value);
    }
    void list(std::istream& rest) {
        std::string ifname;
        rest >> ifname;
        story_.add("hostapd", "", world_.point.neighbours(ifname));
    }
    void shell(std::istream& rest) {
        std::string command;
        std::getline(rest, command);
        child_process child({"sh", "-c", command}, "/tmp/sh.out");
        const auto status = child.wait(60s);
        std::istringstream all(read_file("/tmp/sh.out"));
        for (std::string line; std::getline(all, line);) story_.add("sh", "", line);
        if (!status) {
            story_.add("sh", "", "ended: it took more than a minute");
        } else if (*status != 0) {
            story_.add("sh", "", "status " + std::to_string(*status));
        }
    }
    // The library's own lines are too many to read.
    void log(std::istream& rest) {
        std::size_t most = 20;
        rest >> most;
        std::istringstream all(world_.agent->log());
        std::deque<std::string> last;
        for (std::string line; std::getline(all, line);) {
            if (line.find("libwebsocket-debug") != std::string::npos) continue;
            last.push_back(line);
            if (last.size() > most) last.pop_front();
        }
        for (const auto& line : last) story_.add("rfcd", "", line);
    }

    transcript& story_;
    service_world world_;
    std::atomic<bool> stopping_ = false;
    std::thread listener_;
};

const playground::row playground::words[] = {
    {"update", "active sweeps, one channel a band, and their report", &playground::update},
    {"scan", "one RRM scan, and its report", &playground::scan},
    {"mode", "ask for the description of the radios", &playground::mode},
    {"info", "move wlan1 to channel 44 and set its power", &playground::info},
    {"neighbour", "an 802.11k neighbour for the VAPs \"office\" of 5 GHz", &playground::neighbour},
    {"fbt", "fast transition on, with two remote key holders", &playground::fbt},
    {"later", "answer a subscription with code 503", &playground::later},
    {"drop", "reset the connection", &playground::drop},
    {"down", "the service goes away", &playground::down},
    {"up", "the service comes back", &playground::up},
    {"hostapd stop", "hostapd ends, its pid file goes", &playground::hostapd_stop},
    {"hostapd start", "hostapd comes back, and says so", &playground::hostapd_start},
    {"notify", "NAME: touch a notify file, such as config_updated", &playground::notify},
    {"set", "PATH VALUE: change the configuration store", &playground::set},
    {"list", "IFNAME: the neighbours that hostapd holds", &playground::list},
    {"log", "[LINES]: the end of the daemon's log", &playground::log},
    {"sh", "COMMAND: run a shell line beside the daemon", &playground::shell},
};

}  // namespace

int stay(transcript& story) {
    playground here(story);
    here.help();
    for (std::string line; std::getline(std::cin, line) && line != "quit";) here.obey(line);
    return 0;
}

}  // namespace lab
