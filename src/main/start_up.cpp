#include "main/start_up.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "driver/driver.h"
#include "ipc/ipc_worker.h"
#include "main/configuration.h"
#include "main/logging.h"
#include "main/running_flags.h"
#include "platform/vnorda_log.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_worker.h"
#include "websock/websock_worker.h"
#include "wids/wids_worker.h"
#include "workers/safe_queue.h"

namespace rfcd {

namespace {

constexpr const char* system_log_identity = "RFCD";
constexpr std::uint32_t bridge_module = 2;

// A standard descriptor that came closed would become that of the next file or socket, and take
// what is written for a person.
void open_standard_descriptors() {
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) close(descriptor);
}

// Before the start-up routine: the log library learns the daemon's name, and standard output gets
// no buffer, so that the line of an unhandled exception comes out at once.
[[maybe_unused]] const bool process_prepared = [] {
    open_standard_descriptors();
    norda_log_set_daemonname(daemon_logger.name);
    std::setbuf(stdout, nullptr);
    return true;
}();

websock_worker make_websock_worker(const service_config& service, service_index index,
                                   safe_queue& outgoing, safe_queue& incoming) {
    return {outgoing,
            incoming,
            service.host.c_str(),
            service.path.c_str(),
            static_cast<std::uint32_t>(service.port),
            &websock_flag(index),
            service.initial_connection_delay,
            service.max_connection_delay,
            static_cast<std::uint32_t>(index)};
}

// In each mode the objects below are destroyed from the last to the first: the service worker, the
// WebSocket worker (joining whichever thread was started), the incoming queue, the outgoing queue.

void run_roaming(const service_config& service) {
    safe_queue outgoing;  // ipc_worker to websock_worker: what the service is sent
    safe_queue incoming;  // websock_worker to ipc_worker: what came from the service
    auto websock = make_websock_worker(service, roaming_service, outgoing, incoming);
    ipc_worker ipc(outgoing, incoming, bridge_module, &service_flag(roaming_service));
    ipc.start_thread();
    websock.run();
}

void run_rrm(const service_config& service) {
    safe_queue outgoing;  // rrm_worker to websock_worker: answers and reports
    safe_queue incoming;  // websock_worker to rrm_worker: the service's messages, link notices
    auto websock = make_websock_worker(service, rrm_service, outgoing, incoming);
    rrm_worker rrm(get_driver(&service_flag(rrm_service)), incoming, outgoing,
                   service.location.c_str(), &service_flag(rrm_service));
    // No notification and no connected state of an earlier run survives.
    for (const char* path :
         {flag_files::config_updated, flag_files::timezone_changed, flag_files::connected}) {
        flag_files::remove(path);
    }
    websock.start_thread();
    rrm.run();
}

void run_wids(const service_config& service, const std::string& mac_list_id) {
    safe_queue outgoing;  // wids_worker to websock_worker: acknowledgements
    safe_queue incoming;  // websock_worker to wids_worker: MAC lists, link notices
    auto websock = make_websock_worker(service, wids_service, outgoing, incoming);
    wids_worker wids(outgoing, incoming, get_driver(&service_flag(wids_service)), mac_list_id,
                     &service_flag(wids_service));
    websock.start_thread();
    wids.run();
}

// A number from 0 to 1,023 that differs between devices which start in the same second. The
// kernel's generator may not be ready yet early in a boot; then the clock's nanoseconds have to do.
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

// The generator of the connection delays. Seeded by the time alone, it would give the same delays
// to every device that starts in the same second, for example after a power cut.
void seed_random_generator() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (unsigned skip = values_to_skip(); skip > 0; --skip) std::rand();
}

void prepare_process() {
    logcycle_init(system_log_identity);
    seed_random_generator();
    prctl(PR_SET_NAME, "rfcd:main");
    openlog(system_log_identity, LOG_PID, LOG_DAEMON);
    // A reader of standard error or a peer that goes away must not take the daemon with it.
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
    const configuration config = read_configuration(argc, argv);
    for (const auto index : {roaming_service, rrm_service, wids_service}) {
        const bool enabled = config.services[index].enabled;
        service_flag(index) = enabled;
        websock_flag(index) = enabled;
    }
    std::signal(SIGTERM, stop_handler);
    std::signal(SIGINT, stop_handler);
    if (config.services[roaming_service].enabled) {
        run_roaming(config.services[roaming_service]);
    } else if (config.services[rrm_service].enabled) {
        run_rrm(config.services[rrm_service]);
    } else if (config.services[wids_service].enabled) {
        run_wids(config.services[wids_service], config.mac_list_id);
    }
    return 0;
}

}  // namespace rfcd
