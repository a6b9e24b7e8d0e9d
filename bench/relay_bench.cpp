#include <iterator>
#include <memory>
#include <stdexcept>

#include "bench/benchmarks.h"
#include "bench/ready_service.h"
#include "lab/roaming_world.h"

namespace bench {

namespace {

using namespace lab;
using clock_type = std::chrono::steady_clock;

constexpr int rounds = 5;

struct load {
    const char* name;
    std::size_t size;
    int count;
};

// Each load fits into what the bus keeps for a slow peer.
constexpr load loads[] = {{"200 B", 200, 60'000},
                          {"4 KB", 4'000, 8'000},
                          {"64 KB", 64'000, 600},
                          {"1 MB", 1'000'000, 40}};

struct cost {
    double seconds;
    double processor_seconds;
};

// JSON, as the services speak it.
std::string message_of(const load& l) {
    const std::string head = R"({"service":"roaming","cmd":"bench","text":")";
    const std::string tail = "\"}";
    return head + std::string(l.size - head.size() - tail.size(), 'x') + tail;
}

enum class relay { daemon, bare, node };

struct contender {
    relay which;
    std::string library;  // the folder of the WebSocket library; empty for Debian's
};

// The bus, the service, peer 3, and the relay between them.
class arena {
  public:
    explicit arena(const contender& c)
        : story_(nullptr), broker_(story_), peer_(story_, "peer 3", roaming_module) {
        peer_.narrate(false);
        start(c);
        if (!service_.wait_connections(1)) throw std::runtime_error("no relay came");

        // One message must pass before anything is measured.
        const bool relays = wait_until([&] {
            peer_.send_quietly(bridge_module, "warm");
            return service_.wait_messages(1, 100ms);
        });
        if (!relays) {
            throw std::runtime_error("the relay does not relay: " + read_file(output_path));
        }
        std::this_thread::sleep_for(300ms);
    }

    cost to_service(const load& l) {
        const std::string text = message_of(l);
        const long before = wake_up();
        return measure([&] {
            for (int i = 0; i < l.count; ++i) peer_.send_quietly(bridge_module, text);
            return service_.wait_messages(before + l.count, 60s);
        });
    }

    cost to_bus(const load& l) {
        const std::string frame = ready_frame(message_of(l));
        std::string frames;
        frames.reserve(frame.size() * static_cast<std::size_t>(l.count));
        for (int i = 0; i < l.count; ++i) frames += frame;

        wake_up();
        return measure([&] {
            service_.send(frames);
            return wait_until([&] { return peer_.received().size() >= unsigned(l.count); }, 60s);
        });
    }

  private:
    static constexpr const char* output_path = "/tmp/relay.out";

    void start(const contender& c) {
        const std::vector<std::string> on_library{"env", "LD_LIBRARY_PATH=" + c.library};
        const std::string url = loopback_url(service_.port(), "/x");
        std::vector<std::string> command;
        switch (c.which) {
            case relay::daemon:
                daemon_ = std::make_unique<lab::daemon>(
                    story_,
                    lab::daemon::settings{{"roam_service_url", url},
                                          {"initial_connection_delay", "1"}},
                    on_library);
                return;
            case relay::bare:
                command = on_library;
                command.insert(command.end(), {BARE_RELAY, std::to_string(service_.port())});
                break;
            case relay::node:
                command = {"env", "NODE_PATH=/usr/share/nodejs", "node", NODE_RELAY, url};
                break;
        }
        other_ = std::make_unique<child_process>(command, output_path);
    }

    // An idle daemon polls the bus only every 100 ms, so the relay is woken before the clock
    // starts. Returns the number of messages at the service so far.
    long wake_up() {
        const long before = service_.messages();
        peer_.received().clear();
        peer_.send_quietly(bridge_module, "go");
        service_.send(ready_frame("go"));
        if (!service_.wait_messages(before + 1, 1s) || !peer_.received().take_matching(is_go, 1s)) {
            throw std::runtime_error("the relay does not relay");
        }
        return before + 1;
    }
    static bool is_go(const bus_peer::message& m) { return m.text == "go"; }

    // How long `transfer` takes, and how much processor time of the relay.
    template <typename Transfer>
    cost measure(const Transfer& transfer) {
        const pid_t pid = (daemon_ ? daemon_->process() : *other_).pid();
        const double processor = cpu_seconds(pid);
        const auto start = clock_type::now();
        if (!transfer()) throw std::runtime_error("messages were lost");
        const std::chrono::duration<double> time = clock_type::now() - start;
        return {time.count(), cpu_seconds(pid) - processor};
    }

    transcript story_;
    bus_broker broker_;
    bus_peer peer_;
    ready_service service_;
    std::unique_ptr<lab::daemon> daemon_;
    std::unique_ptr<child_process> other_;
};

// Messages per second for small loads, megabytes per second for large ones.
double rate(const load& l, double seconds) {
    const auto amount = l.size < 10'000 ? static_cast<double>(l.count)
                                        : static_cast<double>(l.size) * l.count / 1e6;
    return amount / seconds;
}

// The measurements of one contender with one load in one direction.
struct runs {
    std::vector<double> rates;
    std::vector<double> microseconds;  // of processor time per message

    void add(const load& l, const cost& c) {
        rates.push_back(rate(l, c.seconds));
        microseconds.push_back(c.processor_seconds * 1e6 / l.count);
    }
};

struct both_ways {
    runs to_service[std::size(loads)];
    runs to_bus[std::size(loads)];
};

std::string patched_library;

std::vector<contender> contenders() {
    std::vector<contender> all{{relay::daemon, ""}, {relay::bare, ""}, {relay::node, ""}};
    if (!patched_library.empty()) {
        all.push_back({relay::daemon, patched_library});
        all.push_back({relay::bare, patched_library});
    }
    return all;
}

// Contenders take turns, so that a change of the machine's speed affects all of them.
std::vector<both_ways> measure_all(const std::vector<contender>& all) {
    std::vector<both_ways> measured(all.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < all.size(); ++i) {
            arena place(all[i]);
            for (std::size_t k = 0; k < std::size(loads); ++k) {
                measured[i].to_service[k].add(loads[k], place.to_service(loads[k]));
                measured[i].to_bus[k].add(loads[k], place.to_bus(loads[k]));
            }
        }
    }
    return measured;
}

// The median of the values that `values` picks for each contender, and the ratios between them.
template <typename Values>
std::vector<double> row_of(const std::vector<both_ways>& measured, const Values& values) {
    const auto value = [&](std::size_t who) { return median(values(measured[who])); };
    std::vector<double> row{value(0), value(1), value(2), value(0) / value(1), value(0) / value(2)};
    if (measured.size() > 3) {
        row.insert(row.end(), {value(3), value(4), value(3) / value(4), value(3) / value(2)});
    }
    return row;
}

void show(results& r, const std::string& direction, const std::vector<both_ways>& measured,
          runs (both_ways::*way)[std::size(loads)]) {
    std::vector<std::string> columns{"daemon", "bare", "node", "daemon/bare", "daemon/node"};
    if (measured.size() > 3) {
        columns.insert(columns.end(), {"patched", "bare patched", "patched/bare", "patched/node"});
    }
    r.table("roaming relay, " + direction, columns);
    for (std::size_t k = 0; k < std::size(loads); ++k) {
        const bool small = loads[k].size < 10'000;
        r.row(std::string(loads[k].name) + (small ? ", messages/s" : ", MB/s"),
              row_of(measured, [&](const both_ways& m) { return (m.*way)[k].rates; }));
    }
    for (std::size_t k = 0; k < std::size(loads); ++k) {
        r.row(std::string(loads[k].name) + ", processor us",
              row_of(measured, [&](const both_ways& m) { return (m.*way)[k].microseconds; }));
    }
}

}  // namespace

void use_patched_library(const std::string& folder) { patched_library = folder; }

void measure_relay(results& r) {
    const auto measured = measure_all(contenders());
    show(r, "bus to service", measured, &both_ways::to_service);
    show(r, "service to bus", measured, &both_ways::to_bus);
    r.note("bare: the WebSocket library and the bus in one thread, and nothing else");
    r.note("processor us: processor time of that process per message");
    if (!patched_library.empty()) {
        r.note("patched: the daemon on libwebsockets with our patches, beside bare on the same");
    }
}

}  // namespace bench
