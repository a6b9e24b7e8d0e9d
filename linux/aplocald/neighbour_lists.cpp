#include "aplocald/neighbour_lists.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "aplocald/hostapd_text.h"

namespace aplocal {

namespace {

constexpr std::string_view remove_all = "REMOVE_ALL_NEIGHBOR";
constexpr std::string_view interface_key = "IFNAME=";

bool is_hex(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c); });
}

}  // namespace

std::vector<neighbour> read_neighbours(std::string_view reply) {
    std::vector<neighbour> list;
    for (auto end = reply.find('\n'); end != std::string_view::npos; end = reply.find('\n')) {
        const auto words = split(reply.substr(0, end), ' ');
        reply.remove_prefix(end + 1);
        if (words.empty() || !is_mac_address(words[0])) continue;

        neighbour entry{.bssid = std::string(words[0]), .ssid = {}};
        for (const auto word : words) {
            const bool ssid = word.starts_with("ssid=") && is_hex(word.substr(5));
            if (ssid) entry.ssid = word.substr(5);
        }
        list.push_back(std::move(entry));
    }
    return list;
}

std::optional<std::string> read_remove_all(std::string_view command) {
    while (!command.empty() && (command.back() == '\n' || command.back() == ' ')) {
        command.remove_suffix(1);
    }

    const auto space = command.find(' ');
    const bool matches = command.starts_with(interface_key) && space != std::string_view::npos &&
                         command.substr(space + 1) == remove_all;
    if (!matches) return std::nullopt;
    return std::string(command.substr(interface_key.size(), space - interface_key.size()));
}

neighbour_removal::neighbour_removal(std::string ifname)
    : prefix_(std::string(interface_key) + std::move(ifname) + " ") {}

std::string neighbour_removal::start() const { return request("GET_CONFIG"); }

std::optional<std::string> neighbour_removal::take_reply(std::string_view reply) {
    switch (step_) {
        case step::own_address:
            own_bssid_ = value_of(reply, "bssid");
            step_ = step::list;
            return request("SHOW_NEIGHBOR");
        case step::list: return take_list(reply);
        case step::removal:
            if (reply == "OK\n") removed_ = true;
            return next_removal();
    }
    return std::nullopt;
}

std::string neighbour_removal::request(const std::string& command) const {
    return prefix_ + command;
}

std::optional<std::string> neighbour_removal::take_list(std::string_view reply) {
    const bool refused = reply.starts_with("FAIL") || reply.starts_with("UNKNOWN COMMAND");
    if (refused) return finish(std::string(reply));

    waiting_ = read_neighbours(reply);
    std::erase_if(waiting_, [this](const neighbour& n) { return n.bssid == own_bssid_; });
    if (waiting_.empty()) return finish("OK\n");
    if (rounds_ > 0 && !removed_) return finish("FAIL\n");
    if (rounds_ == max_rounds) return finish("FAIL\n");

    ++rounds_;
    removed_ = false;
    step_ = step::removal;
    return next_removal();
}

std::optional<std::string> neighbour_removal::next_removal() {
    if (waiting_.empty()) {
        step_ = step::list;
        return request("SHOW_NEIGHBOR");
    }

    const neighbour next = std::move(waiting_.back());
    waiting_.pop_back();
    const std::string ssid = next.ssid.empty() ? "" : " ssid=" + next.ssid;
    return request("REMOVE_NEIGHBOR " + next.bssid + ssid);
}

std::optional<std::string> neighbour_removal::finish(std::string result) {
    result_ = std::move(result);
    return std::nullopt;
}

}  // namespace aplocal
