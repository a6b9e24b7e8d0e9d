// Makes sure that aplocald runs once: two would take turns in the place of hostapd's clients.
#pragma once

#include <string>

namespace aplocal {

class only_instance {
  public:
    // Locks the file, and writes the number of the process into it. Throws std::runtime_error when
    // another process has it locked, or when it cannot be made.
    explicit only_instance(std::string file);
    only_instance(const only_instance&) = delete;
    only_instance& operator=(const only_instance&) = delete;
    // Removes the file.
    ~only_instance();

  private:
    bool lock();

    const std::string file_;
    int descriptor_ = -1;
};

}  // namespace aplocal
