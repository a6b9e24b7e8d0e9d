#include "workers/json_cost.h"

#include <cstring>

namespace rfcd {

namespace {

// Measured with json-c 0.16 on a 64-bit machine, rounded up. A member costs this beside its value:
// its key, and its part of two hash tables, since there are two whenever an object grows.
constexpr std::size_t object_cost = 800;
constexpr std::size_t array_cost = 400;
constexpr std::size_t value_cost = 120;
constexpr std::size_t member_cost = 200;

// The character after the string that begins at the quote, or the text's end.
const char* skip_string(const char* quote) {
    const char* at = quote + 1;
    while (*at != '\0') {
        if (*at == '"') return at + 1;
        at += *at == '\\' && at[1] != '\0' ? 2 : 1;
    }
    return at;
}

}  // namespace

// Looks at each character itself: some C libraries implement strpbrk so that every call reads the
// whole rest, which would make a text of many brackets take quadratic time.
std::size_t json_cost(const char* text) {
    std::size_t cost = 0;
    // json-c also accepts 'strings' and comments, inside which a quote begins nothing. After the
    // first sign of one, the contents of strings are counted like everything else.
    bool skips_strings = true;
    const char* at = text;

    while (*at != '\0' && cost <= max_json_cost) {
        switch (*at) {
            case '"':
                if (skips_strings) {
                    at = skip_string(at);
                    continue;
                }
                break;
            case '{': cost += object_cost; break;
            case '[': cost += array_cost; break;
            case ',': cost += value_cost; break;
            case ':': cost += member_cost; break;
            case '\'':
            case '/': skips_strings = false; break;
            default: break;
        }
        ++at;
    }
    return cost;
}

bool is_affordable_json(const char* text) {
    // Most texts are too short to cost that much, whatever they contain.
    return std::strlen(text) <= max_json_cost / object_cost || json_cost(text) <= max_json_cost;
}

}  // namespace rfcd
