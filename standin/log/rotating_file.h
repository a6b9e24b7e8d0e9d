// A log file that is renamed away when it has grown to its limit: FILE becomes FILE.1, FILE.1
// becomes FILE.2 and so on; the oldest is dropped. Failures lose lines and are answered as false.
// No thread of its own; the caller serialises the calls.
//
// Once a second the file is looked up by its path: when somebody deleted, renamed or replaced it,
// the next line goes to the file that is there then, a new one if need be.
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

    // Appends `line` whole, or not at all as far as the disk lets it. A line that is longer than a
    // file may be is cut, and ends with `cut_mark`. False when the line is lost; the file is opened
    // anew at the next line then.
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
    struct stat opened_ {};  // what the descriptor is open on
    clock_type::time_point next_look_;
    std::size_t size_ = 0;
};

}  // namespace standin
