#include "wids/wids_worker.h"

#include <strings.h>

#include <utility>

#include "base/monotonic_clock.h"
#include "base/services.h"
#include "ipc/json_reader.h"
#include "ipc/json_writer.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr std::int32_t poll_timeout_us = 100'000;
constexpr std::uint32_t idle_pause_us = 1'000'000;
constexpr const service_entry& wids = entry_of(service_index::wids);

}  // namespace

void wids_status::note_list(bool accepted) {
    accepted_ = accepted;
    time_ = monotonic_now().tv_sec;
    note_change();
}

void wids_status::append_to(status_lines& lines) const {
    if (time_ == 0) return;
    lines.add("last-list", accepted_ ? "accepted" : "rejected");
    lines.add_time("last-list-at", time_);
}

wids_worker::wids_worker(service_queues queues, const ipc_helper& ipc, std::string list_name,
                         const running_flag* running)
    : abstract_worker(running, wids.worker_name, poll_timeout_us, idle_pause_us),
      out_queue_(queues.to_service),
      in_queue_(queues.from_service),
      ipc_(ipc),
      list_name_(std::move(list_name)),
      on_message_([this](const buffer_ptr& message) { handle_message(*message); }) {}

wids_worker::~wids_worker() { join(); }

bool wids_worker::process() {
    in_queue_.try_pop(on_message_);
    return true;
}

void wids_worker::handle_message(const buffer_info_t& message) {
    const json_reader reader(message.data.c_str());
    log_debug(daemon_logger, "Got message: %s\n", message.data.c_str());

    // This also skips the notices of the link, which belong to another service.
    const char* service = reader.get_string("service");
    if (service == nullptr || strcasecmp(service, wids.wire_name) != 0) return;

    const char* name = reader.get_string("Name");
    log_debug(daemon_logger, "Get message with name '%s' (compare with '%s')!\n",
              name == nullptr ? "(null)" : name, list_name_.c_str());
    if (name != nullptr && strcasecmp(name, list_name_.c_str()) == 0) {
        status_.note_list(true);
        log_debug(daemon_logger, "Our mac list was geted, renew mac lists!\n");
        reply("mac-list-received", name);
        if (const char* text = json_text(reader.object())) ipc_.set_wisd_bw_list(text);
    } else {
        status_.note_list(false);
        log_debug(daemon_logger, "Wrong list name\n");
        reply("mac-list-rejected", name == nullptr ? "empty-name" : name);
    }
}

void wids_worker::reply(const char* cmd, const char* list) {
    if (out_queue_.weight() > heavy_queue) {
        log_error(daemon_logger, "wids: the service does not read, a reply is dropped\n");
        out_queue_.note_dropped();
        return;
    }
    json_writer message(wids.wire_name, cmd, "");
    message.add_string("Name", list);
    push_json(out_queue_, message);
}

}  // namespace rfcd
