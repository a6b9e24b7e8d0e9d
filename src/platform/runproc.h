/*
 * The command-execution library. The driver uses it to run wpa_cli, which tells hostapd about
 * neighbours. All calls come from the driver's thread.
 */
#ifndef RFCD_PLATFORM_RUNPROC_H
#define RFCD_PLATFORM_RUNPROC_H

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Runs the command that `format` and its arguments make, without a shell: blanks separate its
 * words. Blocks until the command has ended, but does not wait for processes that the command
 * leaves behind. Kills the command when it takes too long, or when a signal handler runs on the
 * calling thread. Returns 0 when the command ended by itself with status 0, else non-zero.
 */
int runproc_exec(const char* format, ...) __attribute__((format(printf, 1, 2)));

/*
 * Makes the library pass each command and its output to `write`, as one line without a line end.
 * Optional: a library that reports elsewhere lacks this function, so callers test its address
 * first.
 */
void runproc_set_log(void (*write)(const char* line)) __attribute__((weak));

#ifdef __cplusplus
}
#endif

#endif
