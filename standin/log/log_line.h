// Formats log lines such as "2026-11-22 20:30:01.123 debug rfcd[1234]: text", or "<7>text" for the
// journal. Pure functions.
#pragma once

#include <cstdarg>
#include <ctime>
#include <string>

namespace standin {

struct line_source {
    const char* daemon;
    int process;
    std::timespec time;  // CLOCK_REALTIME
};

// The whole line with exactly one line end. Further lines of the message begin with a tab, so that
// no message can imitate another one; other control characters become \xNN.
std::string format_log_line(const line_source& source, int level_code, const char* format,
                            std::va_list args) __attribute__((format(printf, 3, 0)));

// The same text for the journal, which stamps and names it. Each line of it begins with the
// priority; one that would be too long for the journal goes on in the next.
std::string format_journal_lines(int level_code, const char* format, std::va_list args)
    __attribute__((format(printf, 2, 0)));

}  // namespace standin
