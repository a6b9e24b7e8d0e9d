// rfcd-contracts [RADIO]: tries what src/platform promises of the closed libraries on the libraries
// that it is linked with, and says which promise of which header does not hold. One program without
// other files: copy it to the device and run it as root while the bus runs and rfcd does not.
//
// It uses module 28 of the bus and sends only to itself. Of the radio that is named it starts two
// scans and ends them; it changes no radio.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "platform/kvtree.h"
#include "platform/peermsg.h"
#include "platform/radioctl.h"
#include "platform/replywait.h"
#include "platform/runproc.h"
#include "platform/vnorda_log.h"

namespace {

const char* radio = nullptr;  // from the command line

struct tree_deleter {
    void operator()(cfg_tree* tree) const { cfg_release(tree); }
};
using tree = std::unique_ptr<cfg_tree, tree_deleter>;

bool same(const char* left, const char* right) {
    return left != nullptr && std::strcmp(left, right) == 0;
}

std::int64_t milliseconds_now() {
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

int seconds_of(int (*call)()) {
    const std::time_t start = std::time(nullptr);
    call();
    return static_cast<int>(std::time(nullptr) - start);
}

// A record with a frame behind it that the library must leave alone.
template <std::size_t Size>
struct framed {
    alignas(16) unsigned char record[Size] = {};
    unsigned char frame[64];

    framed() { std::memset(frame, 0xA5, sizeof frame); }
    bool whole() const {
        for (const unsigned char byte : frame) {
            if (byte != 0xA5) return false;
        }
        return true;
    }
};

// --- kvtree.h

bool reads_what_was_set() {
    const tree root(cfg_get_empty());
    cfg_set_param(root.get(), "name", "old");
    return cfg_set_param(root.get(), "name", "new") == 0 &&
           same(cfg_get_param(root.get(), "name"), "new");
}

bool refuses_half_a_tree() {
    const tree half(cfg_parse_buffer("{\"a\":"));
    const tree value(cfg_parse_buffer("5"));
    return !half && !value;
}

bool numbers_the_types() {
    const tree root(cfg_parse_buffer(R"({"t":{},"l":[],"v":"x"})"));
    return cfg_get_type(root.get()) == CFG_TYPE_TREE &&
           cfg_get_type(cfg_get_child(root.get(), "t")) == CFG_TYPE_TREE &&
           cfg_get_type(cfg_get_child(root.get(), "l")) == CFG_TYPE_LIST &&
           cfg_get_type(cfg_get_child(root.get(), "v")) == CFG_TYPE_VALUE;
}

bool gives_null_for_what_is_missing() {
    const tree root(cfg_parse_buffer(R"({"t":{}})"));
    return cfg_get_param(root.get(), "none") == nullptr &&
           cfg_get_param(root.get(), "t") == nullptr &&
           cfg_contain_param(root.get(), "none") == 0 && cfg_contain_param(root.get(), "t") == 1;
}

bool prints_a_value_without_quotes() {
    const tree root(cfg_parse_buffer(R"({"v":"x y"})"));
    return same(cfg_object_to_string(cfg_get_child(root.get(), "v")), "x y");
}

bool inserts_a_copy() {
    const tree root(cfg_get_empty());
    const tree child(cfg_parse_buffer(R"({"v":"before"})"));
    cfg_insert_child(root.get(), "c", child.get());
    cfg_set_param(child.get(), "v", "after");
    return same(cfg_get_param(cfg_get_child(root.get(), "c"), "v"), "before");
}

bool keeps_an_empty_subtree() {
    const tree root(cfg_get_empty());
    cfg_set_param(cfg_insert_empty_subtree(root.get(), "sub"), "v", "x");
    return same(cfg_get_param(cfg_get_child(root.get(), "sub"), "v"), "x");
}

bool prints_one_line() {
    const tree root(cfg_parse_buffer("{\"a\":\"b\",\n \"c\":{\"d\":\"e\"}}"));
    const std::string line = cfg_serialize_compact(root.get());
    const tree again(cfg_parse_buffer(line.c_str()));
    return line.find('\n') == std::string::npos &&
           same(cfg_get_param(cfg_get_child(again.get(), "c"), "d"), "e");
}

// --- peermsg.h and replywait.h

constexpr unsigned own_module = 28;

struct module {
    framed<sizeof(peermsg_settings)> settings;
    peermsg_ctx* ctx;

    module() {
        const std::uint16_t code = PEERMSG_SETTINGS_CODE;
        std::memcpy(settings.record, &code, sizeof code);
        ctx = peermsg_init(own_module, reinterpret_cast<peermsg_settings*>(settings.record),
                           PEERMSG_MODE_PEER);
        if (ctx != nullptr) peermsg_peer_start(ctx);
    }
    module(const module&) = delete;
    module& operator=(const module&) = delete;
    ~module() { peermsg_release(ctx); }

    bool send(const char* text) const {
        return peermsg_msg_send(ctx, text, own_module, std::strlen(text)) == 0;
    }
    // The next text, waited for up to two seconds; empty without one or without its zero byte.
    std::string next() const {
        for (int wait = 0; wait < 200; ++wait) {
            if (void* block = peermsg_get_msg_from_queue_no_wait(ctx)) return take(block);
            const std::timespec pause{0, 10'000'000};
            nanosleep(&pause, nullptr);
        }
        return "";
    }

  private:
    static std::string take(void* block) {
        const char* bytes = static_cast<const char*>(block);
        std::uint32_t length = 0;
        std::memcpy(&length, bytes + PEERMSG_LENGTH_OFFSET, sizeof length);
        std::string text;
        if (length < 1000 && bytes[PEERMSG_TEXT_OFFSET + length] == '\0') {
            text.assign(bytes + PEERMSG_TEXT_OFFSET, length);
        }
        std::free(block);
        return text;
    }
};

bool joins_the_bus() {
    const module self;
    return self.ctx != nullptr && peermsg_get_moduleloop(self.ctx) != 0 && self.settings.whole();
}

bool brings_texts_in_order() {
    const module self;
    if (self.ctx == nullptr || !self.send("one") || !self.send("two")) return false;
    const std::string first = self.next();
    return first == "one" && self.next() == "two" &&
           peermsg_get_msg_from_queue_no_wait(self.ctx) == nullptr;
}

bool returns_the_answer() {
    const module self;
    if (self.ctx == nullptr || !self.send(R"({"command":"other"})")) return false;
    self.send(R"({"command":"get-response","value":"v"})");
    const tree answer(replywait_wait_answer(self.ctx, "get-response", "contract", 2));
    return same(cfg_get_param(answer.get(), "value"), "v") &&
           self.next() == R"({"command":"other"})";
}

bool gives_up_after_the_timeout() {
    const int waited = seconds_of([] {
        const module self;
        if (self.ctx == nullptr || !self.send(R"({"command":"other"})")) return 0;
        const tree none(replywait_wait_answer(self.ctx, "get-response", "contract", 2));
        return none ? 1 : 0;
    });
    return waited >= 1 && waited <= 4;
}

// --- radioctl.h

struct radios {
    framed<sizeof(radioctl_ctx)> storage;
    radioctl_ctx* ctx = reinterpret_cast<radioctl_ctx*>(storage.record);
    const bool open = radioctl_init(ctx) >= 0;

    radios() = default;
    radios(const radios&) = delete;
    radios& operator=(const radios&) = delete;
    ~radios() {
        if (open) radioctl_free(ctx);
    }
};

bool keeps_to_its_storage() {
    const radios all;
    return all.open && all.storage.whole();
}

bool refuses_an_unknown_radio() {
    const radios all;
    framed<RADIOCTL_INFO_SIZE> info;
    const radioctl_scan_params params{};
    return all.open && radioctl_get_radio_info(all.ctx, "none0", info.record) < 0 && info.whole() &&
           radioctl_lock_and_stop_scan(all.ctx, "none0", 22) != 0 &&
           radioctl_start_scan(all.ctx, "none0", &params) != 0;
}

bool describes_the_radio() {
    const radios all;
    framed<RADIOCTL_INFO_SIZE> info;
    if (!all.open || radioctl_get_radio_info(all.ctx, radio, info.record) < 0) return false;
    const int width = std::atoi(reinterpret_cast<const char*>(info.record));
    return info.whole() && width >= 20 && width <= 320 && info.record[RADIOCTL_INFO_PRIMARY] != 0;
}

bool scans_only_when_locked() {
    const radios all;
    const radioctl_scan_params params{};
    if (!all.open || radioctl_start_scan(all.ctx, radio, &params) == 0) return false;

    const bool locked = radioctl_lock_and_stop_scan(all.ctx, radio, 22) == 0;
    const bool again = radioctl_lock_and_stop_scan(all.ctx, radio, 22) == 0;
    const bool started = radioctl_start_scan(all.ctx, radio, &params) == 0;
    const bool ended = radioctl_scan_abort(all.ctx, radio) == 0 &&
                       radioctl_stop_rrm_and_unlock_scan(all.ctx, radio) == 0;
    return locked && again && started && ended;
}

bool ends_what_does_not_run() {
    const radios all;
    return all.open && radioctl_scan_abort(all.ctx, radio) == 0 &&
           radioctl_stop_rrm_and_unlock_scan(all.ctx, radio) == 0 &&
           radioctl_stop_rrm_and_unlock_scan(all.ctx, radio) == 0;
}

// A scan of all channels takes seconds; each call around it must not.
bool waits_for_no_scan() {
    constexpr std::int64_t limit_ms = 200;
    static const radioctl_scan_params params{};
    static radioctl_scan_results results;
    constexpr int (*calls[])(radioctl_ctx*) = {
        [](radioctl_ctx* ctx) { return radioctl_lock_and_stop_scan(ctx, radio, 22); },
        [](radioctl_ctx* ctx) { return radioctl_start_scan(ctx, radio, &params); },
        [](radioctl_ctx* ctx) { return radioctl_get_scan(ctx, radio, &results); },
        [](radioctl_ctx* ctx) { return radioctl_scan_abort(ctx, radio); },
        [](radioctl_ctx* ctx) { return radioctl_stop_rrm_and_unlock_scan(ctx, radio); },
    };
    const radios all;
    if (!all.open) return false;

    bool at_once = true;
    scan_results_init(&results);
    for (const auto call : calls) {
        const auto start = milliseconds_now();
        const int result = call(all.ctx);
        at_once = at_once && result == 0 && milliseconds_now() - start < limit_ms;
    }
    scan_results_free(&results);
    return at_once;
}

// The width of each result is a text that ends within its field.
bool fills_active_results() {
    const radios all;
    const radioctl_scan_params params{};
    radioctl_scan_results results;
    scan_results_init(&results);
    if (!all.open || radioctl_lock_and_stop_scan(all.ctx, radio, 22) != 0) return false;

    radioctl_start_scan(all.ctx, radio, &params);
    const std::timespec pause{2, 0};
    nanosleep(&pause, nullptr);
    bool whole = radioctl_get_scan(all.ctx, radio, &results) >= 0;
    const auto* entry = static_cast<const char*>(results.entries);
    for (std::uint64_t i = 0; i < results.count; ++i, entry += RADIOCTL_ENTRY_SIZE) {
        whole = whole && std::memchr(entry + RADIOCTL_ENTRY_BANDWIDTH, '\0',
                                     RADIOCTL_ENTRY_BANDWIDTH_SIZE) != nullptr;
    }

    radioctl_stop_rrm_and_unlock_scan(all.ctx, radio);
    scan_results_free(&results);
    return whole;
}

bool marks_rrm_results() {
    const radios all;
    framed<RADIOCTL_RRM_SIZE> results;
    if (!all.open || radioctl_rrm_scan_get_result(all.ctx, radio, results.record) != 0) {
        return results.whole();
    }
    std::uint32_t magic = 0;
    std::memcpy(&magic, results.record + RADIOCTL_RRM_MAGIC_OFFSET, sizeof magic);
    return results.whole() && magic == RADIOCTL_RRM_MAGIC;
}

bool empties_a_container() {
    framed<sizeof(radioctl_scan_results)> container;
    std::memset(container.record, 0xFF, sizeof container.record);
    auto* results = reinterpret_cast<radioctl_scan_results*>(container.record);
    scan_results_init(results);
    const bool empty = results->count == 0;
    scan_results_free(results);
    return empty && container.whole();
}

// --- runproc.h and vnorda_log.h

bool tells_the_status() {
    return runproc_exec("true") == 0 && runproc_exec("false") != 0 &&
           runproc_exec("/no/such/program") != 0;
}

bool uses_no_shell() { return runproc_exec("test %s = $HOME;", "$HOME;") == 0; }

bool waits_for_the_end() {
    return seconds_of([] { return runproc_exec("sleep 2"); }) >= 1;
}

bool kills_what_takes_long() {
    return seconds_of([] { return runproc_exec("sleep 60"); }) < 30;
}

[[gnu::format(printf, 1, 2)]] void write_line(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    vnorda_log_msg_timed_new(8, format, args);
    va_end(args);
}

bool takes_a_line() {
    norda_log_set_daemonname("rfcd-contracts");
    const bool ready = logcycle_init("rfcd-contracts") == 0;
    write_line("look for this %s in the log: %d", "line", 1);
    return ready;
}

constexpr struct {
    const char* header;
    const char* promise;
    bool (*holds)();
    bool needs_radio = false;
} contracts[] = {
    {"kvtree.h", "a parameter reads as it was last set", reads_what_was_set},
    {"kvtree.h", "a text that is no whole tree gives null", refuses_half_a_tree},
    {"kvtree.h", "the types have their numbers", numbers_the_types},
    {"kvtree.h", "what is missing gives null", gives_null_for_what_is_missing},
    {"kvtree.h", "a value prints without quotes", prints_a_value_without_quotes},
    {"kvtree.h", "a child is inserted as a copy", inserts_a_copy},
    {"kvtree.h", "an empty subtree belongs to its tree", keeps_an_empty_subtree},
    {"kvtree.h", "the compact text is one line and parses", prints_one_line},
    {"peermsg.h", "the module joins within its settings", joins_the_bus},
    {"peermsg.h", "texts come in order, at their offset", brings_texts_in_order},
    {"replywait.h", "the answer is returned, others stay", returns_the_answer},
    {"replywait.h", "without an answer null after the timeout", gives_up_after_the_timeout},
    {"radioctl.h", "the library keeps to its storage", keeps_to_its_storage},
    {"radioctl.h", "an unknown radio is an error", refuses_an_unknown_radio},
    {"radioctl.h", "a prepared container is empty", empties_a_container},
    {"radioctl.h", "a radio's record has width and channel", describes_the_radio, true},
    {"radioctl.h", "RRM results have the mark and fit", marks_rrm_results, true},
    {"radioctl.h", "only a locked radio scans", scans_only_when_locked, true},
    {"radioctl.h", "to end what does not run succeeds", ends_what_does_not_run, true},
    {"radioctl.h", "no call waits for a scan", waits_for_no_scan, true},
    {"radioctl.h", "the texts of results end in their fields", fills_active_results, true},
    {"runproc.h", "the status of a command is told", tells_the_status},
    {"runproc.h", "no shell reads the command", uses_no_shell},
    {"runproc.h", "the end of a command is waited for", waits_for_the_end},
    {"runproc.h", "a command that takes long is killed", kills_what_takes_long},
    {"vnorda_log.h", "rotation starts, a line is taken", takes_a_line},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1) radio = argv[1];

    int broken = 0;
    for (const auto& contract : contracts) {
        const bool skipped = contract.needs_radio && radio == nullptr;
        // A library that crashes must not take the name of its contract with it.
        std::printf("%-12s %-42s ", contract.header, contract.promise);
        std::fflush(stdout);

        const bool holds = skipped || contract.holds();
        std::puts(skipped ? "needs a RADIO" : holds ? "holds" : "DOES NOT HOLD");
        if (!holds) ++broken;
    }
    return broken == 0 ? 0 : 1;
}
