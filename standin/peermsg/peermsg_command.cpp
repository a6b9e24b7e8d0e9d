// Uses the bus from a shell: sends, asks, listens, lists who is registered, shows what passes.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "peermsg/context.h"
#include "platform/kvtree.h"

namespace {

using clock_type = std::chrono::steady_clock;
using context = std::unique_ptr<peermsg_ctx, decltype(&peermsg_release)>;
using standin::bus_connection;
using standin::frame_block;
using standin::frame_kind;

constexpr const char* usage =
    "usage: peermsg send MODULE TEXT\n"
    "       peermsg ask [-t SECONDS] MODULE TEXT [COMMAND]\n"
    "       peermsg listen MODULE\n"
    "       peermsg list\n"
    "       peermsg monitor\n"
    "MODULE is a number from 1 to 255.\n";
constexpr unsigned wrong_usage = 2;
constexpr unsigned default_wait_s = 20;
constexpr unsigned max_wait_s = 86'400;

// The numbers that `ask` may take for itself.
constexpr unsigned first_asker = 200;
constexpr unsigned askers = standin::max_module - first_asker + 1;

peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};

context open_as(unsigned module) {
    return {peermsg_init(module, &settings, PEERMSG_MODE_PEER), &peermsg_release};
}

int fail(const std::string& why) {
    std::fprintf(stderr, "peermsg: %s\n", why.c_str());
    return EXIT_FAILURE;
}

int fail_bus_gone() { return fail("the bus is gone"); }

void print_line(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::putchar('\n');
}

// The next frame; null at the deadline, or when the connection is closed.
frame_block next_frame(bus_connection& bus, clock_type::time_point deadline) {
    while (true) {
        if (auto frame = bus.receive()) return frame;
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - clock_type::now());
        if (!bus.is_open() || left.count() <= 0) return {};
        bus.wait_readable(std::min(left, std::chrono::milliseconds(60'000)));
    }
}

// Sends a frame of this kind as a connection without a module.
bool open_and_request(bus_connection& bus, frame_kind kind) {
    return bus.open(0) && bus.send({0, kind, 0, 0}, {});
}

int send(unsigned module, const char* text) {
    const auto ctx = open_as(0);
    if (!ctx || peermsg_msg_send(ctx.get(), text, static_cast<std::uint8_t>(module),
                                 std::strlen(text)) != 0) {
        return fail("the bus cannot be reached");
    }
    return EXIT_SUCCESS;
}

// A module number of its own for one question. Two calls in a row begin at different numbers, so
// that an answer that comes too late for the first is not taken for that of the second.
context start_as_asker() {
    const auto first = static_cast<unsigned>(getpid());
    for (unsigned i = 0; i < askers; ++i) {
        auto ctx = open_as(first_asker + (first + i) % askers);
        if (ctx && peermsg_peer_start(ctx.get()) == 0) return ctx;
    }
    return {nullptr, &peermsg_release};
}

bool has_command(const frame_block& block, const char* command) {
    const std::unique_ptr<cfg_tree, decltype(&cfg_release)> tree(
        cfg_parse_buffer(text_of(block).data()), &cfg_release);
    const char* const found = cfg_get_param(tree.get(), "command");
    return found != nullptr && std::strcmp(found, command) == 0;
}

struct question {
    unsigned module = 0;
    const char* text = nullptr;
    const char* command = nullptr;  // that the answer must have; null: any text answers
    unsigned wait_s = default_wait_s;
};

int ask(const question& q) {
    const auto ctx = start_as_asker();
    if (!ctx) return fail("the bus cannot be reached, or all numbers from 200 are taken");
    const auto deadline = clock_type::now() + std::chrono::seconds(q.wait_s);
    if (peermsg_msg_send(ctx.get(), q.text, static_cast<std::uint8_t>(q.module),
                         std::strlen(q.text)) != 0) {
        return fail_bus_gone();
    }

    while (const auto block = next_frame(ctx->connection, deadline)) {
        const auto head = head_of(block);
        if (head.kind == frame_kind::untaken && head.destination == q.module) {
            return fail("nobody takes texts for module " + std::to_string(q.module));
        }
        if (head.kind != frame_kind::text || head.source != q.module) continue;
        if (q.command != nullptr && !has_command(block, q.command)) continue;
        print_line(text_of(block));
        return EXIT_SUCCESS;
    }

    if (!ctx->connection.is_open()) return fail_bus_gone();
    return fail("no answer within " + std::to_string(q.wait_s) + " s");
}

// Prints each text on a line with its sender, until the bus goes or Ctrl-C.
int listen(unsigned module) {
    const auto ctx = open_as(module);
    if (!ctx || peermsg_peer_start(ctx.get()) != 0) {
        return fail("the bus cannot be reached, or " + std::to_string(module) + " is taken");
    }

    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    while (peermsg_get_moduleloop(ctx.get()) != 0) {
        const auto block =
            standin::wait_new_text(*ctx, clock_type::now() + std::chrono::seconds(60));
        if (!block) continue;
        std::printf("from %u: ", static_cast<unsigned>(head_of(block).source));
        print_line(text_of(block));
    }
    return fail_bus_gone();
}

// Without control characters, so that a text takes one line and cannot change the terminal.
std::string printable(std::string_view text) {
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            shown += c;
        } else {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
            shown += escape.data();
        }
    }
    return shown;
}

