// The neighbour list that hostapd keeps for an interface, and how to empty it: hostapd can show a
// list and remove one entry, but not all of them. Texts in, texts out; control_proxy sends them.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace aplocal {

struct neighbour {
    std::string bssid;
    std::string ssid;  // in hexadecimal; empty when the entry has none

    bool operator==(const neighbour&) const = default;
    bool operator<(const neighbour& other) const {
        return std::tie(bssid, ssid) < std::tie(other.bssid, other.ssid);
    }
};

// The entries of a reply to SHOW_NEIGHBOR. hostapd cuts a long list where its buffer ends, so a
// line without an end is left out, and so is a line that does not begin with a MAC address.
std::vector<neighbour> read_neighbours(std::string_view reply);

// The interface of the command "IFNAME=wlan1 REMOVE_ALL_NEIGHBOR"; null for other commands.
std::optional<std::string> read_remove_all(std::string_view command);

// Empties the list of one interface, except for the entry that hostapd made for the interface's own
// BSS. One request at a time: send what start() returns, then, for each reply, what take_reply()
// returns, until it returns null. Shows the list again after each round of removals, because a long
// list is shown in part. Ends when nothing is left, when a round has removed nothing, or after
// `max_rounds`, should somebody else add entries all the time.
class neighbour_removal {
  public:
    static constexpr int max_rounds = 200;  // of about 30 entries each

    explicit neighbour_removal(std::string ifname);

    std::string start() const;
    std::optional<std::string> take_reply(std::string_view reply);
    // What the client is told: "OK\n", "FAIL\n", or hostapd's refusal to show the list.
    const std::string& result() const { return result_; }

  private:
    enum class step { own_address, list, removal };

    std::string request(const std::string& command) const;
    std::optional<std::string> take_list(std::string_view reply);
    std::optional<std::string> next_removal();
    std::optional<std::string> finish(std::string result);

    std::string prefix_;  // "IFNAME=wlan1 "
    step step_ = step::own_address;
    std::string own_bssid_;
    std::vector<neighbour> waiting_;  // of this round, the next one last
    bool removed_ = false;            // an entry, in this round
    int rounds_ = 0;
    std::string result_ = "FAIL\n";
};

}  // namespace aplocal
