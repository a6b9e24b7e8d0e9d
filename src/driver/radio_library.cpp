#include "driver/radio_library.h"

namespace rfcd {

namespace {

class process_context {
  public:
    process_context() = default;
    process_context(const process_context&) = delete;
    process_context& operator=(const process_context&) = delete;
    ~process_context() {
        if (open_) radioctl_free(&storage_);
    }

    radioctl_ctx* get() {
        if (!open_) open_ = radioctl_init(&storage_) >= 0;
        return open_ ? &storage_ : nullptr;
    }

  private:
    radioctl_ctx storage_{};
    bool open_ = false;
};

}  // namespace

radioctl_ctx* radioctl_context() {
    static process_context only;
    return only.get();
}

}  // namespace rfcd