// The name that the process has given its main thread; "-" when it cannot be read.
std::string name_of_process(long process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    return std::getline(file, name) ? printable(name) : "-";
}

int list() {
    bus_connection bus;
    if (!open_and_request(bus, frame_kind::list)) return fail("the bus cannot be reached");
    const auto answer = next_frame(bus, clock_type::now() + std::chrono::seconds(5));
    if (!answer || head_of(answer).kind != frame_kind::listed) {
        return fail("the broker does not tell; it may be an older one");
    }

    std::printf("module  process  name\n");
    std::istringstream lines{std::string(text_of(answer))};
    unsigned module = 0;
    for (long process = 0; lines >> module >> process;) {
        std::printf("%6u  %7ld  %s\n", module, process, name_of_process(process).c_str());
    }
    return EXIT_SUCCESS;
}

std::string time_of_day() {
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 16> seconds{};
    std::strftime(seconds.data(), seconds.size(), "%H:%M:%S", &local);
    std::array<char, 32> whole{};
    std::snprintf(whole.data(), whole.size(), "%s.%03ld", seconds.data(), now.tv_nsec / 1'000'000);
    return whole.data();
}

void show(const frame_block& block) {
    const auto head = head_of(block);
    const std::string text = printable(text_of(block));
    if (head.kind == frame_kind::missed) {
        std::printf("%s  %s texts are left out here: too long, or this program reads too slowly\n",
                    time_of_day().c_str(), text.c_str());
    } else if (head.kind == frame_kind::passed || head.kind == frame_kind::lost) {
        std::printf("%s  %3u -> %-3u  %s%s\n", time_of_day().c_str(),
                    static_cast<unsigned>(head.source), static_cast<unsigned>(head.destination),
                    head.kind == frame_kind::lost ? "(lost) " : "", text.c_str());
    }
}

// Prints what passes, until the bus goes or Ctrl-C.
int monitor() {
    bus_connection bus;
    if (!open_and_request(bus, frame_kind::monitor)) return fail("the bus cannot be reached");
    const auto answer = next_frame(bus, clock_type::now() + std::chrono::seconds(5));
    if (!answer || head_of(answer).kind != frame_kind::started) {
        return fail("the broker does not let texts be watched; it may be an older one");
    }

    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::fprintf(stderr, "peermsg: watching the bus, Ctrl-C ends\n");
    while (bus.is_open()) {
        if (const auto block = next_frame(bus, clock_type::time_point::max())) show(block);
    }
    return fail_bus_gone();
}

std::optional<unsigned> number_from(const char* text, unsigned least, unsigned most) {
    unsigned number = 0;
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, number);
    if (error != std::errc{} || rest != end || number < least || number > most) return std::nullopt;
    return number;
}

std::optional<unsigned> module_from(const char* text) {
    return number_from(text, 1, standin::max_module);
}

int misused() {
    std::fputs(usage, stderr);
    return wrong_usage;
}

int ask_with(int count, char** arguments) {
    question q;
    if (count > 2 && std::strcmp(arguments[0], "-t") == 0) {
        const auto wait_s = number_from(arguments[1], 1, max_wait_s);
        if (!wait_s) return misused();
        q.wait_s = *wait_s;
        count -= 2;
        arguments += 2;
    }
    const auto module = count == 2 || count == 3 ? module_from(arguments[0]) : std::nullopt;
    if (!module) return misused();

    q.module = *module;
    q.text = arguments[1];
    if (count == 3) q.command = arguments[2];
    return ask(q);
}

int listen_with(int /*count*/, char** arguments) {
    const auto module = module_from(arguments[0]);
    return module ? listen(*module) : misused();
}

int send_with(int /*count*/, char** arguments) {
    const auto module = module_from(arguments[0]);
    return module ? send(*module, arguments[1]) : misused();
}

constexpr struct {
    const char* word;
    int least_arguments;
    int most_arguments;
    int (*act)(int count, char** arguments);  // the arguments behind the word
} words[] = {
    {"send", 2, 2, send_with},
    {"ask", 2, 5, ask_with},
    {"listen", 1, 1, listen_with},
    {"list", 0, 0, [](int, char**) { return list(); }},
    {"monitor", 0, 0, [](int, char**) { return monitor(); }},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(usage, stdout);
        return EXIT_SUCCESS;
    }

    const int count = argc - 2;
    for (const auto& row : words) {
        if (argc < 2 || std::strcmp(argv[1], row.word) != 0) continue;
        if (count < row.least_arguments || count > row.most_arguments) break;
        return row.act(count, argv + 2);
    }
    return misused();
}
