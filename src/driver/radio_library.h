// The owners of what the radio library lends: its context, and the container of active results. For
// the driver's thread.
#pragma once

#include <cstdint>
#include <span>

#include "driver/radio_records.h"
#include "platform/radioctl.h"

namespace rfcd {

// The context of the process: opened at the first need, tried again after a failure, closed at
// process exit. Null when it cannot be opened now; never owned by the caller.
radioctl_ctx* radioctl_context();

// The results of an active scan, filled by the library.
class active_results {
  public:
    active_results() { scan_results_init(&results_); }
    active_results(const active_results&) = delete;
    active_results& operator=(const active_results&) = delete;
    ~active_results() { scan_results_free(&results_); }

    radioctl_scan_results* get() { return &results_; }

    // What the library claims: nothing says how much memory stands behind the entries.
    std::uint64_t count() const { return results_.entries != nullptr ? results_.count : 0; }
    record_bytes entry(std::size_t index) const {
        return {static_cast<const std::uint8_t*>(results_.entries) + index * RADIOCTL_ENTRY_SIZE,
                RADIOCTL_ENTRY_SIZE};
    }

  private:
    radioctl_scan_results results_{};
};

}  // namespace rfcd
