// Tells the service manager that started the daemon how it is, in the notification protocol that
// systemd documents as stable: a datagram of NAME=VALUE lines to the socket that NOTIFY_SOCKET
// names. Without that variable, everything here does nothing. Safe on any thread.
#pragma once

#include <chrono>
#include <string>

namespace rfcd {

class service_manager {
  public:
    // Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID, and removes them, so that no command
    // that the daemon starts takes them for its own.
    service_manager();
    service_manager(const service_manager&) = delete;
    service_manager& operator=(const service_manager&) = delete;
    ~service_manager();

    // The time within which the manager wants a sign of life; 0 for none.
    std::chrono::milliseconds watchdog_period() const { return watchdog_period_; }

    // Never waits; a message that the socket does not take is lost.
    void ready() const { send("READY=1"); }
    void status(const std::string& text) const { send("STATUS=" + text); }
    void alive() const { send("WATCHDOG=1"); }
    void stopping() const { send("STOPPING=1"); }

  private:
    void send(const std::string& message) const;

    int socket_ = -1;  // connected to the manager; -1 without one
    std::chrono::milliseconds watchdog_period_{0};
};

}  // namespace rfcd
