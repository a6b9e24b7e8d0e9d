// What happens in the lab, as one story: every line with its time, who, and which way it went.
// Shared by all threads of the lab; printing can be off (tests) and the lines are kept either way.
#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

// A message as a person wants to see it: on one line, long ones cut, with their size.
std::string shortened(std::string_view message, std::size_t most = 110);

class transcript {
  public:
    // Prints to `out`, which outlives it; null to keep the lines only.
    explicit transcript(std::FILE* out) : out_(out) {}

    // `who` is at most 8 characters or so; `way` is "->" for what was sent by them, "<-" for what
    // reached them, "" for what they did.
    void add(std::string_view who, std::string_view way, std::string_view text);
    // A heading between two parts of the story.
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
