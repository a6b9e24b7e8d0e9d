#include "aplocald/hostapd_requests.h"

#include <map>
#include <vector>

#include "aplocald/ft_parameters.h"
#include "aplocald/json.h"

namespace aplocal {

std::optional<std::string> hostapd_requests::update_fast_transition(json_object* request) {
    std::map<std::string, ft_parameters> vaps;
    json_object_object_foreach(request, name, value) {
        if (!json_object_is_type(value, json_type_object)) continue;
        auto [parameters, error] = read_ft_parameters(value);
        if (!error.empty()) return std::string(name) + ": " + error;
        vaps[name] = std::move(parameters);
    }
    return transition_.apply(vaps);
}

std::optional<std::string> hostapd_requests::reset_fast_transition(json_object* request) {
    std::vector<std::string> vaps;
    json_object_object_foreach(request, name, value) {
        if (json_object_is_type(value, json_type_object)) vaps.emplace_back(name);
    }
    return transition_.reset(vaps);
}

std::optional<std::string> hostapd_requests::deny(
    json_object* request, const std::string& list,
    const std::set<std::string, std::less<>>& interfaces) {
    json_object* const array = json_object_object_get(request, list.c_str());
    if (!json_object_is_type(array, json_type_array)) return "there is no list \"" + list + "\"";

    std::set<std::string> macs;
    for (std::size_t i = 0; i < json_object_array_length(array); ++i) {
        macs.insert(plain_text(json_object_array_get_idx(array, i)));
    }

    std::optional<std::string> first_problem;
    for (const auto& ifname : interfaces) {
        const auto problem = lists_.deny(ifname, macs);
        if (!problem) continue;
        if (!first_problem) first_problem = problem->words;
        if (problem->hostapd_is_silent) break;
    }
    return first_problem;
}

}  // namespace aplocal
