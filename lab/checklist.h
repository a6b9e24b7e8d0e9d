// What a scenario promises to show: each promise is checked and told as it is kept or broken, and
// counted for the summary. Used on the scenario's thread.
#pragma once

#include <string>

#include "lab/transcript.h"

namespace lab {

class checklist {
  public:
    explicit checklist(transcript& story) : story_(story) {}

    // Tells and counts; answers `kept`.
    bool check(const std::string& promise, bool kept);
    // Prints the summary. The exit status of the scenario: 0 when every promise was kept and there
    // was at least one.
    int summary(const std::string& scenario);

  private:
    transcript& story_;
    unsigned kept_ = 0;
    unsigned broken_ = 0;
};

}  // namespace lab
