#include <csignal>
#include <memory>
#include <stdexcept>

#include "bench/benchmarks.h"
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

// Each within what the bus keeps for a peer that falls behind.
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

enum class relay { daemon, node, none };

// The bus, the service, peer 3, and whatever relays between them.
class arena {
  public:
    explicit arena(relay which)
        : story_(nullptr), broker_(story_), peer_(story_, "peer 3", 3), cloud_(story_) {
        cloud_.narrate(false);
        peer_.narrate(false);
        if (which == relay::daemon) {
            daemon_ = std::make_unique<lab::daemon>(
                story_,
                lab::daemon::settings{{"roam_service_url", loopback_url(cloud_.port(), "/x")},
                                      {"initial_connection_delay", "1"}});
        } else if (which == relay::node) {
            other_ = std::make_unique<child_process>(
                std::vector<std::string>{"env", "NODE_PATH=/usr/share/nodejs", "node", NODE_RELAY,
                                         loopback_url(cloud_.port(), "/x")},
                "/tmp/node.out");
        }
        if (which == relay::none) return;
        if (!cloud_.wait_connections(1)) throw std::runtime_error("no relay came");
        // Once through, both ways, before anything is measured.
        if (!wait_until([&] {
                peer_.send_quietly(bridge_module, "warm");
                return cloud_.received().take(100ms).has_value();
            })) {
            throw std::runtime_error("the relay does not relay: " + read_file("/tmp/node.out"));
        }
        std::this_thread::sleep_for(300ms);
        clear();
    }

    // `l` from the bus to the service.
    cost to_service(const load& l) {
        clear();
        const std::string text = message_of(l);
        // After a rest, the bridge looks at the bus after up to 100 ms: the clock starts behind
        // that.
        peer_.send_quietly(bridge_module, "go");
        if (!cloud_.received().take(1s)) throw std::runtime_error("the relay does not relay");
        return measure(relay_pid(), [&] {
            for (int i = 0; i < l.count; ++i) peer_.send_quietly(bridge_module, text);
            return at_service(l);
        });
    }

    cost to_bus(const load& l) {
        clear();
        return measure(relay_pid(), [&] {
            cloud_.send_many(message_of(l), l.count);
            return wait_until([&] { return peer_.received().size() >= unsigned(l.count); }, 60s);
        });
    }

    // The bare library in place of a relay; its process is started anew for every run, and the
    // clock runs from its connection on.
    cost bare_sends(const load& l) {
        const auto client = bare_client({"send", std::to_string(l.count), std::to_string(l.size)});
        return measure(client->pid(), [&] { return at_service(l); });
    }

    cost bare_receives(const load& l) {
        const auto client = bare_client({"receive", std::to_string(l.count)});
        return measure(client->pid(), [&] {
            cloud_.send_many(message_of(l), l.count);
            return cloud_.received().take(60s).has_value();
        });
    }

  private:
    void clear() {
        cloud_.received().clear();
        peer_.received().clear();
    }
    pid_t relay_pid() const { return (daemon_ ? daemon_->process() : *other_).pid(); }
    bool at_service(const load& l) {
        return wait_until([&] { return cloud_.received().size() >= unsigned(l.count); }, 60s);
    }
    std::unique_ptr<child_process> bare_client(std::vector<std::string> arguments) {
        clear();
        const unsigned before = cloud_.connections_so_far();
        arguments.insert(arguments.begin(), {BARE_CLIENT, std::to_string(cloud_.port())});
        auto client = std::make_unique<child_process>(arguments, "/tmp/bare.out");
        cloud_.wait_connections(before + 1);
        return client;
    }
    // What `transfer` takes of the clock and of the processor time of `pid`.
    template <typename Transfer>
    static cost measure(pid_t pid, const Transfer& transfer) {
        const double processor = cpu_seconds(pid);
        const auto start = clock_type::now();
        if (!transfer()) throw std::runtime_error("messages were lost");
        const std::chrono::duration<double> time = clock_type::now() - start;
        return {time.count(), cpu_seconds(pid) - processor};
    }

    transcript story_;
    bus_broker broker_;
    bus_peer peer_;
    cloud_service cloud_;
    std::unique_ptr<lab::daemon> daemon_;
    std::unique_ptr<child_process> other_;
};

// Messages a second of small loads, megabytes a second of large ones.
double rate(const load& l, double seconds) {
    const auto amount = l.size < 10'000 ? static_cast<double>(l.count)
                                        : static_cast<double>(l.size) * l.count / 1e6;
    return amount / seconds;
}

using measurement = cost (arena::*)(const load&);

struct runs {
    std::vector<double> rates;
    std::vector<double> microseconds;  // of the processor, a message
    void add(const load& l, const cost& c) {
        rates.push_back(rate(l, c.seconds));
        microseconds.push_back(c.processor_seconds * 1e6 / l.count);
    }
};

// The three in turn, so that the machine's moods meet them alike.
void measure_direction(results& r, const char* title, measurement relayed, measurement bare) {
    r.table(title, {"daemon", "limit", "node", "daemon/limit", "daemon/node", "daemon us",
                    "limit us", "node us"});
    for (const auto& l : loads) {
        runs own;
        runs limit;
        runs node;
        for (int round = 0; round < rounds; ++round) {
            own.add(l, (arena(relay::daemon).*relayed)(l));
            limit.add(l, (arena(relay::none).*bare)(l));
            node.add(l, (arena(relay::node).*relayed)(l));
        }
        const double rates[] = {median(own.rates), median(limit.rates), median(node.rates)};
        r.row(std::string(l.name) + (l.size < 10'000 ? ", messages/s" : ", MB/s"),
              {rates[0], rates[1], rates[2], rates[0] / rates[1], rates[0] / rates[2],
               median(own.microseconds), median(limit.microseconds), median(node.microseconds)});
    }
}

}  // namespace

void measure_relay(results& r) {
    measure_direction(r, "roaming relay, bus to service", &arena::to_service, &arena::bare_sends);
    measure_direction(r, "roaming relay, service to bus", &arena::to_bus, &arena::bare_receives);
    r.note("limit: the bare WebSocket library that only sends, or only receives; no bus");
    r.note("us: processor time of that process, a message");
}

}  // namespace bench
