// Runs the daemon from its command line to its exit status, on the main thread.
#pragma once

namespace rfcd {

// Reads the configuration, runs the service that it names until SIGTERM or SIGINT, and destroys
// everything in order. Returns 0, also when no service is configured.
int start_up(int argc, char** argv);

}  // namespace rfcd
