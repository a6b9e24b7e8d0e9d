// Uses the bus from a shell: `peermsg send MODULE TEXT` and `peermsg listen MODULE`.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "peermsg/context.h"

namespace {

peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};

using context = std::unique_ptr<peermsg_ctx, decltype(&peermsg_release)>;

context open_as(unsigned module) {
    return {peermsg_init(module, &settings, PEERMSG_MODE_PEER), &peermsg_release};
}

int send(unsigned module, const char* text) {
    const auto ctx = open_as(0);
    if (!ctx || peermsg_msg_send(ctx.get(), text, static_cast<std::uint8_t>(module),
                                 std::strlen(text)) != 0) {
        std::fprintf(stderr, "peermsg: the bus cannot be reached\n");
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// Prints each text on a line with its sender, until the bus goes or Ctrl-C.
int listen(unsigned module) {
    const auto ctx = open_as(module);
    if (!ctx || peermsg_peer_start(ctx.get()) != 0) {
        std::fprintf(stderr, "peermsg: the bus cannot be reached, or %u is taken\n", module);
        return EXIT_FAILURE;
    }

    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    while (peermsg_get_moduleloop(ctx.get()) != 0) {
        const auto block = standin::wait_new_text(
            *ctx, std::chrono::steady_clock::now() + std::chrono::seconds(60));
        if (!block) continue;

        const auto text = text_of(block);
        std::printf("from %u: ", static_cast<unsigned>(head_of(block).source));
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::putchar('\n');
    }
    std::fprintf(stderr, "peermsg: the bus is gone\n");
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    constexpr const char* usage =
        "usage: peermsg send MODULE TEXT\n"
        "       peermsg listen MODULE\n"
        "MODULE is a number from 1 to 255.\n";
    if (argc > 1 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(usage, stdout);
        return EXIT_SUCCESS;
    }

    const bool sends = argc == 4 && std::strcmp(argv[1], "send") == 0;
    const bool listens = argc == 3 && std::strcmp(argv[1], "listen") == 0;
    const unsigned long module = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
    if ((!sends && !listens) || module == 0 || module > standin::max_module) {
        std::fputs(usage, stderr);
        return 2;
    }
    return sends ? send(static_cast<unsigned>(module), argv[3])
                 : listen(static_cast<unsigned>(module));
}
