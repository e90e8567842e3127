#include "common/TemporaryTrees.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <stdexcept>

#include "common/ExitGuard.h"

namespace korasim {

namespace {

constexpr size_t kSlots = 4;
constexpr size_t kPathMax = 4096;

// Fixed storage: signal handlers read it without locks or allocation.
char gTrees[kSlots][kPathMax];
std::atomic<bool> gTreeUsed[kSlots];
std::mutex gTreeLock;  // writers only

// Entries of getdents64, as the kernel lays them out (glibc offers no signal-safe readdir).
struct LinuxDirent64 {
    uint64_t ino;
    int64_t off;
    unsigned short reclen;
    unsigned char type;
    char name[];
};

bool removeEntries(int dir) {
    bool ok = true;
    alignas(8) char buffer[4096];
    for (;;) {
        const long n = syscall(SYS_getdents64, dir, buffer, sizeof(buffer));
        if (n <= 0)
            return ok && n == 0;
        bool removedAny = false;
        for (long offset = 0; offset < n;) {
            const auto* e = reinterpret_cast<const LinuxDirent64*>(buffer + offset);
            offset += e->reclen;
            if (strcmp(e->name, ".") == 0 || strcmp(e->name, "..") == 0)
                continue;
            if (unlinkat(dir, e->name, 0) == 0) {
                removedAny = true;
                continue;
            }
            if (errno != EISDIR) {
                ok = false;
                continue;
            }
            const int sub = openat(dir, e->name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (sub < 0) {
                ok = false;
                continue;
            }
            ok = removeEntries(sub) && ok;
            close(sub);
            ok = unlinkat(dir, e->name, AT_REMOVEDIR) == 0 && ok;
            removedAny = true;
        }
        // Removing entries while reading may skip some: read again from the start.
        if (removedAny)
            lseek(dir, 0, SEEK_SET);
        else
            return ok;
    }
}

void registerTemporaryTree(const std::string& path) {
    std::lock_guard<std::mutex> guard(gTreeLock);
    if (path.size() >= kPathMax)
        return;
    for (size_t i = 0; i < kSlots; ++i) {
        if (!gTreeUsed[i].load()) {
            memcpy(gTrees[i], path.c_str(), path.size() + 1);
            gTreeUsed[i].store(true);
            return;
        }
    }
}

}  // namespace

void removeRegisteredTrees() {
    for (size_t i = 0; i < kSlots; ++i) {
        if (gTreeUsed[i].exchange(false))
            removeTreeSignalSafe(gTrees[i]);
    }
}

bool removeTreeSignalSafe(const char* path) {
    const int dir = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dir < 0)
        return errno == ENOENT;
    bool ok = removeEntries(dir);
    close(dir);
    return rmdir(path) == 0 && ok;
}

std::string createTemporaryTree(const char* prefix, bool guarded) {
    const char* tmp = getenv("TMPDIR");
    std::string path = std::string(tmp && *tmp ? tmp : "/tmp") + "/" + prefix + "-XXXXXX";
    sigset_t stopSignals;
    sigset_t previous;
    sigemptyset(&stopSignals);
    for (int signo : kStopSignals)
        sigaddset(&stopSignals, signo);
    pthread_sigmask(SIG_BLOCK, &stopSignals, &previous);
    const bool made = mkdtemp(path.data()) != nullptr;
    if (made && guarded)
        registerTemporaryTree(path);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (!made)
        throw std::runtime_error("cannot create a temporary directory " + path + ": " +
                                 strerror(errno));
    return path;
}

void forgetTemporaryTree(const std::string& path) {
    std::lock_guard<std::mutex> guard(gTreeLock);
    for (size_t i = 0; i < kSlots; ++i) {
        if (gTreeUsed[i].load() && path == gTrees[i])
            gTreeUsed[i].store(false);
    }
}

ScratchDir::ScratchDir(const char* prefix) : m_path(createTemporaryTree(prefix)) {}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
    forgetTemporaryTree(m_path);
}

}  // namespace korasim
