// The configuration store: paths and their values, kept in a JSON file. A value is a JSON text: a
// string or a subtree. The file belongs to aplocald while it runs: it is read once and written
// whole at each change. For the thread of the loop.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace aplocal {

class store {
  public:
    // Reads the file. A missing file is an empty store. Throws std::runtime_error when the file
    // cannot be read or is not a JSON object of paths.
    explicit store(std::string file);

    std::optional<std::string> get(const std::string& path) const;
    // Returns null when the file has the new value, otherwise the reason; the store then stays as
    // it was.
    std::optional<std::string> set(const std::string& path, const std::string& json);

  private:
    using entries = std::map<std::string, std::string>;

    const std::string file_;
    entries values_;
};

}  // namespace aplocal
