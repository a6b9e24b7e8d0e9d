// A small file that shows the state of the daemon. It is replaced as a whole, so nobody ever reads
// half of one. When the folder cannot be made or the disk is full, only the file is missing. The
// status_reporter owns it and lets one thread at a time use it.
#pragma once

#include <string>
#include <string_view>

namespace rfcd {

inline constexpr const char* status_folder = "/run/rfcd";

class status_file {
  public:
    // The file SERVICE.status in the status folder.
    explicit status_file(std::string_view service);
    status_file(const status_file&) = delete;
    status_file& operator=(const status_file&) = delete;
    // Removes the file.
    ~status_file();

    // Writes the new text; makes the folder if it is missing. False when it cannot: then there is
    // no file, because an old one would tell of a state that is over. (On a read-only disk it
    // stays.)
    bool replace(std::string_view text) const;

  private:
    bool write_and_rename(std::string_view text) const;

    const std::string path_;
    const std::string new_path_;
};

}  // namespace rfcd
