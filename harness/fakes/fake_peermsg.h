// The local bus of the unit tests: hands out what a test put in, keeps what is sent, and answers
// requests from a store of configuration values.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace fake_peermsg {

struct state {
    bool init_fails = false;
    bool loop_sticks = false;  // the loop value cannot be set to 0
    int loop = 0;
    std::deque<std::string> incoming;
    std::string record;  // "init 2 254 2, start, send 3 text, ..."; reads of the store leave none
    int contexts = 0;    // open now
    std::map<std::string, std::string> store;  // JSON texts by configuration path
    // What a request other than for the store is answered with; empty for no answer.
    std::string answer = R"({"status":"ok"})";
    // When set, what every request is answered with.
    std::function<std::string(const std::string& request)> answer_all;
    // When set, answers are made one after the other, each in its time, and from this time of the
    // moved clock on: a local daemon that has stalled until then.
    std::int64_t busy_until_ns = 0;
    std::int64_t answer_ns = 1'000'000;
    std::deque<std::pair<std::int64_t, std::string>> answers;  // with the times at which they come
};

// Of the one context that a test may have; reset() makes it new.
inline state bus;

inline void reset() { bus = {}; }
// Everything since the last call.
inline std::string take_record() { return std::exchange(bus.record, {}); }

}  // namespace fake_peermsg
