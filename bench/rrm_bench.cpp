#include <functional>
#include <stdexcept>

#include "bench/benchmarks.h"
#include "lab/service_world.h"

namespace bench {

namespace {

using namespace lab;
using clock_type = std::chrono::steady_clock;

double milliseconds_since(clock_type::time_point start) {
    return std::chrono::duration<double, std::milli>(clock_type::now() - start).count();
}

// The median time of one read of the configuration store, over the same bus and from the same
// configd.
double store_read_ms(transcript& story) {
    bus_peer asker(story, "bench", 77);
    asker.narrate(false);
    std::vector<double> times;
    for (int i = 0; i < 500; ++i) {
        const auto start = clock_type::now();
        asker.send_quietly(1, R"({"command":"get","path":"/skylark/dca"})");
        if (!asker.received().take()) throw std::runtime_error("configd does not answer");
        times.push_back(milliseconds_since(start));
    }
    return median(times);
}

struct quiet_world {
    transcript story{nullptr};
    service_world world{story, service_world::service::rrm};

    quiet_world() {
        world.cloud.narrate(false);
        world.point.start_hostapd();
        world.start_daemon({{"log_level", "1"}});
        world.expect("subscribe-request");
        world.cloud.send(message::subscribed());
        wait_until(is_connected_flag_set);
    }
    ~quiet_world() { world.agent->stop(); }
};

std::string large_fbt(int remotes) {
    std::string vaps;
    for (int i = 0; i < 32; ++i) {
        const std::string one = message::fast_transition(i % 3, 0, remotes);
        const auto begin = one.find("\"vaps\":[") + 8;
        vaps += (i == 0 ? "" : ",") + one.substr(begin, one.rfind(']') - begin);
    }

    // Real keys are long: 48 hexadecimal digits and more.
    const std::string filler(120, 'f');
    for (auto at = vaps.find("\"key-"); at != std::string::npos; at = vaps.find("\"key-", at + 1)) {
        vaps.insert(at + 5, filler);
    }
    return message::rrm("fbt-info", R"("fbt-over-ds":1,"vaps":[)" + vaps + "]");
}

std::string scene_of(int neighbours) {
    constexpr struct {
        int band;
        int channel;
    } places[] = {{2, 1}, {5, 36}, {6, 5}};
    std::string list;
    for (int i = 0; i < neighbours; ++i) {
        char row[160];
        std::snprintf(
            row, sizeof row,
            R"(%s{"bssid":"02:00:00:00:%02x:%02x","band":%d,"channel":%d,"width":20,"rssi":-60})",
            i == 0 ? "" : ",", i >> 8, i & 0xff, places[i % 3].band, places[i % 3].channel);
        list += row;
    }
    return "[" + list + "]";
}

// Measures the processor time and the growth of the peak memory for one message to a fresh daemon.
// `work` returns the size of the message.
void measure_one(results& r, const std::string& name, service_world& world,
                 const std::function<std::size_t()>& work) {
    const pid_t pid = world.agent->process().pid();
    const double memory = static_cast<double>(status_kilobytes(pid, "VmHWM"));
    const double cpu = cpu_seconds(pid);
    const auto megabytes = static_cast<double>(work()) / 1e6;
    const double peak = (static_cast<double>(status_kilobytes(pid, "VmHWM")) - memory) / 1000;
    r.row(name, {megabytes, (cpu_seconds(pid) - cpu) * 1000, peak, peak / megabytes});
}

// Reports of five sweeps that hear many access points.
void measure_large_reports(results& r) {
    for (const int neighbours : {250, 500, 1000}) {
        quiet_world q;
        q.world.point.scene.set("neighbours", scene_of(neighbours));
        measure_one(r, "report, 5 x " + std::to_string(neighbours), q.world, [&] {
            q.world.cloud.send(message::update(true));
            return q.world.expect("rrm-response", 60s).size();
        });
    }
}

// Fast transition of 32 VAPs with many remote key holders.
void measure_large_fast_transition(results& r) {
    for (const int remotes : {256, 512, 1025}) {
        quiet_world q;
        const std::string text = large_fbt(remotes);
        q.world.send_and_settle(message::use_80211r(true));
        measure_one(r, "fbt-info, 32 x " + std::to_string(remotes), q.world, [&] {
            q.world.send_and_settle(text);
            return text.size();
        });
    }
}

void measure_large_mac_lists(results& r) {
    for (const int macs : {125'000, 250'000, 500'000}) {
        transcript story(nullptr);
        service_world world(story, service_world::service::wids);
        world.cloud.narrate(false);
        world.start_daemon({{"log_level", "1"}});
        world.cloud.wait_connections(1);

        std::string text = R"({"service":"wids-mac-service","Name":"list-of-building-7","black":[)";
        for (int i = 0; i < macs; ++i) {
            if (i != 0) text += ",";
            text += R"("02:00:00:00:00:01")";
        }
        text += "]}";

        measure_one(r, "MAC list of " + std::to_string(macs), world, [&] {
            world.cloud.send(text);
            world.point.network.requests().take(60s);
            return text.size();
        });
        world.agent->stop();
    }
}

}  // namespace

void measure_round_trip(results& r) {
    quiet_world q;
    const double read_ms = store_read_ms(q.story);
    std::vector<double> times;
    constexpr int count = 300;
    const unsigned reads_before = q.world.point.config.requests();

    for (int i = 0; i < count; ++i) {
        const auto start = clock_type::now();
        q.world.cloud.send(message::request_mode());
        q.world.expect("rrm-mode-response");
        times.push_back(milliseconds_since(start));
    }

    const double reads = (q.world.point.config.requests() - reads_before) / double(count);
    const double bus = reads * read_ms;
    r.table("\"rrm-request-mode\" to its answer, ms",
            {"p50", "p99", "store reads", "bus share", "p50 - bus"});
    r.row("three radios, six VAPs", {percentile(times, 0.5), percentile(times, 0.99), reads, bus,
                                     percentile(times, 0.5) - bus});
    r.note("bus share: store reads times the median of one read by another process");
}

void measure_start(results& r) {
    std::vector<double> times;
    for (int i = 0; i < 10; ++i) {
        transcript story(nullptr);
        service_world world(story, service_world::service::rrm);
        world.cloud.narrate(false);
        world.point.start_hostapd();

        const auto start = clock_type::now();
        world.start_daemon({{"log_level", "1"}});
        world.expect("subscribe-request");
        times.push_back(milliseconds_since(start));
        world.agent->stop();
    }
    r.table("start of the process to \"subscribe-request\", ms", {"p50", "worst"});
    r.row("initial delay 1", {median(times), percentile(times, 1)});
    r.note("100 ms of it are the least that is waited before a connection");
}

void measure_large(results& r) {
    r.table("large messages", {"MB", "processor ms", "peak, MB", "peak/size"});
    measure_large_reports(r);
    measure_large_fast_transition(r);
    measure_large_mac_lists(r);
    r.note("the growth of the peak over the idle daemon; one daemon a row");
}

}  // namespace bench
