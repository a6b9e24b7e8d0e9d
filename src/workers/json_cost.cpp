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

// Character by character: there are C libraries whose strpbrk reads all of the rest at each call,
// which makes a text of many brackets take the square of its length.
std::size_t json_cost(const char* text) {
    std::size_t cost = 0;
    // json-c takes 'strings' and comments too, in which a quote begins nothing. From the first sign
    // of one on, what stands in strings counts like the rest.
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
    // Most texts are too short to cost that much, whatever they say.
    return std::strlen(text) <= max_json_cost / object_cost || json_cost(text) <= max_json_cost;
}

}  // namespace rfcd
