// What is wrong with the value of one setting: the difference between what the line says and what
// the daemon has understood.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/services.h"
#include "main/configuration.h"

namespace ctl {

// Why the daemon does not do what a line says; empty when it does. `read` is the configuration that
// the line alone makes, `value` what follows the key, without the line end.
std::string fault_of_setting(std::string_view key, const rfcd::configuration& read,
                             std::string_view value);

// The service whose URL has this key; null for any other key.
std::optional<rfcd::service_index> service_of_url_key(std::string_view key);

// The only service that uses the setting of this key; null when every service uses it.
std::optional<rfcd::service_index> only_user_of(std::string_view key);

// "ws://HOST:PORT/PATH", as the daemon has understood it.
std::string url_of(const rfcd::service_config& service);

}  // namespace ctl
