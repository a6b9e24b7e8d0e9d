#include "main/start_up.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "driver/driver.h"
#include "ipc/ipc_worker.h"
#include "main/configuration.h"
#include "main/logging.h"
#include "main/running_flags.h"
#include "platform/vnorda_log.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_worker.h"
#include "status/service_manager.h"
#include "status/status_reporter.h"
#include "websock/websock_worker.h"
#include "wids/wids_worker.h"
#include "workers/safe_queue.h"

namespace rfcd {

namespace {

constexpr const char* system_log_identity = "RFCD";
constexpr std::uint32_t bridge_module = 2;

// If descriptors 0 to 2 came closed, the next open() would reuse them and receive our output.
void open_standard_descriptors() {
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) close(descriptor);
}

link_settings settings_of(service_index index, const service_config& service) {
    return {.service = index,
            .host = service.host.c_str(),
            .path = service.path.c_str(),
            .port = static_cast<std::uint32_t>(service.port),
            .initial_delay = service.initial_connection_delay,
            .max_delay = service.max_connection_delay,
            .running = &websock_flag(index)};
}

// The URL to show to people: without the query, which may hold a key.
std::string shown_url(const service_config& service) {
    const std::string_view path = service.path.view();
    return "ws://" + std::string(service.host.view()) + ":" + std::to_string(service.port) +
           std::string(path.substr(0, path.find('?')));
}

// What joins a link and its service worker. Each mode destroys what it made in reverse order: the
// service worker, the link (the one with a thread joins it), the reporter, the incoming queue, the
// outgoing queue.
struct wiring {
    safe_queue outgoing;  // pushed by the service worker, taken by the link
    safe_queue incoming;  // pushed by the link, taken by the service worker
    const service_queues queues{outgoing, incoming};
};

void run_roaming(const service_config& service, const service_manager& manager) {
    constexpr auto index = service_index::roaming;
    wiring joined;
    status_reporter reporter(index, shown_url(service), joined.queues, manager);
    websock_worker websock(joined.queues, settings_of(index, service));
    ipc_worker ipc(joined.queues, bridge_module, &service_flag(index));

    reporter.watch({websock.status(), ipc.status(), websock.progress(), ipc.progress()});
    ipc.start_thread();
    manager.ready();
    websock.run();
    reporter.stop();
}

void run_rrm(const service_config& service, const service_manager& manager) {
    constexpr auto index = service_index::rrm;
    const running_flag* running = &service_flag(index);
    wiring joined;
    status_reporter reporter(index, shown_url(service), joined.queues, manager);
    websock_worker websock(joined.queues, settings_of(index, service));
    rrm_worker rrm(get_driver(running), joined.queues, service.location.c_str(), running);

    // Forget the notifications and the connected state of an earlier run.
    for (const char* path :
         {flag_files::config_updated, flag_files::timezone_changed, flag_files::connected}) {
        flag_files::remove(path);
    }
    reporter.watch({websock.status(), rrm.status(), websock.progress(), rrm.progress()});
    websock.start_thread();
    manager.ready();
    rrm.run();
    reporter.stop();
}

void run_wids(const service_config& service, const std::string& mac_list_id,
              const service_manager& manager) {
    constexpr auto index = service_index::wids;
    const running_flag* running = &service_flag(index);
    wiring joined;
    status_reporter reporter(index, shown_url(service), joined.queues, manager);
    websock_worker websock(joined.queues, settings_of(index, service));
    wids_worker wids(joined.queues, get_driver(running), mac_list_id, running);

    reporter.watch({websock.status(), wids.status(), websock.progress(), wids.progress()});
    websock.start_thread();
    manager.ready();
    wids.run();
    reporter.stop();
}

// A number from 0 to 1,023, to tell apart devices that start in the same second. Early in a boot
// the kernel's generator may not be ready; then the nanoseconds of the clock must do.
unsigned values_to_skip() {
    constexpr unsigned range = 1024;
    unsigned number = 0;
    if (getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
        std::timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        number = static_cast<unsigned>(now.tv_nsec);
    }
    return number % range;
}

// Seeds the generator of the connection delays. A seed from the time alone would give the same
// delays to all devices that start in the same second, for example after a power cut.
void seed_random_generator() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (unsigned skip = values_to_skip(); skip > 0; --skip) std::rand();
}

void prepare_process() {
    open_standard_descriptors();
    norda_log_set_daemonname(daemon_logger.name);
    // The line about an unhandled exception must appear at once.
    std::setbuf(stdout, nullptr);

    logcycle_init(system_log_identity);
    seed_random_generator();
    prctl(PR_SET_NAME, "rfcd:main");
    openlog(system_log_identity, LOG_PID, LOG_DAEMON);
    // The daemon must survive when a peer or the reader of standard error goes away.
    std::signal(SIGPIPE, SIG_IGN);
}

configuration read_configuration(int argc, char** argv) {
    configuration config;
    daemon_logger.mask = log_mask_all;
    read_command_line(argc, argv, config);
    read_configuration_file(config);
    daemon_logger.mask = config.log_level;
    if (logcycle_set_file != nullptr && !config.log_file_path.empty()) {
        logcycle_set_file(config.log_file_path.c_str());
    }
    return config;
}

}  // namespace

int start_up(int argc, char** argv) {
    prepare_process();
    const service_manager manager;
    const configuration config = read_configuration(argc, argv);
    for (const auto& service : service_table) {
        const bool enabled = config.of(service.index).enabled;
        service_flag(service.index) = enabled;
        websock_flag(service.index) = enabled;
    }
    std::signal(SIGTERM, stop_handler);
    std::signal(SIGINT, stop_handler);

    const auto chosen =
        std::find_if(service_table.begin(), service_table.end(),
                     [&](const auto& service) { return config.of(service.index).enabled; });
    if (chosen == service_table.end()) return 0;
    const auto& service = config.of(chosen->index);
    switch (chosen->index) {
        case service_index::roaming: run_roaming(service, manager); break;
        case service_index::rrm: run_rrm(service, manager); break;
        case service_index::wids: run_wids(service, config.mac_list_id, manager); break;
    }
    manager.stopping();
    return 0;
}

}  // namespace rfcd
