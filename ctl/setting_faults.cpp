#include "ctl/setting_faults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "ctl/text.h"

namespace ctl {

namespace {

using rfcd::service_config;
using rfcd::service_index;

constexpr std::string_view scheme = "ws://";

bool has_blank_or_control(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](unsigned char c) { return c <= ' ' || c == '\x7f'; });
}

std::string address_of(const service_config& service) {
    return service.host.c_str() + (":" + std::to_string(service.port)) + service.path.c_str();
}

template <service_index Index>
std::string url_fault(const rfcd::configuration& read, std::string_view value) {
    constexpr std::int32_t highest_port = 65535;
    const auto& service = read.of(Index);
    if (!service.enabled) return "has no effect: the URL is not as ws://HOST:PORT/PATH";
    if (service.host.empty()) return "has a URL without a host";
    if (service.host.view().find('/') != std::string_view::npos) {
        return "has a URL with a slash before the port: the host is read as \"" +
               printable(service.host.view()) + "\"";
    }
    if (service.port < 1 || service.port > highest_port) {
        return "has a URL whose port is read as " + std::to_string(service.port) +
               "; it must be 1 to 65535";
    }
    if (has_blank_or_control(value)) return "has a URL with a blank or control character";

    if (value.starts_with(scheme)) value.remove_prefix(scheme.size());
    const std::string understood = address_of(service);
    return value == understood ? "" : "is read as " + printable(url_of(service));
}

// What a number with these digits says, in the shortest form: without leading zeros.
std::string_view shortest(std::string_view digits) {
    while (digits.size() > 1 && digits.front() == '0') digits.remove_prefix(1);
    return digits;
}

template <std::uint64_t service_config::*Delay>
std::string delay_fault(const rfcd::configuration& read, std::string_view value) {
    const auto text = without_blanks(value);
    if (text.starts_with('-')) return "has a negative delay, which makes a wait that never ends";

    const auto delay = std::to_string(read.services.front().*Delay);
    return shortest(text) == delay ? "" : "is read as " + delay + " s";
}

std::string level_fault(const rfcd::configuration& read, std::string_view value) {
    const auto text = without_blanks(value);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    std::string digits(shortest(hexadecimal ? text.substr(2) : text));
    for (char& c : digits) c = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;

    std::array<char, 16> level{};
    const auto end =
        std::to_chars(level.begin(), level.end(), read.log_level, hexadecimal ? 16 : 10);
    const bool same = digits == std::string_view(level.data(), end.ptr);
    return same ? "" : "is read as level " + std::to_string(read.log_level);
}

std::string text_fault(std::string_view read, std::string_view value) {
    return value == read ? "" : "is cut to \"" + printable(read) + "\"";
}

std::string location_fault(const rfcd::configuration& read, std::string_view value) {
    return text_fault(read.of(service_index::rrm).location.view(), value);
}

std::string log_file_fault(const rfcd::configuration& read, std::string_view value) {
    return text_fault(read.log_file_path, value);
}

std::string list_fault(const rfcd::configuration& read, std::string_view value) {
    return text_fault(read.mac_list_id, value);
}

struct judged_setting {
    std::string_view key;
    std::string (*fault)(const rfcd::configuration&, std::string_view);
    std::optional<service_index> url_of = {};
    std::optional<service_index> only_user = {};
};

constexpr judged_setting settings[] = {
    {.key = "roam_service_url=",
     .fault = url_fault<service_index::roaming>,
     .url_of = service_index::roaming},
    {.key = "skylark_service_url=",
     .fault = url_fault<service_index::rrm>,
     .url_of = service_index::rrm},
    {.key = "mac-list-service-url=",
     .fault = url_fault<service_index::wids>,
     .url_of = service_index::wids},
    {.key = "initial_connection_delay=",
     .fault = delay_fault<&service_config::initial_connection_delay>},
    {.key = "max_connection_delay=", .fault = delay_fault<&service_config::max_connection_delay>},
    {.key = "ap_location=", .fault = location_fault, .only_user = service_index::rrm},
    {.key = "log_level=", .fault = level_fault},
    {.key = "log_file=", .fault = log_file_fault},
    {.key = "mac-list-id=", .fault = list_fault, .only_user = service_index::wids},
};

const judged_setting* find(std::string_view key) {
    const auto* found = std::find_if(std::begin(settings), std::end(settings),
                                     [&](const auto& setting) { return setting.key == key; });
    return found == std::end(settings) ? nullptr : found;
}

}  // namespace

std::string fault_of_setting(std::string_view key, const rfcd::configuration& read,
                             std::string_view value) {
    const auto* setting = find(key);
    return setting == nullptr ? "" : setting->fault(read, value);
}

std::optional<service_index> service_of_url_key(std::string_view key) {
    const auto* setting = find(key);
    return setting == nullptr ? std::nullopt : setting->url_of;
}

std::optional<service_index> only_user_of(std::string_view key) {
    const auto* setting = find(key);
    return setting == nullptr ? std::nullopt : setting->only_user;
}

std::string url_of(const service_config& service) {
    return std::string(scheme) + address_of(service);
}

}  // namespace ctl
