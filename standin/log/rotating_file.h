// A log file that is renamed away when it has grown to its limit: FILE becomes FILE.1, FILE.1
// becomes FILE.2 and so on; the oldest is dropped. Failures lose lines and are answered as false.
// No thread of its own; the caller serialises the calls.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace standin {

class rotating_file {
  public:
    rotating_file(std::string path, std::size_t max_bytes, unsigned old_files);
    rotating_file(const rotating_file&) = delete;
    rotating_file& operator=(const rotating_file&) = delete;
    ~rotating_file();

    // Appends `line` whole, or not at all as far as the disk lets it. False when it is lost; the
    // file is opened anew at the next line then.
    bool write_line(std::string_view line);

  private:
    bool ready_for(std::size_t bytes);
    bool open();
    void close();
    void rotate();

    const std::string path_;
    const std::size_t max_bytes_;
    const unsigned old_files_;
    int descriptor_ = -1;
    std::size_t size_ = 0;
};

}  // namespace standin
