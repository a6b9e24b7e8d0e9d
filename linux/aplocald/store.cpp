#include "aplocald/store.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "aplocald/json.h"
#include "aplocald/replace_file.h"
#include "base/files.h"

namespace aplocal {

namespace {

// One path a line, so that people can read and compare the file.
std::string file_text(const std::map<std::string, std::string>& values) {
    std::string text = "{";
    const char* separator = "\n";
    for (const auto& [path, value] : values) {
        text.append(separator).append("  ").append(json_string(path)).append(": ").append(value);
        separator = ",\n";
    }
    return text + "\n}\n";
}

}  // namespace

store::store(std::string file) : file_(std::move(file)) {
    const auto text = rfcd::read_text_file(file_);
    if (!text && errno == ENOENT) return;
    if (!text) throw std::runtime_error("cannot read " + file_ + ": " + std::strerror(errno));

    const auto root = parse_object(*text);
    if (!root) throw std::runtime_error(file_ + " is not a JSON object of paths and values");

    json_object_object_foreach(root.get(), path, value) {
        if (*path != '/') throw std::runtime_error(file_ + ": \"" + path + "\" is not a path");
        values_[path] = json_text(value);
    }
}

std::optional<std::string> store::get(const std::string& path) const {
    const auto found = values_.find(path);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> store::set(const std::string& path, const std::string& json) {
    if (!path.starts_with('/')) return "\"" + path + "\" is not a path";
    if (get(path) == json) return std::nullopt;

    entries changed = values_;
    changed[path] = json;
    auto problem = replace_file(file_, file_text(changed), 0600, durability::survives_power_loss);
    if (!problem) values_ = std::move(changed);
    return problem;
}

}  // namespace aplocal
