// The owners of what the radio library hands out: its context, and the container of active results.
// Only the driver's thread uses them.
#pragma once

#include <cstdint>
#include <span>

#include "driver/radio_records.h"
#include "platform/radioctl.h"

namespace rfcd {

// The context of the process. The first call opens it, a call after a failure tries again, and the
// process closes it at exit. Null when it cannot be opened. The caller never owns it.
radioctl_ctx* radioctl_context();

// The results of an active scan, filled by the library.
class active_results {
  public:
    active_results() { scan_results_init(&results_); }
    active_results(const active_results&) = delete;
    active_results& operator=(const active_results&) = delete;
    ~active_results() { scan_results_free(&results_); }

    radioctl_scan_results* get() { return &results_; }

    // The count that the library reports. It may be wrong: nothing tells the size of the memory.
    std::uint64_t count() const { return results_.entries != nullptr ? results_.count : 0; }
    record_bytes entry(std::size_t index) const {
        return {static_cast<const std::uint8_t*>(results_.entries) + index * RADIOCTL_ENTRY_SIZE,
                RADIOCTL_ENTRY_SIZE};
    }

  private:
    radioctl_scan_results results_{};
};

}  // namespace rfcd
