#include "base/json_cost.h"

#include <cstring>

namespace rfcd {

namespace {

// Measured with json-c 0.16 on a 64-bit machine, rounded up. The cost of a member does not include
// its value: it covers the key and a share of two hash tables, because an object that grows has two
// for a moment.
constexpr std::size_t object_cost = 800;
constexpr std::size_t array_cost = 400;
constexpr std::size_t value_cost = 120;
constexpr std::size_t member_cost = 200;

// Returns the character after the string that begins at `quote`, or the end of the text.
const char* skip_string(const char* quote) {
    const char* at = quote + 1;
    while (*at != '\0') {
        if (*at == '"') return at + 1;
        at += *at == '\\' && at[1] != '\0' ? 2 : 1;
    }
    return at;
}

}  // namespace

// Looks at each character instead of calling strpbrk: in some C libraries every call of that reads
// the whole rest of the text, so that a text of many brackets would take quadratic time.
std::size_t json_cost(const char* text) {
    std::size_t cost = 0;
    // json-c also accepts 'strings' and comments, in which a double quote does not begin a string.
    // After the first sign of one, the contents of strings are counted like everything else.
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
