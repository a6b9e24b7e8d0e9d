#include "aplocald/only_instance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace aplocal {

only_instance::only_instance(std::string file) : file_(std::move(file)) {
    // An instance that ends at this moment removes the file between open and lock.
    while (!lock()) close(descriptor_);

    const std::string number = std::to_string(getpid()) + "\n";
    if (ftruncate(descriptor_, 0) == 0) {
        // For people; no program reads it.
        [[maybe_unused]] const auto count = write(descriptor_, number.data(), number.size());
    }
}

only_instance::~only_instance() {
    unlink(file_.c_str());
    close(descriptor_);
}

// False when the file that was locked is not there any more. Whoever can open the file can lock it,
// so only root may.
bool only_instance::lock() {
    descriptor_ = open(file_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor_ < 0) throw std::runtime_error(file_ + ": " + std::strerror(errno));
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        const bool taken = errno == EWOULDBLOCK;
        const std::string reason = taken ? "another aplocald is running" : std::strerror(errno);
        close(descriptor_);
        throw std::runtime_error(file_ + ": " + reason);
    }

    struct stat mine {};
    struct stat there {};
    return fstat(descriptor_, &mine) == 0 && stat(file_.c_str(), &there) == 0 &&
           mine.st_ino == there.st_ino && mine.st_dev == there.st_dev;
}

}  // namespace aplocal
