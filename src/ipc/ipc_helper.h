// The client of the local daemons on the access point's bus: reads single values from the
// configuration store by path, asks the network daemon to apply settings and waits for its answer,
// and sends one-way notices. It is the base class of the radio driver, of which a process has one.
//
// A request blocks the calling thread for up to the reply time-out, or until a signal arrives. Once
// the service's running flag is clear, every request fails at once and logs nothing. There is no
// lock: all requests come from the thread of the service worker, one at a time. Nothing is cached.
//
// An answer does not say which request it belongs to. The answer to a request that has timed out
// may still come, and would be taken for the answer to the next request, and so on for ever. So a
// peer that has let a request time out owes answers. While it does, the helper drops what arrives
// before a request to it, and takes the last of several answers to one. This ends when the peer
// owes no answer any more, or when several requests in a row have had exactly one answer.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/cfg_ptr.h"
#include "base/running_flag.h"
#include "ipc/bus.h"
#include "platform/peermsg.h"

namespace rfcd {

class ipc_helper {
  public:
    using parameters = std::vector<std::pair<std::string, std::string>>;

    // Joins the bus; logs a failure and then ends the process with status -1. `running` is the flag
    // of the service and outlives this object.
    explicit ipc_helper(const running_flag* running);
    ipc_helper(const ipc_helper&) = delete;
    ipc_helper& operator=(const ipc_helper&) = delete;

    // The configuration getters. Each reads the store; the comment has what it returns on failure.
    virtual std::string get_country(const char* ifname) const;  // "RU"
    virtual bool get_reserved_a(const char* ifname) const;      // reads nothing: false
    virtual bool get_auto_channel(const char* ifname) const;    // false
    virtual bool get_wpa2_or_wpa3_vap(std::int32_t radio, std::int32_t vap) const;  // false
    virtual bool get_ft_enabled_vap(std::int32_t radio, std::int32_t vap) const;    // false
    virtual bool get_enterprise_vap(const std::string& vap_ifname) const;           // false
    virtual bool get_802dot11k_vap(const std::string& vap_ifname) const;            // false
    virtual std::string get_ssid(const std::string& vap_ifname) const;              // ""
    virtual bool get_vap_enabled_state(const std::string& vap_ifname) const;        // false
    virtual bool get_captive_portal_state(const std::string& vap_ifname) const;     // false

    // Reads the value at a configuration path: the text of a plain value, or a subtree as text. 0
    // on success, -1 on failure, which is logged. Leaves `value` as it was on failure, and when the
    // value has a type that this version does not know.
    int getconf(const std::string& path, std::string& value) const;
    // The same, with the path logged first.
    int read_setting(const std::string& path, std::string& value) const;

    // Asks the network daemon to apply parameters to an interface. 0 when it answered "ok", else -1
    // with the reason logged; -1 at once when the name or the parameters are empty.
    int update_skylark(const std::string& ifname, const parameters& pairs) const;

    // Hands a message with MAC lists, a JSON text, to the network daemon. 0 when it answered "ok",
    // else -1 with the reason logged.
    int set_wisd_bw_list(const std::string& text) const;

    // Tell the scan listener that a radio is free again, or is about to be scanned. They do not
    // wait for an answer.
    int unlock_scan(const std::string& ifname) const;
    void lock_scan(const std::string& ifname) const;

    // True once the daemon was told to stop. A missing answer is then no failure.
    bool is_stopping() const { return !*running_; }

  protected:
    // Not for deletion through this class.
    ~ipc_helper();

    // Sends a request tree to a peer and waits for the answer whose "command" is `answer_command`.
    // Null when none came in time, when nobody took the request, and while the daemon stops.
    cfg_ptr send_and_wait(cfg_tree* request, const char* answer_command, std::uint8_t peer,
                          const char* error_text) const;

    // True when the answer's "status" is "ok".
    static bool is_ok(cfg_tree* answer);
    // Why it is not "ok", for the log. The answer owns the text.
    static const char* reason_of(cfg_tree* answer);

    static constexpr std::uint8_t configd_peer = 1;
    static constexpr std::uint8_t networkd_peer = 6;

  private:
    void send_scan_notice(const char* command, const std::string& ifname) const;
    cfg_ptr wait_answer(const char* answer_command, std::uint8_t peer,
                        const char* error_text) const;
    cfg_ptr last_answer(cfg_ptr answer, const char* answer_command, std::uint8_t peer) const;
    template <typename Take>
    void take_until_quiet(Take take) const;

    const running_flag* const running_;
    // The library keeps a pointer to it as long as bus_ lives.
    mutable peermsg_settings settings_{PEERMSG_SETTINGS_CODE, {}};
    const bus_ptr bus_;
    const std::uint32_t reply_timeout_ = 20;  // seconds

    // What a peer that has let a request time out owes.
    struct debt {
        int answers = 0;  // to earlier requests, which may still come
        int single = 0;   // requests in a row that had one answer
    };
    mutable std::map<std::uint8_t, debt> late_peers_;
};

}  // namespace rfcd
