// The access point's local daemons as the lab plays them: configd with its store, and networkd,
// which applies settings to the store and to the radios. Each is a peer on the bus with a thread of
// its own. All operations are safe from any thread.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "lab/bus_peer.h"

namespace lab {

// How a local daemon treats requests.
enum class mood {
    helpful,
    refusing,  // answers with a status that is not "ok"
    silent,    // takes requests and never answers
};

// Paths and their values. A value is a JSON text: a string or a subtree.
class config_store {
  public:
    // Reads a JSON object of paths; throws std::runtime_error when the file is not one.
    explicit config_store(const std::string& file);

    std::optional<std::string> get(const std::string& path) const;
    // A plain value.
    void set(const std::string& path, const std::string& value);
    // Any JSON text.
    void set_json(const std::string& path, const std::string& json);
    void remove(const std::string& path);

  private:
    mutable std::mutex lock_;
    std::map<std::string, std::string> values_;  // guarded by lock_
};

// Answers the command "get". The command "set" changes a plain value and gets no answer; it is for
// people: {"command":"set","path":"/a/b","value":"c"}.
class configd {
  public:
    configd(transcript& story, config_store& store);

    // The mood is for requests whose path contains `part_of_path`; configd is helpful to others.
    void set_mood(mood m, const std::string& part_of_path = "");
    unsigned requests() const { return requests_; }

  private:
    void answer(bus_peer& self, const bus_peer::message& request);
    mood mood_for(const std::string& path) const;

    config_store& store_;
    mutable std::mutex lock_;
    mood mood_ = mood::helpful;  // guarded by lock_
    std::string part_of_path_;   // guarded by lock_
    std::atomic<unsigned> requests_ = 0;
    bus_peer peer_;
};

class networkd {
  public:
    // `apply` is told of each parameter that is set: interface, key, value.
    using apply_function =
        std::function<void(const std::string&, const std::string&, const std::string&)>;

    networkd(transcript& story, apply_function apply);

    void set_mood(mood m) { mood_ = m; }
    // Every request that arrived, as text.
    inbox<std::string>& requests() { return requests_; }

  private:
    void answer(bus_peer& self, const bus_peer::message& request);

    const apply_function apply_;
    std::atomic<mood> mood_ = mood::helpful;
    inbox<std::string> requests_;
    bus_peer peer_;
};

}  // namespace lab
