// Device probes of the enable decision: free memory from a keyword file, the installed data
// version and the model files.
#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <charconv>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "devicePath.h"
#include "sdsrFirstLine.h"
#include "sdsrplugin.h"

namespace voalgo2 {
// The plugin unit's model file table (defined in sdsrplugin.cpp).
const std::map<int32_t, std::string>& sdsrModelFiles();
}  // namespace voalgo2

namespace {
const char* const kSdsrVersionPath = "/odm/etc/camera/sdsr_version.txt";
const char* const kModelDirectory = "/data/vendor/camera/";
const char* const kMeminfoPath = "/proc/meminfo";

// The number at the start of `text` as atof() reads it. A plain decimal integer followed by a
// blank or the end, what every meminfo line carries, is read with std::from_chars: the same value
// (an integer string means the same in every locale, and int64 to double rounds as strtod does)
// at a tenth of strtod's cost, which was a sixth of the decision's own work. Anything else (a
// sign, a fraction, an exponent, hex, letters right after the digits, an overflow) goes to atof.
double leadingNumber(const char* text) {
    const char* digits = text;
    while (isspace(static_cast<unsigned char>(*digits)))
        ++digits;
    const char* end = digits + strlen(digits);
    long long value = 0;
    const std::from_chars_result parsed = std::from_chars(digits, end, value);
    const bool plainInteger =
        parsed.ec == std::errc() && *digits >= '0' && *digits <= '9' &&
        (parsed.ptr == end || isspace(static_cast<unsigned char>(*parsed.ptr)));
    return plainInteger ? static_cast<double>(value) : atof(text);
}

}  // namespace

bool SdSrPlugin::getDataByFileAndKeywords(const char* path, std::vector<std::string>& keywords,
                                          float* out) {
    if (path == nullptr) {
        SDSR_LOGI("pPath is null");
        return false;
    }
    FILE* file = fopen(voalgo2::devicePath(path).c_str(), "r");
    if (file == nullptr) {
        SDSR_LOGE("failed open file path:%s, open error: %s", path, strerror(errno));
        return false;
    }

    // The stream reads through a buffer of this frame: no heap block, and no fstat() for glibc
    // to size one. Reading stops once every keyword has been found.
    char streamBuffer[4096];
    setvbuf(file, streamBuffer, _IOFBF, sizeof(streamBuffer));
    float sum = 0.0f;
    char buffer[1024];
    memset(buffer, 0, sizeof(buffer));
    while (!keywords.empty() && fgets(buffer, sizeof(buffer), file) != nullptr) {
        // The line is searched where fgets left it, NUL-terminated, without a copy.
        const std::string_view line(buffer);
        // Substring match, first keyword in list order wins; each keyword counts once.
        for (auto it = keywords.begin(); it != keywords.end(); ++it) {
            if (line.find(*it) == std::string_view::npos)
                continue;
            const size_t colon = line.find(':');
            const char* number = colon == std::string_view::npos ? buffer : buffer + colon + 1;
            const double value = leadingNumber(number);
            keywords.erase(it);
            sum = static_cast<float>(static_cast<double>(sum) + value);
            break;
        }
    }
    if (out != nullptr)
        *out = sum;
    fclose(file);
    return true;
}

float SdSrPlugin::getFreeRam() {
    // Memory the kernel can hand out without swapping: free pages plus reclaimable caches.
    std::vector<std::string> keywords = {
        "MemFree:", "Buffers:", "Cached:", "SwapCached:", "KReclaimable:"};
    float freeRam = 0.0f;
    if (!getDataByFileAndKeywords(kMeminfoPath, keywords, &freeRam)) {
        SDSR_LOGW("GetFreeRam failed!");
    }
    SDSR_LOGI("FreeRam %f KB", static_cast<double>(freeRam));
    return freeRam;
}

bool SdSrPlugin::isSameSdsrVersion() {
    std::string current;
    if (!voalgo2::readFirstLine(voalgo2::devicePath(kSdsrVersionPath).c_str(), current)) {
        SDSR_LOGE("open sdsr_version failed!");
        return false;
    }
    if (current == m_sdsrVersion)
        return true;
    SDSR_LOGE("odm version:%s, data version:%s", m_sdsrVersion.c_str(), current.c_str());
    return false;
}

bool SdSrPlugin::modelAccess(const char* modelName) {
    // The device path is formed in a fixed buffer: an overlong name is tested cut short, to the
    // 127 characters a bounded "%s%s" would keep. Joined by hand: this runs twelve times per
    // request, and the formatter costs more than the rest of the check outside the kernel.
    char buf[128];
    memset(buf, 0, sizeof(buf));
    const size_t directoryLength = strlen(kModelDirectory);
    memcpy(buf, kModelDirectory, directoryLength);
    if (modelName != nullptr) {
        const size_t room = sizeof(buf) - 1 - directoryLength;
        memcpy(buf + directoryLength, modelName, strnlen(modelName, room));
    }
    if (access(voalgo2::devicePath(buf).c_str(), R_OK) == 0) {
        SDSR_LOGD("buf:%s is access", buf);
        return true;
    }
    SDSR_LOGD("buf:%s is not acess", buf);
    return false;
}

bool SdSrPlugin::isFileExist() {
    for (const auto& model : voalgo2::sdsrModelFiles()) {
        if (!modelAccess(model.second.c_str())) {
            SDSR_LOGI("modelName:%s is not acess", model.second.c_str());
            return false;
        }
    }
    return true;
}
