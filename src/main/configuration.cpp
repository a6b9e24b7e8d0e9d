#include "main/configuration.h"

#include <strings.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/files.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr std::string_view default_location = "default-rrm-domain";

std::string_view trim_line_end(std::string_view text) {
    return text.substr(0, text.find_first_of("\r\n"));
}

// Like atoi, but defined for every input.
std::int32_t decimal_number(std::string_view text) {
    return static_cast<std::int32_t>(std::strtol(std::string(text).c_str(), nullptr, 10));
}

std::uint32_t level_number(const char* value) {
    const bool hexadecimal = strncasecmp(value, "0x", 2) == 0;
    return static_cast<std::uint32_t>(hexadecimal ? std::strtoul(value + 2, nullptr, 16)
                                                  : std::strtoul(value, nullptr, 10));
}

// A line of the file; it begins with a known key.
struct setting {
    const char* line;
    std::size_t key_length;

    const char* value() const { return line + key_length; }
};

template <service_index Index>
bool set_url(configuration& config, const setting& s) {
    return parse_service_url(config.services, Index, s.line, s.key_length);
}

template <std::uint64_t service_config::*Delay>
bool set_delay(configuration& config, const setting& s) {
    for (auto& service : config.services) service.*Delay = std::strtoul(s.value(), nullptr, 10);
    return true;
}

template <std::string configuration::*Text>
bool set_text(configuration& config, const setting& s) {
    config.*Text = trim_line_end(s.value());
    return true;
}

bool set_location(configuration& config, const setting& s) {
    for (auto& service : config.services) service.location.assign(trim_line_end(s.value()));
    return true;
}

bool set_log_level(configuration& config, const setting& s) {
    config.log_level = level_number(s.value());
    daemon_logger.mask = config.log_level;
    return true;
}

// A setter that returns false ends the reading.
struct key_entry {
    std::string_view key;
    bool (*set)(configuration&, const setting&);
};

// The first key that a line begins with decides.
constexpr key_entry keys[] = {
    {"roam_service_url=", set_url<service_index::roaming>},
    {"skylark_service_url=", set_url<service_index::rrm>},
    {"mac-list-service-url=", set_url<service_index::wids>},
    {"initial_connection_delay=", set_delay<&service_config::initial_connection_delay>},
    {"max_connection_delay=", set_delay<&service_config::max_connection_delay>},
    {"ap_location=", set_location},
    {"log_level=", set_log_level},
    {"log_file=", set_text<&configuration::log_file_path>},
    {"mac-list-id=", set_text<&configuration::mac_list_id>},
};

// Null when the line begins with no key.
const key_entry* find_key(const char* line) {
    for (const auto& entry : keys) {
        if (strncasecmp(line, entry.key.data(), entry.key.size()) == 0) return &entry;
    }
    return nullptr;
}

}  // namespace

void read_command_line(int argc, char** argv, configuration& config) {
    int option = 0;
    // No thread exists yet.
    while ((option = getopt(argc, argv, "f:d:p:P:")) != -1) {
        if (option == '?') std::exit(-1);
        if (option == 'f') config.file_path = optarg;
        for (auto& service : config.services) {
            if (option == 'd') service.host.assign(optarg);
            if (option == 'p') service.path.assign(optarg);
            if (option == 'P') service.port = decimal_number(optarg);
        }
    }
}

void read_configuration_file(configuration& config) {
    if (config.file_path.empty()) return;
    set_configuration_defaults(config);
    const auto file = open_for_reading(config.file_path.c_str());
    if (!file) return;
    char line[configuration_line_size];
    while (std::fgets(line, sizeof line, file.get()) != nullptr) {
        if (!apply_configuration_line(config, line)) return;
    }
}

void set_configuration_defaults(configuration& config) {
    for (auto& service : config.services) service.location.assign(default_location);
    config.log_level = 0;
}

std::string_view configuration_key(const char* line) {
    const auto* entry = find_key(line);
    return entry == nullptr ? std::string_view() : entry->key;
}

bool apply_configuration_line(configuration& config, const char* line) {
    const auto* entry = find_key(line);
    return entry == nullptr || entry->set(config, {line, entry->key.size()});
}

bool parse_service_url(service_configs& services, service_index index, const char* line,
                       std::size_t key_length) {
    constexpr std::string_view scheme_end = "://";
    std::string_view remainder = line + key_length;
    std::string_view scheme;
    const auto scheme_length = remainder.find(scheme_end);
    const bool has_scheme = scheme_length != std::string_view::npos;
    if (has_scheme) {
        scheme = remainder.substr(0, scheme_length);
        remainder.remove_prefix(scheme_length + scheme_end.size());
    }
    if (has_scheme && scheme != "ws") {
        log_debug(daemon_logger, "Proto %s is invalid\n", std::string(scheme).c_str());
        return false;
    }
    auto& service = services.at(static_cast<std::size_t>(index));
    const auto colon = remainder.find(':');
    const auto slash = colon == std::string_view::npos ? colon : remainder.find('/', colon);
    if (slash != std::string_view::npos) {
        service.host.assign(remainder.substr(0, colon));
        service.path.assign(remainder.substr(slash));
        service.port = decimal_number(remainder.substr(colon + 1, slash - colon - 1));
        service.enabled = true;
    }
    service.host.trim_line_end();
    service.path.trim_line_end();
    return true;
}

}  // namespace rfcd
