#include "lab/checklist.h"

#include <cstdlib>

namespace lab {

bool checklist::check(const std::string& promise, bool kept) {
    ++(kept ? kept_ : broken_);
    story_.add(kept ? "  ok" : "  FAILED", "", promise);
    if (!kept && on_failure_) on_failure_(promise);
    return kept;
}

int checklist::summary(const std::string& scenario) {
    story_.chapter("summary");
    const bool good = broken_ == 0 && kept_ > 0;
    story_.add(good ? "  ok" : "  FAILED", "",
               scenario + ": " + std::to_string(kept_) + " of " + std::to_string(kept_ + broken_) +
                   " checks passed");
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace lab
