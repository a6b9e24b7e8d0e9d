// The control sockets of hostapd and wpa_supplicant, and waiting for what they tell. Used on the
// scenario's thread.
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "harness/wait.h"

namespace lab::air {

// The reply to a command; empty when nobody has the socket or replies within two seconds.
std::string ask_control(const std::string& socket_path, const std::string& command);

// The value of a line "NAME=value" among `lines`; empty when there is none.
std::string value_of(const std::string& lines, const std::string& name);

// As wait_until(), but leaves the emulated processor to those who are waited for.
template <typename Condition>
bool await(const Condition& condition, milliseconds timeout = patience) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(100ms);
    }
    return true;
}

}  // namespace lab::air
