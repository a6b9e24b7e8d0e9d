/*
 * The radio library: tells what the radios are doing, and scans their surroundings. An interface
 * has its system name ("wlan0", "wlan1-vap2"). All integers in records are little-endian.
 *
 * One context serves the whole process; one thread at a time may use it. No call blocks for long:
 * scans run in the radio, and the caller asks for the results later.
 */
#ifndef RFCD_PLATFORM_RADIOCTL_H
#define RFCD_PLATFORM_RADIOCTL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Storage for the library's own state; the library never keeps more than this. */
typedef struct radioctl_ctx {
    uint64_t storage[64];
} radioctl_ctx;

/* Opens a context in the caller's storage. Negative on failure; then there is nothing to free. */
int radioctl_init(radioctl_ctx* ctx);
void radioctl_free(radioctl_ctx* ctx);

/*
 * The radio information record. Offset 0: the bandwidth in MHz as decimal text, ended by a zero
 * byte. 12: primary channel. 14: where the secondary channel is. 15: centre channel of the 80 MHz
 * block. The rest belongs to the library.
 */
enum {
    RADIOCTL_INFO_SIZE = 256,
    RADIOCTL_INFO_BANDWIDTH = 0,
    RADIOCTL_INFO_BANDWIDTH_SIZE = 12,
    RADIOCTL_INFO_PRIMARY = 12,
    RADIOCTL_INFO_SECONDARY = 14,
    RADIOCTL_INFO_CENTRE = 15
};
enum { RADIOCTL_SECONDARY_ABOVE = 1, RADIOCTL_SECONDARY_BELOW = 3 };

/* Fills `record` of RADIOCTL_INFO_SIZE bytes. Negative on failure. */
int radioctl_get_radio_info(radioctl_ctx* ctx, const char* iface, void* record);

/*
 * What an active scan does. The library defines the values of the options; the driver has them in
 * driver_scan.cpp.
 */
struct radioctl_scan_params {
    const uint32_t* frequencies; /* MHz; read during the call */
    uint64_t frequency_count;
    uint8_t reserved_16[24];
    uint32_t option_40;
    uint16_t option_44;
    uint8_t reserved_46[34];
    uint8_t option_80;
    uint8_t reserved_81[7];
};

/*
 * Locks the radio for a scan and ends one that runs. The library defines the numbers of `purpose`.
 * 0 on success.
 */
int radioctl_lock_and_stop_scan(radioctl_ctx* ctx, const char* iface, int purpose);
/* Starts an active scan. 0 on success; an error while the radio is not locked. */
int radioctl_start_scan(radioctl_ctx* ctx, const char* iface,
                        const struct radioctl_scan_params* params);
/* Starts an RRM scan of one channel. */
int radioctl_rrm_scan_init(radioctl_ctx* ctx, const char* iface, int channel);
/* Ends an active scan; 0 on success, also when none runs. */
int radioctl_scan_abort(radioctl_ctx* ctx, const char* iface);
/* Ends an RRM scan and unlocks the radio; 0 on success, also when none runs. */
int radioctl_stop_rrm_and_unlock_scan(radioctl_ctx* ctx, const char* iface);

/*
 * The results of the last active scan: `count` entries of RADIOCTL_ENTRY_SIZE bytes each, owned by
 * the container. In an entry, offset 0: BSSID, 6 bytes. 12: channel. 20: band. 24: RSSI (signed 32
 * bits each). 61: the bandwidth in MHz as decimal text, ended by a zero byte. 67: two characters of
 * sideband text ("LL", "LU", "UL", "UU"), meaningful for 80 MHz.
 */
struct radioctl_scan_results {
    void* entries;
    uint64_t count;
};
enum {
    RADIOCTL_ENTRY_SIZE = 76,
    RADIOCTL_ENTRY_BSSID = 0,
    RADIOCTL_ENTRY_CHANNEL = 12,
    RADIOCTL_ENTRY_BAND = 20,
    RADIOCTL_ENTRY_RSSI = 24,
    RADIOCTL_ENTRY_BANDWIDTH = 61,
    RADIOCTL_ENTRY_BANDWIDTH_SIZE = 6,
    RADIOCTL_ENTRY_SIDEBAND = 67,
    RADIOCTL_ENTRY_SIDEBAND_SIZE = 2
};

void scan_results_init(struct radioctl_scan_results* results);
void scan_results_free(struct radioctl_scan_results* results);
/* Fills a container that was prepared with scan_results_init. Negative on failure. */
int radioctl_get_scan(radioctl_ctx* ctx, const char* iface, struct radioctl_scan_results* results);

/*
 * The buffer of RRM scan results. Offset 0: RADIOCTL_RRM_MAGIC when the library filled it. 4:
 * non-zero while the scan runs. 12: number of entries (signed). 16: band (signed). 20: the entries,
 * RADIOCTL_RRM_ENTRY_SIZE bytes each. In an entry, offset 0: BSSID, 6 bytes. 6: transmit power,
 * shifted left by 2. 8: channel specification, 16 bits; a wide channel has the number of its
 * centre. 12: sum of the RSSI samples. 16: their number (signed 32 bits each).
 */
enum {
    RADIOCTL_RRM_MAGIC = 0x11223344,
    RADIOCTL_RRM_MAX_ENTRIES = 256,
    RADIOCTL_RRM_MAGIC_OFFSET = 0,
    RADIOCTL_RRM_RUNNING_OFFSET = 4,
    RADIOCTL_RRM_COUNT_OFFSET = 12,
    RADIOCTL_RRM_BAND_OFFSET = 16,
    RADIOCTL_RRM_ENTRIES_OFFSET = 20,
    RADIOCTL_RRM_ENTRY_SIZE = 20,
    RADIOCTL_RRM_ENTRY_BSSID = 0,
    RADIOCTL_RRM_ENTRY_POWER = 6,
    RADIOCTL_RRM_ENTRY_CHANSPEC = 8,
    RADIOCTL_RRM_ENTRY_RSSI_SUM = 12,
    RADIOCTL_RRM_ENTRY_SAMPLES = 16,
    RADIOCTL_RRM_SIZE =
        RADIOCTL_RRM_ENTRIES_OFFSET + RADIOCTL_RRM_MAX_ENTRIES * RADIOCTL_RRM_ENTRY_SIZE
};

/* Fills `results` of RADIOCTL_RRM_SIZE bytes with what the RRM scan heard so far. 0 on success. */
int radioctl_rrm_scan_get_result(radioctl_ctx* ctx, const char* iface, void* results);

#ifdef __cplusplus
}
#endif

#endif
