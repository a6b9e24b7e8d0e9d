// The cost of idle daemons: one, and two hundred.
#include <filesystem>
#include <stdexcept>

#include "bench/benchmarks.h"
#include "lab/roaming_world.h"
#include "lab/service_world.h"

namespace bench {

namespace {

using namespace lab;
using clock_type = std::chrono::steady_clock;

constexpr auto idle_time = 20s;
constexpr int fleet_size = 200;

void measure_idle_one(results& r, const char* mode, pid_t pid) {
    std::this_thread::sleep_for(2s);

    const double cpu = cpu_seconds(pid);
    const long switches = context_switches(pid);
    std::this_thread::sleep_for(idle_time);

    const double seconds = std::chrono::duration<double>(idle_time).count();
    const auto fds = std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd");
    r.row(mode, {(cpu_seconds(pid) - cpu) / seconds * 100,
                 static_cast<double>(context_switches(pid) - switches) / seconds,
                 static_cast<double>(status_kilobytes(pid, "VmRSS")) / 1000,
                 static_cast<double>(memory_of(pid).own) / 1000,
                 static_cast<double>(status_kilobytes(pid, "Threads")),
                 static_cast<double>(std::distance(begin(fds), end(fds)))});
}

using daemons = std::vector<std::unique_ptr<lab::daemon>>;

daemons start_fleet(transcript& story, std::uint16_t port) {
    daemons fleet;
    for (int i = 0; i < fleet_size; ++i) {
        const std::string folder = "/tmp/daemon-" + std::to_string(i);
        std::filesystem::create_directories(folder);
        fleet.push_back(std::make_unique<lab::daemon>(
            story,
            lab::daemon::settings{{"mac-list-service-url", loopback_url(port, "/mac-lists")},
                                  {"initial_connection_delay", "5"},
                                  {"max_connection_delay", "60"}},
            std::vector<std::string>{}, folder));
    }
    return fleet;
}

// When each daemon of the fleet came back after all were dropped, in seconds, for a minute at most.
std::vector<double> times_of_return(const cloud_service& cloud) {
    const auto start = clock_type::now();
    std::vector<double> returns;

    while (returns.size() < fleet_size && clock_type::now() - start < 60s) {
        const auto back = cloud.connections_so_far() - fleet_size;
        const double now = std::chrono::duration<double>(clock_type::now() - start).count();
        while (returns.size() < back) returns.push_back(now);
        std::this_thread::sleep_for(10ms);
    }
    return returns;
}

// The largest number of values within one second; the values ascend.
std::size_t most_in_one_second(const std::vector<double>& seconds) {
    std::size_t most = 0;
    for (std::size_t i = 0, j = 0; i < seconds.size(); ++i) {
        while (seconds[i] - seconds[j] > 1) ++j;
        most = std::max(most, i - j + 1);
    }
    return most;
}

}  // namespace

void measure_idle(results& r) {
    r.table("idle and connected, 20 s",
            {"% of a core", "wake-ups/s", "resident MB", "own MB", "threads", "descriptors"});
    transcript story(nullptr);

    {
        roaming_world::options options;
        options.log_level = "1";
        roaming_world world(story, options);
        world.wait_linked();
        measure_idle_one(r, "roaming", world.agent->process().pid());
    }

    for (const auto which : {service_world::service::rrm, service_world::service::wids}) {
        const bool rrm = which == service_world::service::rrm;
        service_world world(story, which);
        world.point.start_hostapd();
        world.start_daemon({{"log_level", "1"}});
        world.cloud.wait_connections(1);
        if (rrm) {
            world.expect("subscribe-request");
            world.cloud.send(message::subscribed());
            wait_until(is_connected_flag_set);
        }
        measure_idle_one(r, rrm ? "RRM, subscribed" : "WIDS", world.agent->process().pid());
        world.agent->stop();
    }
}

void measure_fleet(results& r) {
    transcript story(nullptr);
    const bus_broker broker(story);
    cloud_service cloud(story);
    cloud.narrate(false);
    write_file("/tmp/factory", "MAC: 00:11:22:33:44:50\n");
    const daemons fleet = start_fleet(story, cloud.port());
    if (!wait_until([&] { return cloud.connected() == fleet_size; }, 60s)) {
        throw std::runtime_error("the fleet did not connect");
    }

    double own = 0;
    double share = 0;
    for (const auto& d : fleet) {
        const auto memory = memory_of(d->process().pid());
        own += static_cast<double>(memory.own) / 1000;
        share += static_cast<double>(memory.proportional) / 1000;
    }

    cloud.reset_all();
    const auto returns = times_of_return(cloud);

    r.table("200 daemons, dropped all at once",
            {"back", "first s", "median s", "last s", "most in 1 s", "own MB", "share MB"});
    r.row("delay 5, started at once",
          {static_cast<double>(returns.size()), percentile(returns, 0), median(returns),
           percentile(returns, 1), static_cast<double>(most_in_one_second(returns)), own, share});
    r.note("own and share: of all 200 together");
}

}  // namespace bench
