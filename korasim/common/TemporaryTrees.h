// Temporary directory trees that no exit of korasim leaves behind: created registered with the
// exit guard, which removes what is still registered when the process ends.
#pragma once

#include <string>

namespace korasim {

// Creates a fresh directory "$TMPDIR/<prefix>-XXXXXX" (TMPDIR defaults to /tmp) and returns its
// path. When `guarded`, the guard removes it if the process ends before forgetTemporaryTree; the
// stop signals are held back from creation to registration, so no signal finds the directory
// made but not yet known. Throws std::runtime_error naming the pattern when creation fails.
std::string createTemporaryTree(const char* prefix, bool guarded = true);
void forgetTemporaryTree(const std::string& path);

// Removes every registered tree; signal-safe (the exit guard calls it from its handlers).
void removeRegisteredTrees();

// Removes a directory tree with system calls only (no allocation), so that a signal handler may
// call it. Does not follow symbolic links. Returns false when something could not be removed.
bool removeTreeSignalSafe(const char* path);

// A scratch directory removed with the object (and by the guard on any other exit).
class ScratchDir {
  public:
    explicit ScratchDir(const char* prefix);
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

}  // namespace korasim
