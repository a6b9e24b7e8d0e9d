#include "status/status_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace rfcd {

namespace {

bool write_whole(const char* path, std::string_view text) {
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file == -1) return false;

    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const bool readable = fchmod(file, 0644) == 0;
    close(file);
    return written && readable;
}

}  // namespace

status_file::status_file(std::string_view service)
    : path_(std::string(status_folder) + "/" + std::string(service) + ".status"),
      new_path_(path_ + ".new") {}

status_file::~status_file() { unlink(path_.c_str()); }

bool status_file::replace(std::string_view text) const {
    // Whatever the umask is, everybody may read it.
    if (mkdir(status_folder, 0755) == 0) chmod(status_folder, 0755);
    if (write_and_rename(text)) return true;

    // The old file shows a state that is over. On a full disk its place is enough for the new one.
    unlink(path_.c_str());
    return write_and_rename(text);
}

bool status_file::write_and_rename(std::string_view text) const {
    unlink(new_path_.c_str());
    if (write_whole(new_path_.c_str(), text) && rename(new_path_.c_str(), path_.c_str()) == 0) {
        return true;
    }
    unlink(new_path_.c_str());
    return false;
}

}  // namespace rfcd
