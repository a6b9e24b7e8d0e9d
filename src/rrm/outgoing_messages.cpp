#include "rrm/outgoing_messages.h"

#include <utility>

#include "base/services.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr std::int32_t ap_mac_count = 48;
constexpr std::int32_t no_wildcard_80211r = 0;
constexpr std::size_t max_domain_length = 255;  // as in the configuration file

}  // namespace

outgoing_messages::outgoing_messages(driver_interface& drv, safe_queue& out_queue,
                                     std::string domain)
    : drv_(drv), out_queue_(out_queue), domain_(std::move(domain)), radios_(drv) {}

void outgoing_messages::take_domain(const std::string& domain) {
    if (domain.size() <= max_domain_length) {
        domain_ = domain;
    } else {
        log_error(daemon_logger,
                  "rrm: a domain of %zu bytes is too long (%zu), the old one stays\n",
                  domain.size(), max_domain_length);
    }
}

void outgoing_messages::send_subscribe_request() {
    auto message = make_message("subscribe-request");
    if (!message.made()) return;

    message.add_string("domain", domain_.c_str());
    message.add_int("ap-mac-count", ap_mac_count);
    message.add_int("use-wildcard-80211r", no_wildcard_80211r);
    add_factory(message);
    if (radios_.add_radios(message)) send(message);
}

void outgoing_messages::send_unsubscribe_request() {
    auto message = make_message("unsubscribe-request");
    if (!message.made()) return;

    message.add_string("domain", domain_.c_str());
    add_factory(message);
    send(message);
}

void outgoing_messages::send_mode_response() { send_radios("rrm-mode-response"); }

void outgoing_messages::send_config_changed() { send_radios("rrm-config-changed"); }

void outgoing_messages::send_radios(const char* cmd, const add_members& add) {
    auto message = make_message(cmd);
    if (!message.made()) return;

    message.add_string("domain", domain_.c_str());
    if (!radios_.add_radios(message)) return;
    if (!add || add(message)) send(message);
}

void outgoing_messages::send_unlink() {
    push_json(out_queue_, json_writer(link_service, "unlink", ""));
}

json_writer outgoing_messages::make_message(const char* cmd) {
    return {entry_of(service_index::rrm).wire_name, cmd, drv_.get_board_mac()};
}

// Drops the message when the service sends requests but does not read the answers.
void outgoing_messages::send(const json_writer& message) {
    if (out_queue_.weight() > heavy_queue) {
        log_error(daemon_logger, "rrm: the service does not read, a message is dropped\n");
        out_queue_.note_dropped();
        return;
    }
    push_json(out_queue_, message);
}

void outgoing_messages::add_factory(json_writer& message) {
    auto factory = message.add_object("factory");
    const auto& board = *drv_.get_board_name();
    factory.add_string("board", board.board_name.c_str());
    factory.add_string("hw", board.board_hw_rev.c_str());
    factory.add_string("serial", board.board_serial.c_str());
    factory.add_string("mac", board.board_mac.c_str());
}

}  // namespace rfcd
