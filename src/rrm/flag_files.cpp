#include "rrm/flag_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rfcd::flag_files {

bool exists(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0;
}

bool consume(const char* path) {
    if (!exists(path)) return false;
    unlink(path);
    return true;
}

void remove(const char* path) { unlink(path); }

void create(const char* path) {
    const int file =
        open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    if (file != -1) close(file);
}

}  // namespace rfcd::flag_files
