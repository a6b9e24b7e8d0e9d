#include "log/rotating_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace standin {

namespace {

constexpr std::chrono::seconds look_interval{1};

}  // namespace

rotating_file::rotating_file(std::string path, std::size_t max_bytes, unsigned old_files)
    : path_(std::move(path)), max_bytes_(max_bytes), old_files_(old_files) {}

rotating_file::~rotating_file() { close(); }

bool rotating_file::write_line(std::string_view line) {
    if (line.size() <= max_bytes_) return append(line);

    std::string cut(line.substr(0, max_bytes_ - cut_mark.size()));
    cut += cut_mark;
    return append(cut);
}

bool rotating_file::append(std::string_view line) {
    look_up();
    if (!ready_for(line.size())) return false;

    const ssize_t written = ::write(descriptor_, line.data(), line.size());
    if (written == static_cast<ssize_t>(line.size())) {
        size_ += line.size();
        return true;
    }

    // The disk is full: remove the part of the line that was written.
    if (written > 0) {
        [[maybe_unused]] const int result = ftruncate(descriptor_, static_cast<off_t>(size_));
    }
    close();
    return false;
}

void rotating_file::look_up() {
    if (descriptor_ == -1 || clock_type::now() < next_look_) return;

    struct stat now {};
    const bool there = stat(path_.c_str(), &now) == 0;
    if (!there || now.st_dev != opened_.st_dev || now.st_ino != opened_.st_ino) close();
    next_look_ = clock_type::now() + look_interval;
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
    if (fstat(descriptor_, &opened_) != 0 || !S_ISREG(opened_.st_mode)) {
        close();
        return false;
    }
    size_ = static_cast<std::size_t>(opened_.st_size);
    next_look_ = clock_type::now() + look_interval;
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
