// The files by which other processes of the access point and the RRM client tell each other what
// happens. Only their existence counts. Looked at and changed on the main thread alone.
#pragma once

namespace rfcd::flag_files {

inline constexpr const char* hostapd_pid = "/var/run/hostapd.pid";
inline constexpr const char* widsd_pid = "/var/run/widsd.pid";

// Something of the following has changed; they are looked at only while this one exists.
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
// Makes the file, empty. A link that stands in its place is not followed.
void create(const char* path);

}  // namespace rfcd::flag_files
