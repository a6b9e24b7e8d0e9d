/*
 * The reply-wait library: waits on the bus for the answer to a request. It works on the caller's
 * thread, the one that uses the context.
 */
#ifndef RFCD_PLATFORM_REPLYWAIT_H
#define RFCD_PLATFORM_REPLYWAIT_H

#include "platform/kvtree.h"
#include "platform/peermsg.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Blocks until the peer that `ctx` last sent a text to answers with a tree whose "command" is
 * `answer_command`. Returns the tree, which the caller releases with cfg_release. Returns null when
 *   - `timeout_s` seconds have passed, or the exchange of `ctx` has ended;
 *   - the bus reports that no module took the text: nobody is registered under that number, or its
 *     backlog is full;
 *   - a signal handler has run on the calling thread during the wait.
 * In the first two cases the library reports `error_text` in a place of its own.
 *
 * An answer does not say which request it belongs to, so a late answer is taken for the answer to
 * the next request of the same kind. Other texts that arrive meanwhile stay, in
 * order, for peermsg_get_msg_from_queue_no_wait. The exchange must be running.
 */
cfg_tree* replywait_wait_answer(peermsg_ctx* ctx, const char* answer_command,
                                const char* error_text, unsigned timeout_s);

#ifdef __cplusplus
}
#endif

#endif
