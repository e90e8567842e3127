// The bypass copy that gives every capture an output image, and the tuning dumps of the input
// and output images.
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>

#include <cmath>

#include "PluginUtils.h"
#include "devicePath.h"
#include "sdsrplugin.h"

namespace {

const char* const kDumpNameFormat = "/data/vendor/camera/IMG_%s_%s_%dx%d_zoom%dx_%s.NV12";
const size_t kTextSize = 128;

// The zoom as the name shows it: truncated toward zero. Values an int cannot hold (or NaN)
// show as 0 instead of being converted with undefined result.
int zoomForName(float zoom) {
    if (!(std::fabs(zoom) < static_cast<float>(INT_MAX)))
        return 0;
    return static_cast<int>(zoom);
}

}  // namespace

void SdSrPlugin::copyInputToOutput(voalgo2::VoImageBuffer& input, voalgo2::VoImageBuffer& output) {
    voalgo2::PluginUtils::voCopyBuffer(&output, &input);
}

int SdSrPlugin::getDumpFileName(char* buffer, size_t size, const char* suffix, const char* timeText,
                                int width, int height, float zoom) {
    char tag[kTextSize];
    memset(tag, 0, sizeof(tag));
    strncat(tag, SDSR_LOG_TAG, sizeof(tag) - 1 - strlen(tag));
    return snprintf(buffer, size, kDumpNameFormat, timeText != nullptr ? timeText : "", tag, width,
                    height, zoomForName(zoom), suffix != nullptr ? suffix : "");
}

void SdSrPlugin::dumpBuffer(voalgo2::VoImageBuffer& buffer, float zoom, const char* suffix) {
    char localTime[kTextSize];
    memset(localTime, 0, sizeof(localTime));
    const time_t now = time(nullptr);
    struct tm parts {};
    if (localtime_r(&now, &parts) != nullptr) {
        strftime(localTime, sizeof(localTime), "%Y%m%d_%H%M%S", &parts);
    }
    struct timeval tv {};
    gettimeofday(&tv, nullptr);

    char timeText[kTextSize];
    memset(timeText, 0, sizeof(timeText));
    snprintf(timeText, sizeof(timeText), "%s", localTime);

    char fileName[kTextSize];
    memset(fileName, 0, sizeof(fileName));
    // An overlong name is cut to the buffer (intended); only a formatting error leaves no name.
    // Using the result also keeps GCC from reporting the intended cut in optimised builds.
    const int nameLength =
        getDumpFileName(fileName, sizeof(fileName), suffix, timeText,
                        static_cast<int>(buffer.width), static_cast<int>(buffer.height), zoom);
    if (nameLength < 0)
        return;
    voalgo2::PluginUtils::voDumpBuffer(&buffer, voalgo2::devicePath(fileName).c_str());
}
