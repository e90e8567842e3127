// Reads with open/read/close instead of a std::ifstream: the stream's construction (locale and
// facet set-up, an 8 KB buffer from the heap) cost more than the rest of the per-request version
// check outside the kernel, for a file of a few bytes. The system calls are the stream's: one
// open, reads until the newline or the end, one close.
#include "sdsrFirstLine.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

namespace voalgo2 {

bool readFirstLine(const char* path, std::string& line) {
    line.clear();
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char buffer[256];
    for (;;) {
        const ssize_t got = read(fd, buffer, sizeof(buffer));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        const char* newline =
            static_cast<const char*>(memchr(buffer, '\n', static_cast<size_t>(got)));
        if (newline != nullptr) {
            line.append(buffer, static_cast<size_t>(newline - buffer));
            break;
        }
        line.append(buffer, static_cast<size_t>(got));
    }
    close(fd);
    return true;
}

}  // namespace voalgo2
