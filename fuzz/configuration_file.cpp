// The input is the configuration file, read by the daemon and by rfcdctl, and also the board's
// factory file.
#include <sys/mman.h>
#include <unistd.h>

#include "base/files.h"
#include "ctl/configuration_check.h"
#include "driver/board_identity.h"
#include "fuzz/fuzz.h"
#include "harness/fakes/fake_log.h"
#include "main/configuration.h"
#include "main/logging.h"

namespace {

bool is_one_line(std::string_view text) {
    return text.find_first_of("\r\n") == std::string_view::npos;
}

void look_at(const rfcd::configuration& config) {
    for (const auto& service : config.services) {
        fuzz::require(is_one_line(service.host.view()) && is_one_line(service.path.view()),
                      "a URL is one line");
        fuzz::require(!service.enabled || service.path.view().starts_with('/'),
                      "a path begins with a slash", service.path.view());
        fuzz::require(is_one_line(service.location.view()), "a location is one line");
    }
    fuzz::require(is_one_line(config.mac_list_id) && is_one_line(config.log_file_path),
                  "a text is one line");
}

bool same_texts(const rfcd::service_config& a, const rfcd::service_config& b) {
    return a.host.view() == b.host.view() && a.path.view() == b.path.view() &&
           a.location.view() == b.location.view();
}

// rfcdctl understands the file as the daemon does.
void check_like_the_daemon(const rfcd::configuration& config) {
    const auto file = rfcd::open_for_reading(config.file_path.c_str());
    const auto checked = ctl::check_configuration(file.get()).understood;
    for (std::size_t i = 0; i < rfcd::service_count; ++i) {
        const auto& read = config.services[i];
        const auto& other = checked.services[i];
        fuzz::require(read.enabled == other.enabled && read.port == other.port, "the same URL");
        fuzz::require(same_texts(read, other), "the same texts");
        fuzz::require(read.initial_connection_delay == other.initial_connection_delay &&
                          read.max_connection_delay == other.max_connection_delay,
                      "the same delays");
    }
    fuzz::require(config.mac_list_id == checked.mac_list_id &&
                      config.log_file_path == checked.log_file_path &&
                      config.log_level == checked.log_level,
                  "the same settings");
}

void read_board(const char* path) {
    const auto file = rfcd::open_for_reading(path);
    const auto board = rfcd::parse_board_identity(file.get());
    const std::string bssid = rfcd::vap_bssid(board.board_mac.c_str(), "wlan2-vap15");
    fuzz::require(bssid.size() == 17, "every board gives its VAPs an address", bssid);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = memfd_create("input", MFD_CLOEXEC);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    fuzz::require(
        ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size),
        "the file is written");
    fake_log::reset(rfcd::log_mask_all);
    rfcd::configuration config;
    config.file_path = path;
    rfcd::read_configuration_file(config);
    look_at(config);
    check_like_the_daemon(config);
    read_board(path.c_str());
    return 0;
}
