// Messages of the WIDS service, one on each line. A line "=TEXT" sets the later answers of the
// network daemon instead.
#include <strings.h>

#include "fuzz/fuzz.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/queues.h"
#include "ipc/json_reader.h"
#include "ipc/json_writer.h"
#include "main/logging.h"
#include "wids/wids_worker.h"

namespace {

constexpr const char* our_list = "list-1";

struct helper final : rfcd::ipc_helper {
    using ipc_helper::ipc_helper;
};

bool is_given(const char* text) { return text != nullptr; }

// There is at most one reply, and only to a message with a service. The worker hands over a list
// only if it has acknowledged it.
void look_at(const rfcd::json_reader& message, const std::vector<std::string>& replies,
             const std::string& bus) {
    fuzz::require(replies.size() <= 1, "there is at most one reply");
    if (replies.empty()) {
        fuzz::require(bus.empty(), "nothing is handed over unsaid", bus);
        return;
    }
    const rfcd::json_reader reply(replies[0].c_str());
    const char* cmd = reply.get_string("cmd");
    fuzz::require(is_given(message.get_string("service")), "only the service is answered",
                  replies[0]);
    fuzz::require(is_given(cmd) && is_given(reply.get_string("Name")), "a reply is whole",
                  replies[0]);
    const bool received = std::string_view(cmd) == "mac-list-received";
    const char* name = message.get_string("Name");
    fuzz::require(received == (is_given(name) && strcasecmp(name, our_list) == 0),
                  "our list alone is received", replies[0]);
    // json-c keeps malformed numbers such as 1e as they are, and does not always read them again.
    const char* whole = rfcd::json_text(message.object());
    if (!received || rfcd::json_reader(whole).empty()) {
        fuzz::require(bus.empty(), "a list is not handed over unread", bus);
        return;
    }
    const std::string head = "start, send 6 ";
    const std::string tail = ", stop, ";
    fuzz::require(bus.starts_with(head) && bus.ends_with(tail),
                  "an acknowledged list is handed over", bus);
    const std::string text = bus.substr(head.size(), bus.size() - head.size() - tail.size());
    const rfcd::json_reader request(text.c_str());
    const char* command = request.get_string("command");
    fuzz::require(is_given(command) && std::string_view(command) == "update-wids-mac-lists",
                  "what is handed over has its command", text);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fake_peermsg::reset();
    fake_log::reset(rfcd::log_mask_all);
    const rfcd::running_flag running = true;
    rfcd::safe_queue in;
    rfcd::safe_queue out;
    const helper ipc(&running);
    rfcd::wids_worker worker({out, in}, ipc, our_list, &running);
    fuzz::play_lines(fuzz::text_of(data, size), [&](std::string_view line) {
        if (line.starts_with('=')) {
            fake_peermsg::bus.answer = line.substr(1);
            return true;
        }
        const std::string text(line);
        in.push(buffer_of(text));
        fake_peermsg::take_record();
        worker.process();
        fuzz::require(in.empty(), "a pass takes the message");
        look_at(rfcd::json_reader(text.c_str()), drain(out), fake_peermsg::take_record());
        fake_log::take();
        return true;
    });
    return 0;
}
