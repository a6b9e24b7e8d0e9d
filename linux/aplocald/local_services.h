// The local daemons that rfcd asks on the bus: configd, which knows the settings; networkd, which
// applies them; and the scan listener. Takes the text of a request and gives the text of the
// answer, at once or later. docs/bus.md describes the requests. For the thread of the loop.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "aplocald/json.h"
#include "aplocald/live_values.h"
#include "aplocald/radio_settings.h"
#include "aplocald/store.h"

namespace aplocal {

class local_services {
  public:
    using answer_handler = std::function<void(const std::string& text)>;
    // Applies a request; null when that succeeded, otherwise the reason.
    using action = std::function<std::optional<std::string>(json_object* request)>;

    // All of them outlive this object.
    struct parts {
        store& stored;
        live_values& live;
        radio_settings& radio;
        action update_fast_transition;  // the request has a member for each VAP
        action reset_fast_transition;
        action take_mac_lists;
    };

    explicit local_services(parts of) : parts_(std::move(of)) {}

    void ask_configd(const std::string& text, const answer_handler& answer);
    void ask_networkd(const std::string& text, const answer_handler& answer);

  private:
    std::string get(json_object* request);
    std::string set(json_object* request);
    void update_radio(json_object* request, const answer_handler& answer);

    parts parts_;
};

}  // namespace aplocal
