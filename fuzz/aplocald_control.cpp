// A script of what clients and hostapd send to aplocald: the proxy between them, with real sockets,
// and the readers of hostapd's replies. The first character of a line tells what it is:
//
//   0 to 3  this client sends the rest of the line
//   r       hostapd replies with the rest, to who asked last
//   c       the client whose number follows closes its socket and opens another
#include <cerrno>
#include <cstring>

#include "aplocald/access_lists.h"
#include "aplocald/control_proxy.h"
#include "aplocald/ft_parameters.h"
#include "aplocald/hostapd_control.h"
#include "fuzz/fuzz.h"

namespace {

using namespace aplocal;

const std::string proxy_path = "/tmp/fuzz-proxy-" + std::to_string(getpid());
const std::string hostapd_path = "/tmp/fuzz-hostapd-" + std::to_string(getpid());

class world {
  public:
    world() {
        unlink(hostapd_path.c_str());
        const unix_address address(hostapd_path);
        fuzz::require(bind(hostapd_.descriptor(), address.raw(), address.size) == 0, "a hostapd");
        for (auto& client : clients_) open(client);
    }
    ~world() { unlink(hostapd_path.c_str()); }

    bool play(std::string_view line) {
        const char what = fuzz::cut_character(line);
        if (what >= '0' && what <= '3') send(clients_[what - '0'], line);
        if (what == 'r' && asked_) hostapd_.send_to(*asked_, line);
        if (what == 'c') open(clients_[fuzz::cut_number<unsigned>(line) % 4]);
        settle();
        return true;
    }

    // A new client is served, whatever the others have done.
    void require_service() {
        asked_.reset();
        while (hostapd_.receive()) {
        }
        unix_socket client;
        open(client);
        client.send("PING");
        settle();
        fuzz::require(asked_ && hostapd_.send_to(*asked_, "PONG\n") == unix_socket::outcome::sent,
                      "hostapd is asked");
        settle();
        fuzz::require(client.receive() == "PONG\n", "the client that asked gets the reply");
    }

  private:
    static void open(unix_socket& client) {
        client = unix_socket();
        client.bind_anywhere();
        client.connect(unix_address(proxy_path));
    }

    static void send(const unix_socket& client, std::string_view text) { client.send(text); }

    // Runs the proxy for as long as it has something to do.
    void settle() {
        loop_.after(std::chrono::milliseconds(1), [this] { loop_.stop(); });
        loop_.run();

        unix_address from;
        while (hostapd_.receive(&from)) {
            if (!from.name().empty()) asked_ = from;
        }
    }

    event_loop loop_;
    unix_socket hostapd_;
    control_proxy proxy_{loop_, {.path = proxy_path, .hostapd = hostapd_path, .group = {}}};
    unix_socket clients_[4];
    std::optional<unix_address> asked_;
};

void read_replies(std::string_view text) {
    for (const auto& entry : read_neighbours(text)) {
        fuzz::require(entry.bssid.size() == 17, "an address", entry.bssid);
        fuzz::require(entry.ssid.find(' ') == std::string::npos, "one word", entry.ssid);
    }
    for (const auto& mac : read_access_list(text)) {
        fuzz::require(mac.size() == 17, "an address", mac);
    }
    if (const auto event = read_event(text)) fuzz::require(event->size() < text.size(), "shorter");

    fuzz::require(!has_fast_transition(without_fast_transition(text)), "none is left", text);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto script = fuzz::text_of(data, size);
    read_replies(script);

    world all;
    fuzz::play_lines(script, [&](std::string_view line) { return all.play(line); });
    all.require_service();
    return 0;
}
