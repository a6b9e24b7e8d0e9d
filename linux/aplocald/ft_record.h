// What hostapd was given for fast transition, and the text by which the next aplocald learns of it.
// The text has keys in it. fast_transition.h tells what it is for.
#pragma once

#include <map>
#include <set>
#include <string>

namespace aplocal {

// Lines of hostapd's configuration: names and values.
struct ft_lines {
    std::map<std::string, std::string> settings;
    std::map<std::string, std::string> remotes;  // keys, by "r0kh MAC ID" and "r1kh MAC ID"
};

struct ft_record {
    std::map<std::string, ft_lines> wanted;  // by interface name

    std::string hostapd;                    // the start_of_hostapd() that the rest is about
    std::map<std::string, ft_lines> given;  // by interface name, as far as is known
    std::set<std::string> reaching;  // interfaces whose socket to other access points is open
};

std::string record_text(const ft_record& record);
// Empty when the text is not such a record.
ft_record read_record(const std::string& text);

// Tells one start of hostapd from every other: hostapd writes its pid file only when it starts.
// Empty when there is no such file.
std::string start_of_hostapd(const std::string& pid_file);

}  // namespace aplocal
