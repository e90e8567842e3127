// Scoped CPU/GPU boost of the kora plugin utilities, compiled into each plugin that uses it.
#pragma once

#include "VoLog.h"
#include "VoaPerfLock.h"

#define VOA_PERF_LOG_TAG "VoAlgoEngine"
#define VOA_PERF_LOG_GROUP 1u
#define VOA_PERF_LOG_SOURCE "pluginutils/include/VoaPerfManager"

namespace voalgo2 {

// Asks the performance service for a boost of `durationMs` while the object lives. When the
// service cannot make a lock, the object logs it and holds nothing.
class PluginPerfLockManager {
  public:
    PluginPerfLockManager(unsigned int durationMs, Perf_Lock_Algo algo)
        : m_perfLock(VoaPerfManager::getInstance()->CreatePerfLock()) {
        if (m_perfLock == nullptr) {
            VO_LOG(E, VOA_PERF_LOG_TAG, VOA_PERF_LOG_GROUP, VOA_PERF_LOG_SOURCE,
                   "VoaPerfLock create fail");
            return;
        }
        if (algo != 0) {
            m_perfLock->AcquirePerfLock(durationMs, algo);
            VO_LOG(I, VOA_PERF_LOG_TAG, VOA_PERF_LOG_GROUP, VOA_PERF_LOG_SOURCE,
                   "PluginPerfLockManager  VoAcquirePerfLock for Algo, boost cpu %d ms",
                   durationMs);
        } else {
            m_perfLock->AcquirePerfLock(durationMs);
            VO_LOG(I, VOA_PERF_LOG_TAG, VOA_PERF_LOG_GROUP, VOA_PERF_LOG_SOURCE,
                   "PluginPerfLockManager  AcquirePerfLock, boost cpu %d ms", durationMs);
        }
    }

    ~PluginPerfLockManager() noexcept {
        if (m_perfLock == nullptr)
            return;
        m_perfLock->ReleasePerfLock();
        m_perfLock->dispose();
        m_perfLock = nullptr;
        VO_LOG(I, VOA_PERF_LOG_TAG, VOA_PERF_LOG_GROUP, VOA_PERF_LOG_SOURCE,
               "PluginPerfLockManager  ReleasePerfLock");
    }

    PluginPerfLockManager(const PluginPerfLockManager&) = delete;
    PluginPerfLockManager& operator=(const PluginPerfLockManager&) = delete;

    bool holdsLock() const { return m_perfLock != nullptr; }

  private:
    VoaPerfLock* m_perfLock;
};

}  // namespace voalgo2
