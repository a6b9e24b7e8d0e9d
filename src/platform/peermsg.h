/*
 * The messaging library: a local bus on which processes exchange texts by module number. A peer
 * number is the module number of the addressee (1 to 255).
 *
 * One thread at a time may use a context. A text is sent like a datagram: when the peer is absent
 * or too far behind, the text is lost and nothing else happens. When the bus itself hangs, a call
 * that talks to it may block for a second or two before it gives up.
 */
#ifndef RFCD_PLATFORM_PEERMSG_H
#define RFCD_PLATFORM_PEERMSG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct peermsg_ctx peermsg_ctx;

/*
 * The settings of a module. The library may read or write all of the record for as long as the
 * context lives, so it must be writable and live as long. All bytes after the first field are zero.
 */
struct peermsg_settings {
    uint16_t code; /* 254 for every module of the access point */
    uint8_t reserved[254];
};

enum { PEERMSG_SETTINGS_CODE = 254, PEERMSG_MODE_PEER = 2 };

/*
 * Makes the context of `module`, or of a sender without a number if `module` is 0. Null when there
 * is no memory or an argument is out of range.
 */
peermsg_ctx* peermsg_init(unsigned module, struct peermsg_settings* settings, int mode);
/* Ends a running exchange and frees the context. Null is allowed. */
void peermsg_release(peermsg_ctx* ctx);

/*
 * Starts the exchange: texts addressed to the module arrive from now on; texts that were sent to it
 * before are lost. 0 on success, -1 when the bus cannot be reached.
 */
int peermsg_peer_start(peermsg_ctx* ctx);
/* Stops the exchange and drops the texts that nobody has taken. */
int peermsg_peer_stop(peermsg_ctx* ctx);

/*
 * Sends `length` bytes (up to 64 MiB) to `peer`, with or without a running exchange. 0 when the
 * bus accepted the text, -1 when it is lost.
 */
int peermsg_msg_send(peermsg_ctx* ctx, const char* text, uint8_t peer, size_t length);

/*
 * The module loop value: 0 before peermsg_peer_start, non-zero while the exchange runs, 0 again
 * when the bus is gone.
 */
int peermsg_get_moduleloop(const peermsg_ctx* ctx);
void peermsg_set_moduleloop(peermsg_ctx* ctx, int value);

/*
 * The next text addressed to the module, or null when there is none. Does not wait for a text to
 * begin. The caller releases the block with free(). The block holds the length of the text as an
 * unsigned 32-bit number at PEERMSG_LENGTH_OFFSET, and the text at PEERMSG_TEXT_OFFSET, followed by
 * a zero byte that the length does not count. The other bytes belong to the library.
 */
void* peermsg_get_msg_from_queue_no_wait(peermsg_ctx* ctx);

enum { PEERMSG_LENGTH_OFFSET = 4, PEERMSG_TEXT_OFFSET = 17 };

#ifdef __cplusplus
}
#endif

#endif
