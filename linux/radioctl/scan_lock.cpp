#include "radioctl/scan_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace radioctl {

namespace {

constexpr const char* folder = "/run/radioctl";

}  // namespace

std::unique_ptr<scan_lock> scan_lock::take(const std::string& radio, int& error) {
    mkdir(folder, 0755);
    const std::string path = std::string(folder) + "/" + radio + ".lock";
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) {
        error = -errno;
        return nullptr;
    }

    std::unique_ptr<scan_lock> lock(new scan_lock(descriptor));
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return lock;
    error = errno == EWOULDBLOCK ? -EBUSY : -errno;
    return nullptr;
}

scan_lock::~scan_lock() { close(descriptor_); }

}  // namespace radioctl
