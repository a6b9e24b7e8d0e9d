#include "workers/buffer_info.h"

#include "base/cfg_ptr.h"
#include "base/json_cost.h"
#include "main/logging.h"
#include "workers/free_memory.h"

namespace rfcd {

buffer_info_t::~buffer_info_t() { note_released_message(data.size()); }

const char* buffer_info_t::append(const void* bytes, std::size_t length) {
    if (bytes != nullptr && length != 0) data.append(static_cast<const char*>(bytes), length);
    return data.c_str();
}

void dump_buffer(const buffer_info_t& buffer) {
    if (!daemon_logger.enabled(log_mask_debug)) return;
    const char* text = buffer.data.c_str();
    const cfg_ptr tree(is_affordable_json(text) ? cfg_parse_buffer(text) : nullptr);
    if (tree) {
        log_debug(daemon_logger, "Buffer info dump:\n%s", cfg_serialize(tree.get()));
    } else {
        log_debug(daemon_logger, "Buffer info dump: %s\n", text);
    }
}

}  // namespace rfcd
