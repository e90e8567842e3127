// The twelve model files a device image installs under /data/vendor/camera for SDSR, in the order
// of the plugin's model table. Fake device trees (tests and korasim) install these; they are kept
// apart from the plugin's own table so that a slip in that table shows as a missing model.
// Header-only so that the test support (also built for ARM64) and korasim share it.
#pragma once

#include <string>
#include <vector>

namespace korahost {

inline const std::vector<std::string>& deviceModelFiles() {
    static const std::vector<std::string> names = {
        "gan_20x.vonn",   "gan_30x.vonn",    "cls_scene.vonn", "det_face.vonn",
        "gan_face.vonn",  "sd_encoder.vonn", "colorfix.vonn",  "det_landmark.vonn",
        "gan_night.vonn", "sd_decoder.vonn", "sd_unet.vonn",   "gan_text.vonn"};
    return names;
}

}  // namespace korahost
