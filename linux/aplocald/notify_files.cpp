#include "aplocald/notify_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace aplocal {

namespace {

const std::string master = "/tmp/.skylark_notify";

bool create(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (file >= 0) return close(file) == 0;

    struct stat status {};
    return errno == EEXIST && lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

bool notify_daemon(const std::string& name) {
    return create(master + "_" + name) && create(master);
}

}  // namespace aplocal
