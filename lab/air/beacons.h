// Beacons of access points that are not there, sent from a radio of their own: a crowd, and what no
// honest access point sends.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace lab::air {

using bytes = std::vector<std::uint8_t>;

// A whole beacon with these elements, after the radiotap header that injection needs.
struct beacon {
    std::uint8_t number;  // the last byte of its BSSID, 02:00:00:00:ee:NUMBER
    bytes elements;
};
bytes frame_of(const beacon& b);
std::string bssid_of(const beacon& b);

// `count` ordinary access points on this channel, 20 MHz wide, numbered from 1.
std::vector<beacon> crowd(int count, std::uint8_t channel);
// Access points on this channel whose names and elements are hostile, numbered from 200.
std::vector<beacon> hostile_beacons(std::uint8_t channel);

// Sends all beacons every 100 ms, and at once when a station probes, from its own thread.
class beacon_sender {
  public:
    // Makes the radio of `ifname` a monitor on this frequency. Throws std::runtime_error when it
    // cannot.
    beacon_sender(const std::string& ifname, int frequency, const std::vector<beacon>& beacons);
    beacon_sender(const beacon_sender&) = delete;
    beacon_sender& operator=(const beacon_sender&) = delete;
    ~beacon_sender();

  private:
    void serve();
    bool hears_a_probe() const;

    std::vector<bytes> frames_;
    int socket_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

}  // namespace lab::air
