#include "log/rotating_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace standin {

rotating_file::rotating_file(std::string path, std::size_t max_bytes, unsigned old_files)
    : path_(std::move(path)), max_bytes_(max_bytes), old_files_(old_files) {}

rotating_file::~rotating_file() { close(); }

bool rotating_file::write_line(std::string_view line) {
    if (!ready_for(line.size())) return false;
    const ssize_t written = ::write(descriptor_, line.data(), line.size());
    if (written == static_cast<ssize_t>(line.size())) {
        size_ += line.size();
        return true;
    }
    // A disk that filled up in mid-line: take the half line back.
    if (written > 0) {
        [[maybe_unused]] const int result = ftruncate(descriptor_, static_cast<off_t>(size_));
    }
    close();
    return false;
}

bool rotating_file::ready_for(std::size_t bytes) {
    if (descriptor_ == -1 && !open()) return false;
    if (size_ == 0 || size_ + bytes <= max_bytes_) return true;
    close();
    rotate();
    return open();
}

bool rotating_file::open() {
    descriptor_ =
        ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0640);
    if (descriptor_ == -1) return false;
    struct stat status {};
    if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
        close();
        return false;
    }
    size_ = static_cast<std::size_t>(status.st_size);
    return true;
}

void rotating_file::close() {
    if (descriptor_ != -1) ::close(descriptor_);
    descriptor_ = -1;
}

void rotating_file::rotate() {
    const auto old_name = [this](unsigned age) { return path_ + "." + std::to_string(age); };
    for (unsigned age = old_files_; age > 1; --age) {
        std::rename(old_name(age - 1).c_str(), old_name(age).c_str());
    }
    // A file that cannot be renamed is emptied instead: the log must not grow without bound.
    if (std::rename(path_.c_str(), old_name(1).c_str()) != 0) {
        [[maybe_unused]] const int result = truncate(path_.c_str(), 0);
    }
}

}  // namespace standin
