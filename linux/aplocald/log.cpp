#include "aplocald/log.h"

#include <unistd.h>

#include <cstdio>

#include "log/journal.h"

namespace aplocal {

void log(severity how_bad, std::string text) {
    static const bool to_journal = standin::is_journal(STDERR_FILENO);
    for (char& c : text) {
        if (c >= 0 && c < ' ') c = '?';
    }

    if (to_journal) {
        std::fprintf(stderr, "<%d>%s\n", static_cast<int>(how_bad), text.c_str());
    } else {
        std::fprintf(stderr, "aplocald: %s\n", text.c_str());
    }
}

}  // namespace aplocal
