// The proxy of the global control socket, between clients and a real hostapd.
#include "aplocald/control_proxy.h"

#include <sys/stat.h>

#include "harness/inbox.h"
#include "tests/linux/hostapd_fixture.h"

namespace aplocal {
namespace {

class ControlProxy : public HostapdTest {
  protected:
    ~ControlProxy() override { stop_proxy(); }

    void start_proxy() {
        proxy_ = std::make_unique<control_proxy>(loop_, settings_);
        thread_ = std::make_unique<loop_thread>(loop_);
    }
    void stop_proxy() {
        thread_.reset();
        proxy_.reset();
    }

    // The reply of hostapd itself.
    static std::string hostapd(const std::string& command) {
        return control_client(inner_socket).ask(command);
    }
    static void fill(const std::string& ifname, int entries) {
        const control_client client(inner_socket);
        for (int i = 0; i < entries; ++i) {
            const std::string bssid = "02:00:00:00:00:" + std::to_string(10 + i % 90);
            const std::string ssid = std::to_string(1000 + i);
            client.ask("IFNAME=" + ifname + " SET_NEIGHBOR " + bssid + " ssid=" + ssid +
                       " nr=02000000000163180000732409");
        }
    }

    event_loop loop_;
    control_proxy::settings settings_{.path = outer_socket, .hostapd = inner_socket, .group = {}};
    std::unique_ptr<control_proxy> proxy_;
    std::unique_ptr<loop_thread> thread_;
};

TEST_F(ControlProxy, EmptiesTheListOfOneInterface) {
    fill("wlan1", 300);  // more than hostapd shows at once
    fill("wlan2", 1);
    start_proxy();

    const std::string reply = control_client(outer_socket).ask("IFNAME=wlan1 REMOVE_ALL_NEIGHBOR");

    EXPECT_EQ(reply, "OK\n");
    EXPECT_EQ(hostapd("IFNAME=wlan1 SHOW_NEIGHBOR"), "");
    EXPECT_NE(hostapd("IFNAME=wlan2 SHOW_NEIGHBOR"), "");
}

TEST_F(ControlProxy, GivesWpaCliWhatHostapdGives) {
    start_proxy();

    for (const std::string command :
         {"PING", "IFNAME=wlan1 GET_CONFIG", "IFNAME=wlan9 PING", "NO_SUCH_COMMAND"}) {
        lab::child_process({"/usr/sbin/wpa_cli", "-g", outer_socket, "raw", command}, "/tmp/a")
            .wait();
        lab::child_process({"/usr/sbin/wpa_cli", "-g", inner_socket, "raw", command}, "/tmp/b")
            .wait();

        EXPECT_EQ(lab::read_file("/tmp/a"), lab::read_file("/tmp/b")) << command;
    }
    const std::string long_command = "IFNAME=wlan1 SET ssid " + std::string(4000, 'x');
    EXPECT_EQ(control_client(outer_socket).ask(long_command), hostapd(long_command));
}

TEST_F(ControlProxy, RepliesToAHundredClientsAtOnce) {
    start_proxy();
    std::vector<std::unique_ptr<control_client>> clients;
    for (int i = 0; i < 100; ++i) {
        const std::string path = i % 2 == 0 ? "" : "/tmp/client" + std::to_string(i);
        clients.push_back(std::make_unique<control_client>(outer_socket, path));
    }

    std::vector<std::thread> senders;
    for (int i = 0; i < 100; ++i) {
        senders.emplace_back(
            [&clients, i] { clients[i]->send(i % 3 == 0 ? "PING" : "INTERFACES"); });
    }
    for (auto& sender : senders) sender.join();

    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(clients[i]->receive(), i % 3 == 0 ? "PONG\n" : "wlan1\nwlan2\n") << i;
        std::filesystem::remove("/tmp/client" + std::to_string(i));
    }
}

TEST_F(ControlProxy, PassesEventsToAttachedClientsOnly) {
    start_proxy();
    const control_client attached(outer_socket);
    const control_client other(outer_socket);
    ASSERT_EQ(attached.ask("ATTACH"), "OK\n");
    ASSERT_EQ(other.ask("PING"), "PONG\n");

    hostapd("IFNAME=wlan1 DISABLE");

    EXPECT_NE(attached.receive().find("AP-DISABLED"), std::string::npos);
    EXPECT_EQ(other.receive(300ms), "nothing");
    EXPECT_EQ(attached.ask("DETACH"), "OK\n");
    hostapd("IFNAME=wlan1 ENABLE");
    EXPECT_EQ(attached.receive(300ms), "nothing");
}

TEST_F(ControlProxy, IsNotHeldUpByAClientThatNeverReads) {
    start_proxy();
    const control_client deaf(outer_socket);
    const control_client other(outer_socket);
    ASSERT_EQ(other.ask("PING"), "PONG\n");

    for (int i = 0; i < 1000 && deaf.send("IFNAME=wlan1 STATUS"); ++i) {
    }

    EXPECT_EQ(hostapd("PING"), "PONG\n");
    EXPECT_EQ(other.ask("PING"), "refused");
    EXPECT_EQ(control_client(outer_socket).ask("PING"), "PONG\n");
}

// A new socket that cannot be made must not end the process, which does more than this.
TEST_F(ControlProxy, TriesAgainWhenANewSocketCannotBeMade) {
    lab::inbox<std::string> said;
    settings_.path = "/tmp/clients/global";
    settings_.listen_pause = 50ms;
    settings_.said = [&](const std::string& line) { said.put(line); };
    std::filesystem::create_directory("/tmp/clients");
    start_proxy();
    const control_client deaf(settings_.path);
    std::filesystem::rename("/tmp/clients", "/tmp/away");

    for (int i = 0; i < 1000 && deaf.send("IFNAME=wlan1 STATUS"); ++i) {
    }

    EXPECT_EQ(said.take(), "/tmp/clients/global: No such file or directory");
    EXPECT_EQ(said.take(500ms), std::nullopt) << "it is said once";
    std::filesystem::create_directory("/tmp/clients");
    EXPECT_EQ(said.take(), "/tmp/clients/global is there again");
    EXPECT_EQ(control_client(settings_.path).ask("PING"), "PONG\n");
    stop_proxy();
    for (const char* folder : {"/tmp/away", "/tmp/clients"}) std::filesystem::remove_all(folder);
}

TEST_F(ControlProxy, KeepsRequestsForAHostapdThatHangs) {
    settings_.reply_limit = 100ms;
    start_proxy();
    const control_client client(outer_socket);
    kill(SIGSTOP);

    client.send("IFNAME=wlan1 REMOVE_ALL_NEIGHBOR");
    EXPECT_EQ(client.receive(500ms), "nothing");
    client.send("PING");
    kill(SIGCONT);

    EXPECT_EQ(client.receive(), "PONG\n");
}

// Whoever asked would wait as long as its patience lasts.
TEST_F(ControlProxy, RefusesARequestThatHostapdNeverTakes) {
    const int room = std::stoi(lab::read_file("/proc/sys/net/unix/max_dgram_qlen"));
    settings_.hold_limit = 1s;
    start_proxy();
    const control_client client(outer_socket);
    const auto fill = [&] {
        kill(SIGSTOP);
        for (int i = 0; i < room + 2; ++i) client.send("PING");
    };

    fill();
    EXPECT_EQ(client.receive(200ms), "nothing") << "hostapd may take it yet";
    kill(SIGKILL);
    EXPECT_EQ(client.receive(), "FAIL\n");

    start();
    fill();
    EXPECT_EQ(client.receive(), "FAIL\n") << "it hangs";
}

TEST_F(ControlProxy, GoesOnWithAHostapdThatWasStartedAnew) {
    start_proxy();
    const control_client client(outer_socket);
    ASSERT_EQ(client.ask("PING"), "PONG\n");

    kill(SIGKILL);
    EXPECT_EQ(client.ask("PING"), "FAIL\n");
    start();

    EXPECT_EQ(client.ask("PING"), "PONG\n");
}

TEST_F(ControlProxy, ForgetsClientsThatHaveGone) {
    settings_.idle_limit = 100ms;
    start_proxy();
    const control_client attached(outer_socket);
    ASSERT_EQ(attached.ask("ATTACH"), "OK\n");
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(control_client(outer_socket).ask(i % 2 == 0 ? "PING" : "ATTACH").size(),
                  i % 2 == 0 ? 5U : 3U);
    }

    std::this_thread::sleep_for(1s);
    thread_.reset();

    EXPECT_EQ(proxy_->clients(), 1U);
}

TEST_F(ControlProxy, TakesTheSocketOfTheDeadOnly) {
    auto dead = std::make_unique<unix_socket>();
    const unix_address address(outer_socket);
    bind(dead->descriptor(), address.raw(), address.size);

    EXPECT_THROW(start_proxy(), std::runtime_error);
    dead.reset();
    start_proxy();

    EXPECT_EQ(control_client(outer_socket).ask("PING"), "PONG\n");
    struct stat status {};
    ASSERT_EQ(stat(outer_socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0660U);
    stop_proxy();
    EXPECT_FALSE(std::filesystem::exists(outer_socket));
}

}  // namespace
}  // namespace aplocal
