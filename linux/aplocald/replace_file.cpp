#include "aplocald/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace aplocal {

namespace {

bool write_all(int file, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(file, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        written += static_cast<std::size_t>(count);
    }
    return true;
}

bool write_new_file(const std::string& path, const std::string& text, mode_t mode, bool sync) {
    unlink(path.c_str());
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file < 0) return false;

    const bool whole =
        fchmod(file, mode) == 0 && write_all(file, text) && (!sync || fsync(file) == 0);
    const int problem = errno;
    const bool closed = close(file) == 0;
    if (!whole) errno = problem;
    return whole && closed;
}

// Makes the renaming itself survive a loss of power.
void sync_folder(const std::string& path) {
    const auto folder = std::filesystem::path(path).parent_path();
    const int descriptor =
        open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

}  // namespace

std::optional<std::string> replace_file(const std::string& path, const std::string& text,
                                        mode_t mode, durability how_long) {
    const bool sync = how_long == durability::survives_power_loss;
    const std::string next = path + ".new";

    if (!write_new_file(next, text, mode, sync) || rename(next.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        unlink(next.c_str());
        return "cannot write " + path + ": " + reason;
    }

    if (sync) sync_folder(path);
    return std::nullopt;
}

}  // namespace aplocal
