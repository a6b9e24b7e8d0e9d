#include "aplocald/daemon.h"

#include <stdexcept>
#include <utility>

#include "aplocald/interfaces_up.h"
#include "aplocald/json.h"
#include "aplocald/log.h"
#include "aplocald/notify_files.h"
#include "aplocald/replace_file.h"
#include "base/files.h"

namespace aplocal {

namespace {

constexpr const char* instance_file = "/run/aplocald.pid";
constexpr std::uint8_t configd_module = 1;
constexpr std::uint8_t networkd_module = 6;
constexpr std::uint8_t scan_listener_module = 34;
constexpr std::size_t modules = 3;

// hostapd replies within milliseconds. The loop waits no longer, so that a stop of aplocald does
// not wait for a hostapd that hangs.
constexpr std::chrono::milliseconds hostapd_limit{700};

void tell_daemon(const std::string& what) {
    if (!notify_daemon(what)) log(severity::error, "cannot make the notify file of " + what);
}

}  // namespace

daemon::daemon(event_loop& loop, const configuration& config, std::function<void()> when_ready)
    : loop_(loop),
      config_(config),
      when_ready_(std::move(when_ready)),
      instance_(instance_file),
      stored_(config.store),
      view_([this](const auto& command) { return ask_hostapd(command); }),
      kernel_(open_kernel_radios()),
      live_(view_, *kernel_, stored_),
      channels_(*kernel_,
                config.radar_channels ? radar_channels::included : radar_channels::left_out),
      settings_({.loop = loop,
                 .kernel = *kernel_,
                 .live = live_,
                 .stored = stored_,
                 .hostapd = [this](const auto& command) { return ask_hostapd(command); }}),
      requests_({.folder = config.hostapd_folder}),
      services_(service_parts()),
      watch_(loop, {.folder = config.hostapd_folder}, watch_callbacks()),
      configd_(
          loop, configd_module,
          [this](std::uint8_t from, const std::string& text) {
              services_.ask_configd(text, [=, this](const auto& t) { configd_.send(from, t); });
          },
          [this] { note_joined(configd_module); }),
      networkd_(
          loop, networkd_module,
          [this](std::uint8_t from, const std::string& text) {
              watch_.expect_own_changes();
              services_.ask_networkd(text, [=, this](const auto& t) { networkd_.send(from, t); });
              view_.forget();
          },
          [this] { note_joined(networkd_module); }),
      scan_listener_(
          loop, scan_listener_module, [](std::uint8_t, const std::string&) {},
          [this] { note_joined(scan_listener_module); }) {
    channels_.write();
    watch_regulatory_domain();
}

daemon::~daemon() {
    if (kernel_events_) loop_.forget(kernel_events_->descriptor());
}

local_services::parts daemon::service_parts() {
    return {.stored = stored_,
            .live = live_,
            .radio = settings_,
            .update_fast_transition =
                [this](json_object* request) {
                    auto problem = requests_.update_fast_transition(request);
                    restore_deny_list();
                    return problem;
                },
            .reset_fast_transition =
                [this](json_object* request) { return requests_.reset_fast_transition(request); },
            .take_mac_lists = [this](json_object* request) { return take_mac_lists(request); }};
}

hostapd_watch::callbacks daemon::watch_callbacks() {
    return {.started = [this] { hostapd_started(); },
            .stopped = [this] { hostapd_stopped(); },
            .changed = [this] { hostapd_changed(); },
            .said = [](const std::string& line) { log(severity::warning, line); }};
}

hostapd_control::reply daemon::ask_hostapd(const std::string& command) {
    if (!hostapd_) hostapd_ = hostapd_control::open(config_.hostapd_control);
    if (!hostapd_) return {.what = hostapd_control::reply::kind::gone, .text = ""};
    return hostapd_->request(command, hostapd_limit);
}

// The file has the message of the service as it came, for a detector of intruders.
std::optional<std::string> daemon::take_mac_lists(json_object* request) {
    json_object_object_del(request, "command");
    auto problem = replace_file(config_.mac_lists, json_text(request) + "\n", 0600,
                                durability::survives_power_loss);
    return problem ? problem : give_deny_list();
}

std::optional<std::string> daemon::give_deny_list() {
    if (config_.deny_list.empty()) return std::nullopt;
    const auto text = rfcd::read_text_file(config_.mac_lists);
    if (!text) return std::nullopt;  // no lists have come yet

    const auto lists = parse_object(*text);
    return requests_.deny(lists.get(), config_.deny_list, view_.interfaces());
}

// hostapd forgets its deny lists when it is started or reads its configuration again.
void daemon::restore_deny_list() {
    if (const auto problem = give_deny_list()) log(severity::error, "deny list: " + *problem);
}

void daemon::hostapd_started() {
    view_.forget();
    channels_.write();
    try {
        proxy_ = std::make_unique<control_proxy>(
            loop_, control_proxy::settings{
                       .path = config_.client_control,
                       .hostapd = config_.hostapd_control,
                       .group = config_.client_group,
                       .said = [](const std::string& line) { log(severity::warning, line); }});
    } catch (const std::runtime_error& problem) {
        log(severity::error, problem.what());
    }

    if (const auto problem = requests_.hostapd_started()) {
        log(severity::error, "fast transition after the start of hostapd: " + *problem);
    }
    restore_deny_list();
    up_ = interfaces_up(watch_.interfaces());
    tell_daemon("hostapd_started");
}

void daemon::hostapd_stopped() {
    proxy_.reset();
    view_.forget();
}

// The daemon looks which radios and VAPs are up only when it is told that hostapd has started.
void daemon::hostapd_changed() {
    view_.forget();
    channels_.write();
    restore_deny_list();

    auto up = interfaces_up(watch_.interfaces());
    tell_daemon(up == up_ ? "config_updated" : "hostapd_started");
    up_ = std::move(up);
}

void daemon::watch_regulatory_domain() {
    kernel_events_ = nl80211::events::open({"regulatory"});
    if (!kernel_events_) return;
    loop_.watch(kernel_events_->descriptor(), [this] {
        kernel_events_->read([](const nl80211::event&) {});
        channels_.write();
    });
}

// A module that has lost the bus joins again, which does not count.
void daemon::note_joined(std::uint8_t module) {
    const bool is_new = joined_.insert(module).second;
    if (is_new && joined_.size() == modules) when_ready_();
}

}  // namespace aplocal
