#include "lab/air/program.h"

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "harness/child_process.h"

namespace lab::air {

result run(const words& command, milliseconds limit) {
    const std::string output = "/tmp/program.out";
    child_process process(command, output);

    if (!process.wait(limit)) process.signal(SIGKILL);
    const int status = process.wait().value_or(-1);

    result finished{status, read_file(output)};
    std::filesystem::remove(output);
    return finished;
}

std::string run_well(const words& command, milliseconds limit) {
    auto finished = run(command, limit);
    if (finished.status == 0) return std::move(finished.output);

    std::string line;
    for (const auto& word : command) line += word + " ";
    throw std::runtime_error(line + "ended with " + std::to_string(finished.status) + ": " +
                             finished.output);
}

words in_namespace(const std::string& name, const words& command) {
    if (name.empty()) return command;
    words longer{"ip", "netns", "exec", name};
    longer.insert(longer.end(), command.begin(), command.end());
    return longer;
}

}  // namespace lab::air
