// The state behind a context of the radio library: the connection to the kernel, and for each radio
// its lock and the scan that was started since it was locked. Belongs to the context; used by one
// thread at a time. Operations return 0 or a negative error number: -ENODEV for an interface that
// does not exist, -ENETDOWN for one that is on no channel, -EPERM for a scan without the lock.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nl80211/connection.h"
#include "radioctl/rrm_scan.h"
#include "radioctl/scan_lock.h"

namespace radioctl {

class radio_scans {
  public:
    // Null when the kernel has no nl80211.
    static std::unique_ptr<radio_scans> open();

    int read_channel(const std::string& interface, nl80211::channel& on);

    // -EBUSY when another process has the lock. Ends the scan that runs, whoever started it.
    int lock(const std::string& interface);
    // Ends an RRM scan. What the scans heard can be read until the next lock.
    int unlock(const std::string& interface);

    // Starts a scan of those of the frequencies that the radio has and may use; of all in the band
    // of its channel when the list is empty. -EINVAL when none is left.
    int start_active(const std::string& interface, std::vector<std::uint32_t> frequencies);
    int abort(const std::string& interface);
    int read_active(const std::string& interface, std::vector<neighbour>& heard);

    int start_rrm(const std::string& interface, int channel);
    int read_rrm(const std::string& interface, rrm_results& results);

  private:
    struct active_scan {
        std::int64_t start = 0;  // nanoseconds of CLOCK_BOOTTIME
        std::vector<std::uint32_t> frequencies;
    };
    struct radio_state {
        std::unique_ptr<scan_lock> lock;
        std::unique_ptr<active_scan> active;
        std::unique_ptr<rrm_scan> rrm;
        std::optional<rrm_results> heard_by_rrm;  // after its end
    };
    struct scan_target {
        int error = 0;  // of looking for the interface; the rest counts when it is 0
        nl80211::interface_info info;
        nl80211::channel_number channel;
        std::vector<std::uint32_t> usable;  // frequencies of the radio
    };

    explicit radio_scans(std::unique_ptr<nl80211::connection> kernel)
        : kernel_(std::move(kernel)) {}

    // "wlan1-vap2" is an interface of the radio "wlan1".
    radio_state& radio_of(const std::string& interface);
    // Looks for the interface as a scan needs it.
    scan_target find_for_scan(const std::string& interface);
    std::vector<nl80211::mac_address> read_own_bssids();

    std::unique_ptr<nl80211::connection> kernel_;
    std::map<std::string, radio_state> radios_;
};

}  // namespace radioctl
