// What happens in the lab, in the order of time: each line has its time, who did it, and which way
// a message went. All threads of the lab share it. Tests turn the printing off; the lines are kept
// either way.
#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

// A message on one line; a long one is cut, with its size behind it.
std::string shortened(std::string_view message, std::size_t most = 110);

class transcript {
  public:
    // Prints to `out`, which outlives it, or nowhere when that is null.
    explicit transcript(std::FILE* out) : out_(out) {}

    // `who` is at most 9 characters long. `way` is "->" for a message that they sent, "<-" for one
    // that they received, "" for what they did.
    void add(std::string_view who, std::string_view way, std::string_view text);
    // A heading.
    void chapter(std::string_view title);

    std::vector<std::string> lines() const;

  private:
    void put(std::string line);

    std::FILE* const out_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    mutable std::mutex lock_;
    std::vector<std::string> lines_;  // guarded by lock_
};

}  // namespace lab
