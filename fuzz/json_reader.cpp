// The input is a message. Its tree must not cost more than json_cost() foresees, and the tree must
// be the same after it was written and read again.
#include "ipc/json_reader.h"

#include <malloc.h>

#include <algorithm>

#include "base/json_cost.h"
#include "fuzz/fuzz.h"
#include "ipc/json_writer.h"

// Functions of the sanitizers' runtime; other builds lack them.
extern "C" {
[[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*,
                                                                              std::size_t),
                                                            void (*freed)(const volatile void*));
[[gnu::weak]] std::size_t __sanitizer_get_allocated_size(const volatile void*);
}

namespace {

// Measures the heap as the C library would, with its overhead for each block. Without a sanitizer
// it asks the C library, and uses the amount at the end instead of the highest.
class heap {
  public:
    static void begin() {
        static const bool counts =
            __sanitizer_install_malloc_and_free_hooks != nullptr &&
            __sanitizer_install_malloc_and_free_hooks(&allocated, &freed) != 0;
        start_ = counts ? 0 : in_use();
        now_ = highest_ = start_;
        counting_ = counts;
    }
    // The most bytes in use since begin().
    static std::size_t highest() {
        return (counting_ ? highest_ : std::max(in_use(), start_)) - start_;
    }

  private:
    static std::size_t in_use() {
        const auto info = mallinfo2();
        return info.uordblks + info.hblkhd;
    }
    static std::size_t block(std::size_t size) {
        return std::max<std::size_t>(32, (size + 8 + 15) / 16 * 16);
    }
    static void allocated(const volatile void* /*block*/, std::size_t size) {
        now_ += block(size);
        highest_ = std::max(highest_, now_);
    }
    static void freed(const volatile void* start) {
        if (start != nullptr) now_ -= std::min(now_, block(__sanitizer_get_allocated_size(start)));
    }

    static inline bool counting_ = false;
    static inline std::size_t start_ = 0;
    static inline std::size_t now_ = 0;
    static inline std::size_t highest_ = 0;
};

void look_up(const rfcd::json_reader& reader, int depth) {
    for (const char* key : {"service", "cmd", "radios", "id", ""}) {
        reader.get_int(key);
        fuzz::require(reader.get_string(key) == nullptr || reader.contains(key),
                      "a text has its member");
        if (depth > 0) look_up(reader.get_object(key), depth - 1);
    }
    for (std::int32_t i = -1; i <= std::min(reader.array_length(), 3); ++i) {
        if (depth > 0) look_up(reader.get_array_item(i), depth - 1);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t parser = 4096;  // memory of the parser itself
    // The parser collects a string in a buffer that doubles, then copies it.
    constexpr std::size_t of_a_byte = 4;
    const std::string text(fuzz::text_of(data, size));
    const auto foreseen = rfcd::json_cost(text.c_str()) + of_a_byte * text.size() + parser;
    heap::begin();
    const rfcd::json_reader reader(text.c_str());
    const auto taken = heap::highest();
    fuzz::require(
        taken <= foreseen, "the cost is foreseen",
        std::to_string(taken) + " bytes where " + std::to_string(foreseen) + " were foreseen");
    if (reader.empty()) return 0;
    look_up(reader, 3);
    // json-c keeps the text of a malformed number such as 012e. When it reads that text again, the
    // number may change or be rejected, so only the second reading counts.
    const rfcd::json_reader again(rfcd::json_text(reader.object()));
    if (again.empty()) return 0;
    const std::string written = rfcd::json_text(again.object());
    const rfcd::json_reader third(written.c_str());
    fuzz::require(!third.empty() && rfcd::json_text(third.object()) == written,
                  "what is written reads the same", written);
    return 0;
}
