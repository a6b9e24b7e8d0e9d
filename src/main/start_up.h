// The daemon from its command line to its exit status.
#pragma once

namespace rfcd {

// Reads the configuration, runs the one service that it names until SIGTERM or SIGINT, and takes
// everything down in order. 0, also when no service is configured. Runs on the main thread.
int start_up(int argc, char** argv);

}  // namespace rfcd
