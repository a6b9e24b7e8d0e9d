/*
 * The command-execution library, by which the driver has wpa_cli tell hostapd about neighbours. All
 * calls come from the driver's thread.
 */
#ifndef RFCD_PLATFORM_RUNPROC_H
#define RFCD_PLATFORM_RUNPROC_H

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Runs the command that `format` and its arguments make, without any shell: its words are what
 * stands between blanks. Blocks until the command has ended; what it leaves running behind it is
 * not waited for. Kills the command when it takes too long, and when a signal handler runs on the
 * calling thread. Returns 0 when it ended by itself with status 0, else non-zero.
 */
int runproc_exec(const char* format, ...) __attribute__((format(printf, 1, 2)));

/*
 * Has each command and what it printed written through `write`, as one line without a line end.
 * Optional: a platform whose library reports in a place of its own leaves it out, which is why
 * callers test its address first.
 */
void runproc_set_log(void (*write)(const char* line)) __attribute__((weak));

#ifdef __cplusplus
}
#endif

#endif
