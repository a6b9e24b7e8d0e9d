// The checks of a scenario: each is written to the transcript as it is made, and counted for the
// summary. Used on the scenario's thread.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "lab/transcript.h"

namespace lab {

class checklist {
  public:
    // Gets the promise of each check that fails.
    using failure_handler = std::function<void(const std::string& promise)>;

    explicit checklist(transcript& story, failure_handler on_failure = {})
        : story_(story), on_failure_(std::move(on_failure)) {}

    // Writes the promise and whether it was kept. Returns `kept`.
    bool check(const std::string& promise, bool kept);
    // Writes the summary. Returns the exit status of the scenario: 0 when it made at least one
    // check and every promise was kept.
    int summary(const std::string& scenario);

  private:
    transcript& story_;
    const failure_handler on_failure_;
    unsigned kept_ = 0;
    unsigned broken_ = 0;
};

}  // namespace lab
