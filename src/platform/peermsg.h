/*
 * The messaging library: a local bus on which processes exchange texts by module number. A peer
 * number is the module number of the addressee (1 to 255).
 *
 * A context belongs to one thread at a time. Sending is a datagram in spirit: a text for a peer
 * that is absent, or that has fallen too far behind, is lost, and nothing else happens. Calls that
 * talk to the bus may block for a second or two when the bus itself does not move, then give up.
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
 * What a module is joined with. The library may read or write all of it for as long as the context
 * lives: hand over a writable record of that lifetime, zero behind its first field.
 */
struct peermsg_settings {
    uint16_t code; /* 254 for every module of the access point */
    uint8_t reserved[254];
};

enum { PEERMSG_SETTINGS_CODE = 254, PEERMSG_MODE_PEER = 2 };

/*
 * Makes the context of `module`, 0 for one that only sends; null when out of memory or an argument
 * is out of range.
 */
peermsg_ctx* peermsg_init(unsigned module, struct peermsg_settings* settings, int mode);
/* Ends the exchange when it runs and frees the context. Null is allowed. */
void peermsg_release(peermsg_ctx* ctx);

/*
 * Starts the exchange: texts addressed to the module arrive from now on; what was sent to it
 * before is gone. 0 on success, -1 when the bus cannot be reached.
 */
int peermsg_peer_start(peermsg_ctx* ctx);
/* Stops the exchange: texts that have not been taken are dropped. */
int peermsg_peer_stop(peermsg_ctx* ctx);

/*
 * Sends `length` bytes (up to 64 MiB) to `peer`, with or without a running exchange. 0 when the
 * bus took the text, -1 when it is lost.
 */
int peermsg_msg_send(peermsg_ctx* ctx, const char* text, uint8_t peer, size_t length);

/*
 * The module loop value: 0 before peermsg_peer_start, non-zero while the exchange runs, 0 again
 * when the bus is gone.
 */
int peermsg_get_moduleloop(const peermsg_ctx* ctx);
void peermsg_set_moduleloop(peermsg_ctx* ctx, int value);

/*
 * The next text addressed to the module, or null when none has begun to come. The block is the
 * caller's, to be given to free(). It holds the length of the text as an unsigned 32-bit number at
 * PEERMSG_LENGTH_OFFSET and the text at PEERMSG_TEXT_OFFSET; a zero byte that the length does not
 * count follows it. The other bytes are the library's.
 */
void* peermsg_get_msg_from_queue_no_wait(peermsg_ctx* ctx);

enum { PEERMSG_LENGTH_OFFSET = 4, PEERMSG_TEXT_OFFSET = 17 };

#ifdef __cplusplus
}
#endif

#endif
