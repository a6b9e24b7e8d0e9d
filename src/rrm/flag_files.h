// The files through which other processes of the access point and the RRM client tell each other
// what happens. Only the existence of a file counts. Only the main thread looks at them and changes
// them.
#pragma once

namespace rfcd::flag_files {

inline constexpr const char* hostapd_pid = "/var/run/hostapd.pid";
inline constexpr const char* widsd_pid = "/var/run/widsd.pid";

// Another process creates this file after one of the following four. The RRM client looks for those
// only when it finds this one.
inline constexpr const char* notify = "/tmp/.skylark_notify";
inline constexpr const char* hostapd_started = "/tmp/.skylark_notify_hostapd_started";
inline constexpr const char* widsd_started = "/tmp/.skylark_notify_widsd_started";
inline constexpr const char* config_updated = "/tmp/.skylark_notify_config_updated";
inline constexpr const char* timezone_changed = "/tmp/.skylark_notify_timezone_changed";

// The RRM subscription is accepted. Written by the daemon.
inline constexpr const char* connected = "/tmp/.skylark-connected";

bool exists(const char* path);
// Removes the file; true when it was there.
bool consume(const char* path);
// Removes whatever stands there.
void remove(const char* path);
// Makes an empty file, or empties the one that is there. Does not follow a link in its place.
void create(const char* path);

}  // namespace rfcd::flag_files
