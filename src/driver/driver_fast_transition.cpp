// The fast-transition request to the network daemon, assembled VAP by VAP.
#include "driver/driver.h"
#include "main/logging.h"

namespace rfcd {

void driver::begin_skylark_fbt_params() {
    fbt_params_.reset(cfg_get_empty());
    cfg_set_param(fbt_params_.get(), "command", "update-skylark-fbt");
}

void driver::add_skylark_fbt_params(const char* vap_ifname, const char* text) {
    if (!fbt_params_) return;
    const cfg_ptr tree(cfg_parse_buffer(text));
    cfg_insert_child(fbt_params_.get(), vap_ifname, tree.get());
}

int driver::finish_skylark_fbt_params() {
    log_debug(daemon_logger, "Try to send update-skylark-fbt to networkd\n");
    const cfg_ptr request = std::move(fbt_params_);

    const auto answer = send_and_wait(request.get(), "update-skylark-fbt-response", networkd_peer,
                                      "Error: can't update SkyLark fbt params\n");
    if (daemon_logger.enabled(log_mask_debug)) {
        log_debug(daemon_logger, "set_skylark_fbt_params: %s\n", cfg_serialize(request.get()));
    }
    if (!answer) {
        if (is_stopping()) return -1;
        log_error(daemon_logger, "Error: no response (%s)\n", __func__);
        return -1;
    }

    if (is_ok(answer.get())) {
        log_debug(daemon_logger,
                  "Successfully received update-skylark-fbt-response from networkd\n");
    } else {
        log_error(daemon_logger, "Error: can't apply update-skylark-fbt-response reason (%s)\n",
                  reason_of(answer.get()));
    }
    return 0;
}

int driver::__reset_skylark_fbt(int skip) {
    if (skip != 0) return 0;
    log_debug(daemon_logger, "%s\n", __func__);
    fbt_params_.reset();  // drops an unfinished update

    const cfg_ptr request(cfg_get_empty());
    const cfg_ptr nothing(cfg_get_empty());
    cfg_set_param(request.get(), "command", "reset-skylark-fbt");
    for (const auto& radio : radios_) {
        for (const auto& vap : radio.vaps) {
            cfg_insert_child(request.get(), vap.ifname.c_str(), nothing.get());
        }
    }

    log_debug(daemon_logger, "Try to send reset-skylark-fbt to networkd\n");
    const auto answer = send_and_wait(request.get(), "reset-skylark-fbt-response", networkd_peer,
                                      "Error: can't reset SkyLark params\n");
    if (answer && daemon_logger.enabled(log_mask_debug)) {
        log_debug(daemon_logger, "reset_skylark_fbt_params: %s\n", cfg_serialize(answer.get()));
    }
    if (!answer) {
        if (is_stopping()) return -1;
        log_error(daemon_logger, "Error: no response (%s)\n", __func__);
        return -1;
    }

    if (is_ok(answer.get())) {
        log_debug(daemon_logger,
                  "Successfully received reset-skylark-fbt-response from networkd\n");
    } else {
        log_error(daemon_logger, "Error: fail reset-skylark-fbt: reason (%s)\n",
                  reason_of(answer.get()));
    }
    return 0;
}

}  // namespace rfcd
