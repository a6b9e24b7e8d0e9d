// The local bus of the unit tests. It delivers what a test puts in, records what the daemon sends,
// and answers requests from a store of configuration values.
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
    // The answer to a request that does not read the store; empty for no answer.
    std::string answer = R"({"status":"ok"})";
    // If set, it makes the answer to every request.
    std::function<std::string(const std::string& request)> answer_all;
    // If set, the local daemon stalls until this time of the fake clock. Then it makes one answer
    // after the other, each of which takes answer_ns.
    std::int64_t busy_until_ns = 0;
    std::int64_t answer_ns = 1'000'000;
    std::deque<std::pair<std::int64_t, std::string>> answers;  // with the times of their arrival
};

// The state of the one context that a test may have. reset() starts over.
inline state bus;

inline void reset() { bus = {}; }
// What was recorded since the last call.
inline std::string take_record() { return std::exchange(bus.record, {}); }

}  // namespace fake_peermsg
