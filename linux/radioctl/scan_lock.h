// The lock of a radio against scans of other processes: a file that is locked while the object
// lives. The kernel releases it when the process ends, for any reason.
#pragma once

#include <memory>
#include <string>

namespace radioctl {

class scan_lock {
  public:
    // Null when the lock cannot be had; `error` is then a negative error number, -EBUSY when
    // another process has it.
    static std::unique_ptr<scan_lock> take(const std::string& radio, int& error);

    scan_lock(const scan_lock&) = delete;
    scan_lock& operator=(const scan_lock&) = delete;
    ~scan_lock();

  private:
    explicit scan_lock(int descriptor) : descriptor_(descriptor) {}

    int descriptor_;
};

}  // namespace radioctl
