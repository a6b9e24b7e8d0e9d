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

    // Seconds for `l` from the bus to the service.
    double to_service(const load& l) {
        clear();
        const std::string text(l.size, 'x');
        const auto start = clock_type::now();
        for (int i = 0; i < l.count; ++i) peer_.send_quietly(bridge_module, text);
        return since(
            start, wait_until([&] { return cloud_.received().size() >= unsigned(l.count); }, 60s));
    }

    double to_bus(const load& l) {
        clear();
        const auto start = clock_type::now();
        cloud_.send_many(std::string(l.size, 'x'), l.count);
        return since(start,
                     wait_until([&] { return peer_.received().size() >= unsigned(l.count); }, 60s));
    }

    // The bare library in place of a relay; its process is started anew for every run, and the
    // clock runs from its connection on.
    double bare_sends(const load& l) {
        clear();
        const unsigned before = cloud_.connections_so_far();
        const child_process client({BARE_CLIENT, std::to_string(cloud_.port()), "send",
                                    std::to_string(l.count), std::to_string(l.size)},
                                   "/tmp/bare.out");
        cloud_.wait_connections(before + 1);
        const auto start = clock_type::now();
        return since(
            start, wait_until([&] { return cloud_.received().size() >= unsigned(l.count); }, 60s));
    }

    double bare_receives(const load& l) {
        clear();
        const unsigned before = cloud_.connections_so_far();
        const child_process client(
            {BARE_CLIENT, std::to_string(cloud_.port()), "receive", std::to_string(l.count)},
            "/tmp/bare.out");
        cloud_.wait_connections(before + 1);
        const auto start = clock_type::now();
        cloud_.send_many(std::string(l.size, 'x'), l.count);
        return since(start, cloud_.received().take(60s).has_value());
    }

  private:
    void clear() {
        cloud_.received().clear();
        peer_.received().clear();
    }
    static double since(clock_type::time_point start, bool complete) {
        if (!complete) throw std::runtime_error("messages were lost");
        return std::chrono::duration<double>(clock_type::now() - start).count();
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

using measurement = double (arena::*)(const load&);

// The three in turn, so that the machine's moods meet them alike.
void measure_direction(results& r, const char* title, measurement relayed, measurement bare) {
    r.table(title, {"daemon", "limit", "node", "daemon/limit", "daemon/node"});
    for (const auto& l : loads) {
        std::vector<double> rates[3];
        for (int round = 0; round < rounds; ++round) {
            rates[0].push_back(rate(l, (arena(relay::daemon).*relayed)(l)));
            rates[1].push_back(rate(l, (arena(relay::none).*bare)(l)));
            rates[2].push_back(rate(l, (arena(relay::node).*relayed)(l)));
        }
        const double own = median(rates[0]);
        const double limit = median(rates[1]);
        const double node = median(rates[2]);
        r.row(std::string(l.name) + (l.size < 10'000 ? ", messages/s" : ", MB/s"),
              {own, limit, node, own / limit, own / node});
    }
}

}  // namespace

void measure_relay(results& r) {
    measure_direction(r, "roaming relay, bus to service", &arena::to_service, &arena::bare_sends);
    measure_direction(r, "roaming relay, service to bus", &arena::to_bus, &arena::bare_receives);
    r.note("limit: the bare WebSocket library that only sends, or only receives; no bus");
}

}  // namespace bench
