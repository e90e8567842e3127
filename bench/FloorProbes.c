#include "FloorProbes.h"

#include <fcntl.h>
#include <unistd.h>

static int readFile(const char* path, char* buffer, unsigned long size) {
    const int fd = open(path, O_RDONLY);
    if (fd < 0)
        return 1;
    const long got = (long)read(fd, buffer, size);
    close(fd);
    return got > 0 ? 0 : 1;
}

int sdsrFloorProbes(const char* meminfoPath, const char* versionPath, const char* const* modelPaths,
                    int modelCount, const char* boardPath) {
    char buffer[4096];
    int failed = 0;
    failed += readFile(meminfoPath, buffer, sizeof(buffer));
    failed += readFile(versionPath, buffer, sizeof(buffer));
    for (int i = 0; i < modelCount; ++i) {
        if (access(modelPaths[i], R_OK) != 0)
            ++failed;
    }
    failed += readFile(boardPath, buffer, 7);
    return failed;
}
