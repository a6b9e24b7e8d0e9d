// What is asked of hostapd beyond channels: fast transition and the lists of stations that it
// refuses. Takes the request of the bus, and returns null when hostapd has taken everything,
// otherwise the reason. For the thread of the loop.
#pragma once

#include <json-c/json.h>

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "aplocald/access_lists.h"
#include "aplocald/fast_transition.h"

namespace aplocal {

class hostapd_requests {
  public:
    explicit hostapd_requests(const fast_transition::files& files)
        : transition_(files), lists_(files.folder) {}

    // The request has a member for each VAP; what is not an object belongs to something else.
    std::optional<std::string> update_fast_transition(json_object* request);
    std::optional<std::string> reset_fast_transition(json_object* request);
    std::optional<std::string> hostapd_started() { return transition_.hostapd_started(); }

    // Refuses the stations of the array `list` of the request on all these interfaces.
    std::optional<std::string> deny(json_object* request, const std::string& list,
                                    const std::set<std::string, std::less<>>& interfaces);

  private:
    fast_transition transition_;
    access_lists lists_;
};

}  // namespace aplocal
