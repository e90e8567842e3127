// The performance service on the host: locks that record what they are asked to do.
#include "VoaPerfLock.h"

#include "HostState.h"

namespace voalgo2 {

namespace {

using korahost::PerfEvent;
using korahost::PerfEventKind;

void record(PerfEventKind kind, unsigned int durationMs, int algo, const void* lock) {
    auto& s = korahost::detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (kind == PerfEventKind::Create)
        ++s.livePerfLocks;
    if (kind == PerfEventKind::Dispose)
        --s.livePerfLocks;
    // The device's service never throws into its caller: an event that cannot be stored (the
    // allocation failed) is left out of the history, the live count stays right.
    try {
        s.perfEvents.push_back(PerfEvent{kind, durationMs, algo, lock, korahost::detail::nowUs()});
    } catch (...) {
    }
}

class RecordingPerfLock final : public VoaPerfLock {
  public:
    void dispose() override {
        record(PerfEventKind::Dispose, 0, 0, this);
        delete this;
    }
    int AcquirePerfLock(unsigned int durationMs) override {
        record(PerfEventKind::AcquirePlain, durationMs, 0, this);
        return 0;
    }
    int AcquirePerfLock(unsigned int durationMs, Perf_Lock_Algo algo) override {
        record(PerfEventKind::AcquireAlgo, durationMs, int(algo), this);
        return 0;
    }
    int ReleasePerfLock() override {
        record(PerfEventKind::Release, 0, 0, this);
        return 0;
    }

  private:
    ~RecordingPerfLock() = default;
    friend class VoaPerfManager;
};

}  // namespace

VoaPerfManager* VoaPerfManager::getInstance() {
    static VoaPerfManager* instance = new VoaPerfManager();
    return instance;
}

VoaPerfLock* VoaPerfManager::CreatePerfLock() {
    bool fails;
    {
        auto& s = korahost::detail::state();
        std::lock_guard<std::mutex> guard(s.lock);
        fails = s.perfCreationFails;
    }
    if (fails) {
        record(PerfEventKind::CreateFailed, 0, 0, nullptr);
        return nullptr;
    }
    auto* lock = new RecordingPerfLock();
    record(PerfEventKind::Create, 0, 0, lock);
    return lock;
}

}  // namespace voalgo2
