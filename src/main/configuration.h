// Reads the command line and the configuration file, once, on the main thread, before any other
// thread exists. Start-up owns the records; they live until the process ends.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/services.h"
#include "base/text_field.h"

namespace rfcd {

struct service_config {
    text_field<256> location;  // of the access point; the RRM worker's first domain
    text_field<256> host;
    text_field<256> path;  // begins with "/"
    std::int32_t port = 0;
    bool enabled = false;                        // its URL is complete
    std::uint64_t initial_connection_delay = 0;  // seconds
    std::uint64_t max_connection_delay = 0;      // seconds
};

using service_configs = std::array<service_config, service_count>;  // by service_index

struct configuration {
    service_configs services;
    std::string file_path;
    std::string mac_list_id;
    std::string log_file_path;
    std::uint32_t log_level = 0;

    const service_config& of(service_index service) const {
        return services[static_cast<std::size_t>(service)];
    }
};

// Reads the options -f FILE, -d HOST, -p PATH, -P PORT. A bad option ends the process with status
// -1, after getopt's own diagnostic. Call it once: getopt remembers how far it has read.
void read_command_line(int argc, char** argv, configuration& config);

// Reads the file named by `config.file_path`. Does nothing when that is empty; ignores a file that
// cannot be opened. A "log_level=" line sets the log mask at once. A line of more than 253
// characters is read in pieces of 254, each as a line of its own.
void read_configuration_file(configuration& config);

// The steps of read_configuration_file, for a program that looks at a file line by line.
// The size of the buffer that fgets reads each line, or piece of a line, into.
inline constexpr std::size_t configuration_line_size = 255;
// Sets what holds before the first line.
void set_configuration_defaults(configuration& config);
// The key that `line` begins with, in lower case and with its "="; empty when it begins with none.
std::string_view configuration_key(const char* line);
// Applies one line. False when the line ends the reading of the file.
bool apply_configuration_line(configuration& config, const char* line);

// Reads `[ws://]host:port/path`, which follows the key of `key_length` characters at the start of
// `line`, into the record of that service. Returns false and changes nothing when the scheme is
// another one. A URL without a port or a path is not a failure, but does not enable the service.
bool parse_service_url(service_configs& services, service_index index, const char* line,
                       std::size_t key_length);

}  // namespace rfcd
