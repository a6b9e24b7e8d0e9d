/*
 * The log library: one time-stamped line per call, written for a named daemon, and the rotation of
 * the file that the lines go to.
 *
 * Level codes are bits: 1 shifted left by the syslog priority (8 error, 16 warning, 64 info,
 * 128 debug). No operation reports a failure of the destination: a full disk or an unwritable file
 * costs lines, but does not stop the daemon. The caller serialises the calls.
 */
#ifndef RFCD_PLATFORM_VNORDA_LOG_H
#define RFCD_PLATFORM_VNORDA_LOG_H

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Names the daemon in every later line. `name` must outlive the process. */
void norda_log_set_daemonname(const char* name);

/* Sets up the rotation of the log of `identity`. Call once, before the first line. 0 on success. */
int logcycle_init(const char* identity);

/*
 * Sends later lines to the file at `path` (copied) and rotates it by size. Optional: a library that
 * logs elsewhere lacks this function, so callers test its address first.
 */
void logcycle_set_file(const char* path) __attribute__((weak));

/*
 * Writes one line: a stamp, then `format` filled with `args`. `format` is always a constant of the
 * daemon. May block for as long as the destination does.
 */
void vnorda_log_msg_timed_new(int level_code, const char* format, va_list args)
    __attribute__((format(printf, 2, 0)));

#ifdef __cplusplus
}
#endif

#endif
