// Platform part of the node data (Qualcomm): lux index from the metadata helper, the thermal
// result of the request and the board sensor temperature.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "MetaHelperClient.h"
#include "devicePath.h"
#include "nodeSdsrData.h"

// Capture types by index; the last entry marks an invalid type. Built before the shared tables.
[[maybe_unused]] static const std::string gCaptureTypeNames[11] = {
    "CaptureType_SAT_SE",          "CaptureType_SAT_ELL",      "CaptureType_SN_SN",
    "CaptureType_SN_ELL",          "CaptureType_SN_FrontSN",   "CaptureType_Bokeh_SE",
    "CaptureType_UltraRaw_SN",     "CaptureType_UltraRaw_ELL", "CaptureType_LongExpBracket",
    "CaptureType_LongExpHandheld", "CaptureType_INVALID",
};

#include "sdsrConfig.h"

#define NODE_PLAT_SOURCE "sdsr/qcom/nodeSdsrDataPlat"
#define PLAT_LOGD(fmt, ...) \
    VO_LOG(D, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_PLAT_SOURCE, fmt, ##__VA_ARGS__)
#define PLAT_LOGI(fmt, ...) \
    VO_LOG(I, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_PLAT_SOURCE, fmt, ##__VA_ARGS__)
#define PLAT_LOGE(fmt, ...) \
    VO_LOG(E, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_PLAT_SOURCE, fmt, ##__VA_ARGS__)

namespace voalgo2 {

namespace {
const char* const kThermalResultTag = "orvane.thermal.thermalResult";
const char* const kBoardSensorPath = "/sys/class/thermal/thermal_message/board_sensor_temp";
}  // namespace

float NodeSdsrData::getLuxIndex(std::shared_ptr<VoMetadata> meta) {
    LuxInfoRecord record{};
    float luxIndex = 0.0f;
    if (meta != nullptr) {
        // The helper library is closed code: whatever it does, a request must go on.
        try {
            std::shared_ptr<metahelper::MetaHelper> helper =
                metahelper::MetaHelperClient::getInstance().getMetaHelper();
            if (helper != nullptr && helper->queryLuxInfo(meta, &record) == 0) {
                luxIndex = record.luxIndex;
            }
        } catch (...) {
            PLAT_LOGE("lux query failed");
            luxIndex = 0.0f;
        }
    }
    VO_LOG(D, SDSR_LOG_TAG, SDSR_GROUP_META, NODE_PLAT_SOURCE, "luxIndex = %.2f",
           static_cast<double>(luxIndex));
    return luxIndex;
}

int NodeSdsrData::getThermalTemperature(std::shared_ptr<VoMetadata> meta) {
    int temperature = 0;
    const bool found = readMeta<int>(meta, kThermalResultTag, kThermalResultTag, temperature);
    PLAT_LOGD("Thermal temperature = %d ret = %d", temperature, found ? 1 : 0);
    return temperature;
}

int NodeSdsrData::getBoardTemperature(std::shared_ptr<VoMetadata> meta) {
    const int fd = open(devicePath(kBoardSensorPath).c_str(), O_RDONLY);
    if (fd < 0) {
        PLAT_LOGI("cannot open thermaNode: %s thermalFd：%d", kBoardSensorPath, fd);
        return 0;
    }
    // The driver writes a short decimal (e.g. "41500\n"); seven bytes cover any real reading.
    char text[16] = {0};
    const ssize_t readSize = read(fd, text, 7);
    if (readSize < 1) {
        PLAT_LOGI("can not get temperature from %s", kBoardSensorPath);
        close(fd);
        return 0;
    }
    text[readSize + 1] = '\0';
    const int temperature = atoi(text);
    PLAT_LOGD("Board temperature:(%d), readSize:%d from %s", temperature,
              static_cast<int>(readSize), kBoardSensorPath);
    close(fd);
    return temperature;
}

}  // namespace voalgo2
