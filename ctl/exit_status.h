// The exit statuses of rfcdctl. The manual page says what each command means by them.
#pragma once

namespace ctl {

inline constexpr int exit_good = 0;     // connected; the file is fine
inline constexpr int exit_bad = 1;      // not connected; the file is not fine
inline constexpr int exit_trouble = 2;  // not running or stuck; nothing could be found out
inline constexpr int exit_usage = 2;    // wrong words; a configuration that cannot be read

}  // namespace ctl
