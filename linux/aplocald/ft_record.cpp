#include "aplocald/ft_record.h"

#include <sys/stat.h>

#include <cstdlib>

#include "aplocald/json.h"
#include "base/files.h"

namespace aplocal {

namespace {

// `text_of` makes a JSON text of a value of the map.
template <typename Map, typename Function>
std::string object_text(const Map& members, Function text_of) {
    std::string text = "{";
    const char* separator = "";
    for (const auto& [name, value] : members) {
        text.append(separator).append(json_string(name)).append(":").append(text_of(value));
        separator = ",";
    }
    return text + "}";
}

std::string lines_text(const ft_lines& lines) {
    return R"({"settings":)" + object_text(lines.settings, json_string) + R"(,"remotes":)" +
           object_text(lines.remotes, json_string) + "}";
}

// The members of the object `name` in `parent`, each read by `read`; empty when there is none.
template <typename Function>
auto members_of(json_object* parent, const char* name, Function read) {
    std::map<std::string, decltype(read(parent))> members;
    json_object* const object = json_object_object_get(parent, name);
    if (!json_object_is_type(object, json_type_object)) return members;

    json_object_object_foreach(object, key, value) members[key] = read(value);
    return members;
}

ft_lines read_lines(json_object* object) {
    return {.settings = members_of(object, "settings", plain_text),
            .remotes = members_of(object, "remotes", plain_text)};
}

}  // namespace

std::string record_text(const ft_record& record) {
    std::map<std::string, std::string> reaching;
    for (const auto& ifname : record.reaching) reaching[ifname] = "true";

    return R"({"wanted":)" + object_text(record.wanted, lines_text) + R"(,"hostapd":)" +
           json_string(record.hostapd) + R"(,"given":)" + object_text(record.given, lines_text) +
           R"(,"reaching":)" + object_text(reaching, json_string) + "}\n";
}

ft_record read_record(const std::string& text) {
    const auto root = parse_object(text);
    ft_record record{.wanted = members_of(root.get(), "wanted", read_lines),
                     .hostapd = text_member(root.get(), "hostapd"),
                     .given = members_of(root.get(), "given", read_lines),
                     .reaching = {}};
    for (const auto& [ifname, truth] : members_of(root.get(), "reaching", plain_text)) {
        record.reaching.insert(ifname);
    }
    return record;
}

std::string start_of_hostapd(const std::string& pid_file) {
    struct stat status {};
    const auto number = rfcd::read_text_file(pid_file);
    if (!number || stat(pid_file.c_str(), &status) != 0) return {};
    return std::to_string(std::strtol(number->c_str(), nullptr, 10)) + " " +
           std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
}

}  // namespace aplocal
