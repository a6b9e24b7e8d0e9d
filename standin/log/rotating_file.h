// A log file that is renamed when it reaches its size limit: FILE becomes FILE.1, FILE.1 becomes
// FILE.2 and so on; the oldest is deleted. A failure loses the line and is reported as false. No
// thread of its own; the caller serialises the calls.
//
// Once a second the class checks what is at the path. If somebody deleted, renamed or replaced the
// file, it opens the path again, so that the next line goes to a new file or the replacement.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace standin {

class rotating_file {
  public:
    // `max_bytes` is at least the length of `cut_mark`.
    rotating_file(std::string path, std::size_t max_bytes, unsigned old_files);
    rotating_file(const rotating_file&) = delete;
    rotating_file& operator=(const rotating_file&) = delete;
    ~rotating_file();

    // Appends a line, whole or not at all. Cuts a line that is longer than a whole file and ends it
    // with `cut_mark`. False when the line is lost; the next line then opens the file again.
    bool write_line(std::string_view line);

    static constexpr std::string_view cut_mark = "... [cut]\n";

  private:
    using clock_type = std::chrono::steady_clock;

    bool append(std::string_view line);
    void look_up();
    bool ready_for(std::size_t bytes);
    bool open();
    void close();
    void rotate();

    const std::string path_;
    const std::size_t max_bytes_;
    const unsigned old_files_;
    int descriptor_ = -1;
    struct stat opened_ {};  // the file behind the descriptor
    clock_type::time_point next_look_;
    std::size_t size_ = 0;
};

}  // namespace standin
