// Reports the state of the daemon to the service manager that started it. It uses the notification
// protocol that systemd documents as stable: a datagram of NAME=VALUE lines to the socket in
// NOTIFY_SOCKET. Without that variable, all operations do nothing. Start-up makes one, which lives
// as long as the daemon runs. Safe on any thread.
#pragma once

#include <chrono>
#include <string>

namespace rfcd {

class service_manager {
  public:
    // Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID, and removes them from the environment,
    // so that the commands that the daemon starts do not use them.
    service_manager();
    service_manager(const service_manager&) = delete;
    service_manager& operator=(const service_manager&) = delete;
    ~service_manager();

    // The longest time between two signs of life that the manager allows; 0 when it wants none.
    std::chrono::milliseconds watchdog_period() const { return watchdog_period_; }

    // These never wait. A message that the socket does not accept is lost.
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
