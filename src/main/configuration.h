// What the daemon is told at its start: the command line and the configuration file, read once on
// the main thread before any other exists. The records belong to start-up and live as long as it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "main/text_field.h"

namespace rfcd {

// The cloud services in the order in which one is chosen.
enum service_index : std::size_t { roaming_service, rrm_service, wids_service };
inline constexpr std::size_t service_count = 3;

struct service_config {
    text_field<256> location;  // of the access point; the RRM worker's first domain
    text_field<256> host;
    text_field<256> path;  // begins with "/"
    std::int32_t port = 0;
    bool enabled = false;                        // its URL was given whole
    std::uint64_t initial_connection_delay = 0;  // seconds
    std::uint64_t max_connection_delay = 0;      // seconds
};

struct configuration {
    std::array<service_config, service_count> services;
    std::string file_path;
    std::string mac_list_id;
    std::string log_file_path;
    std::uint32_t log_level = 0;
};

// Reads the options -f FILE, -d HOST, -p PATH, -P PORT. A bad option ends the process with status
// -1, after getopt's own diagnostic. Call once: getopt keeps its place.
void read_command_line(int argc, char** argv, configuration& config);

// Reads the file named by `config.file_path`; nothing when that is empty, and no error when the
// file cannot be opened. A "log_level=" line sets the log mask at once. A line beyond 253
// characters is read in pieces of 254, each a line of its own.
void read_configuration_file(configuration& config);

// Reads `[ws://]host:port/path`, which follows the key of `key_length` characters at the start of
// `line`, into the record `index`. False, and nothing changed, when the scheme is another one. A
// URL without port or path is no failure, and enables nothing.
bool parse_service_url(std::array<service_config, service_count>& services, std::size_t index,
                       const char* line, std::size_t key_length);

}  // namespace rfcd
