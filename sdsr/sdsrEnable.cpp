// The per-request enable decision of the SDSR plugin.
#include <stdint.h>

#include <memory>
#include <mutex>

#include "devicePath.h"
#include "sdsrplugin.h"

// The decision's steps log under the name of the decision.
#define ENABLE_LOG(LVL, fmt, ...) SDSR_LOG_AS("isEnabled", LVL, fmt, ##__VA_ARGS__)

namespace {

const char* const kPreAnchorProcTag = "com.orvane.kora2.preAnchorProc";
const char* const kSdsrUiTag = "orvane.ai.asd.sdsrui";
const char* const kSdsrTriggerTag = "orvane.ai.asd.SDSRTrigger";
const char* const kSdsrModeTag = "com.orvane.stableDiffusionSR.mode";
const char* const kSdsrEnableTag = "orvane.snapshot.stableDiffusionSREnable";

// A pre-anchor processing request is never enhanced.
const int kPreAnchorProcSkip = 1;
// Controller advice that SDSR must not run now.
const int kControllerSkipFlag = 2;

// Scene algorithms of smart AE that SDSR handles, by the scene detector's UI state: state 2
// accepts types 5, 7 and 8, state 1 only type 7.
bool acceptsAlgoType(int sdsrUi, uint32_t algoType) {
    if (sdsrUi == 2)
        return algoType <= 8 && ((0x1a0u >> algoType) & 1u) != 0;
    if (sdsrUi == 1)
        return algoType == 7;
    return false;
}

}  // namespace

bool SdSrPlugin::isEnabled(VoaParams params) try {
    // The decision maps fifteen device paths; the device root is read once for all of them.
    const voalgo2::DeviceRootScope deviceRoot;
    std::shared_ptr<VoMetadata> meta = params.metadata;

    int preAnchorProc = 0;
    voalgo2::readMeta<int>(meta, kPreAnchorProcTag, kPreAnchorProcTag, preAnchorProc);
    if (preAnchorProc == kPreAnchorProcSkip) {
        SDSR_LOGI("sdsr BypassAlgo, preAnchorProc = %d!", preAnchorProc);
        return false;
    }
    if (!deviceAllowsSdsr(meta))
        return false;

    int sdsrUi = 0;
    int sdsrTrigger = 0;
    int sdsrMode = 0;
    voalgo2::readMeta<int>(meta, kSdsrUiTag, kSdsrUiTag, sdsrUi);
    voalgo2::readMeta<int>(meta, kSdsrTriggerTag, kSdsrTriggerTag, sdsrTrigger);
    voalgo2::readMeta<int>(meta, kSdsrModeTag, kSdsrModeTag, sdsrMode);
    bool sdsrEnable = sdsrTrigger != 0 && sdsrMode != 0 && sdsrUi != 0;
    SDSR_LOGD("sdsrEnable: %d sdsrUi = %d sdsrTrigger = %d sdsrMode = %d sdsrVersion = %s",
              sdsrEnable ? 1 : 0, sdsrUi, sdsrTrigger, sdsrMode, m_sdsrVersion.c_str());

    uint32_t algoType = 0;
    if (sdsrEnable) {
        VO_SMARTAE::SmartAEProcOutput* smartAE = nullptr;
        voalgo2::NodeSdsrData::getSmartAEProcOutput(meta, &smartAE);
        if (smartAE == nullptr) {
            sdsrEnable = false;
        } else {
            algoType = static_cast<uint32_t>(smartAE->algoType);
            sdsrEnable = acceptsAlgoType(sdsrUi, algoType);
        }
    }
    SDSR_LOGD("sdsrEnable: %d algoType = %d", sdsrEnable ? 1 : 0, static_cast<int>(algoType));

    const bool answer = sdsrEnable && admitRequest(meta);
    SDSR_LOGD("final sdsrEnable: %d ", answer ? 1 : 0);
    return answer;
} catch (...) {
    SDSR_LOGE("enable decision failed, sdsr is not enabled");
    return false;
}

bool SdSrPlugin::deviceAllowsSdsr(const std::shared_ptr<VoMetadata>& meta) {
    // The temperatures are only logged; the controller flag already reflects thermal limits.
    const float freeRam = getFreeRam();
    const int thermal = voalgo2::NodeSdsrData::getThermalTemperature(meta);
    const int board = voalgo2::NodeSdsrData::getBoardTemperature(meta);
    ENABLE_LOG(D,
               "m_sdsrController.getFlag = %d freeRam = %f get thermalTemperature = %d "
               "boardTemperature %d",
               m_sdsrController.getFlag(), static_cast<double>(freeRam), thermal, board);

    const int flag = m_sdsrController.getFlag();
    if (freeRam < static_cast<float>(BYPASS_SDSR_RAM) || flag == kControllerSkipFlag) {
        ENABLE_LOG(I, "sdsr BypassAlgo, m_sdsrController.getFlag() = %d BYPASS_SDSR_RAM = %d",
                   m_sdsrController.getFlag(), BYPASS_SDSR_RAM);
        return false;
    }

    // Both checks run so that the log always tells which of the two failed.
    const bool sameVersion = isSameSdsrVersion();
    const bool modelsPresent = isFileExist();
    if (!sameVersion || !modelsPresent) {
        ENABLE_LOG(I, "sdsr BypassAlgo,  isSameSdsrVersion = %d, isFileExist = %d",
                   sameVersion ? 1 : 0, modelsPresent ? 1 : 0);
        return false;
    }
    return true;
}

bool SdSrPlugin::admitRequest(const std::shared_ptr<VoMetadata>& meta) {
    {
        // Only the test-and-increment is serialised; a running request holds this mutex, so the
        // decision waits here until it ends.
        std::lock_guard<std::mutex> guard(m_processMutex);
        if (m_sdsrProcessCount >= BYPASS_SDSR_PROCESS_COUNT) {
            ENABLE_LOG(I, "sdsr BypassAlgo, process count:%u BYPASS_SDSR_PROCESS_COUNT = %d",
                       static_cast<unsigned int>(m_sdsrProcessCount), BYPASS_SDSR_PROCESS_COUNT);
            return false;
        }
        ++m_sdsrProcessCount;
    }
    // The request is counted now; a failing tag write does not change the answer.
    const int enableValue = 1;
    try {
        voalgo2::setMeta<int>(meta, kSdsrEnableTag, &enableValue, 1);
    } catch (...) {
        ENABLE_LOG(E, "update %s failed", kSdsrEnableTag);
    }
    ENABLE_LOG(I, "update %s", kSdsrEnableTag);
    return true;
}
