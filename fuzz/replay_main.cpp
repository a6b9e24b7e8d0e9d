// Plays kept inputs, for builds without libFuzzer. Each argument is an input or a folder of inputs.
// The first input that fails ends the process.
#include <filesystem>

#include "fuzz/fuzz.h"
#include "harness/child_process.h"

int main(int argc, char** argv) {
    int played = 0;
    const auto play = [&](const std::filesystem::path& path) {
        const std::string text = lab::read_file(path);
        std::fprintf(stderr, "%s\n", path.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
        ++played;
    };
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            play(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) play(entry.path());
    }
    std::fprintf(stderr, "%d inputs\n", played);
    return played > 0 ? 0 : 1;
}
