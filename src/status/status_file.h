// A small file that shows others the state of the daemon. It is replaced as a whole, so a reader
// never finds half of one. A folder that cannot be made or a disk that is full costs the file and
// nothing else.
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

    // Makes the folder when it is missing. False when the file stays as it was.
    bool replace(std::string_view text) const;

  private:
    const std::string path_;
    const std::string new_path_;
};

}  // namespace rfcd
