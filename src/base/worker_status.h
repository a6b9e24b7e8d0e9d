// What a service worker reports about itself to the status_reporter. Each worker owns one. The
// worker's thread changes it; any thread may read it, and may see one field change a moment before
// another.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/status_lines.h"

namespace rfcd {

class worker_status {
  public:
    worker_status() = default;
    worker_status(const worker_status&) = delete;
    worker_status& operator=(const worker_status&) = delete;
    virtual ~worker_status() = default;

    // Adds the worker's own lines. On any thread.
    virtual void append_to(status_lines& lines) const = 0;
    // A few words that follow the state of the link, such as ", subscribed". On any thread.
    virtual const char* summary() const { return ""; }

    // Grows with every change of the worker's state.
    std::uint32_t version() const { return version_; }

  protected:
    void note_change() { ++version_; }

  private:
    std::atomic<std::uint32_t> version_ = 0;
};

}  // namespace rfcd
