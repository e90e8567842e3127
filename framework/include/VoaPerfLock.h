// The platform performance service as the kora framework exposes it: a process-wide manager
// that makes boost locks.
#pragma once

namespace voalgo2 {

// Boost kinds. 0 selects the plain acquire; every other kind the algorithm acquire.
enum Perf_Lock_Algo : int {
    PERF_LOCK_ALGO_NONE = 0,
    PERF_LOCK_ALGO_SNAPSHOT = 1,
    PERF_LOCK_ALGO_PREVIEW = 2,
};

// A boost lock object. Virtual slot order is fixed: dispose, plain acquire, algorithm acquire,
// release. Owners end their use with dispose(), never delete.
class VoaPerfLock {
  public:
    /* 0 */ virtual void dispose() = 0;
    /* 1 */ virtual int AcquirePerfLock(unsigned int durationMs) = 0;
    /* 2 */ virtual int AcquirePerfLock(unsigned int durationMs, Perf_Lock_Algo algo) = 0;
    /* 3 */ virtual int ReleasePerfLock() = 0;

  protected:
    ~VoaPerfLock() = default;
};

class VoaPerfManager {
  public:
    static VoaPerfManager* getInstance();
    // A new lock, or null when the service cannot make one.
    VoaPerfLock* CreatePerfLock();

  private:
    VoaPerfManager() = default;
};

}  // namespace voalgo2
