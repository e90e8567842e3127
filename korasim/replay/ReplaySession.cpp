#include "replay/ReplaySession.h"

#include <stdexcept>

using nlohmann::json;

namespace korasim {

const char* const kReplayFormatHelp =
    "replay needs --format nv21 or nv12: the plugin names its dumps .NV12 whatever the "
    "buffer's format, so the file cannot tell NV21 from NV12, and the wrong one swaps red and "
    "blue (a session given with --session may state request.inputs[0].format instead)";

json replayDocument(const std::string& file, uint32_t width, uint32_t height,
                    const std::string& format, double zoom) {
    return {
        {"description", "replay of " + file},
        {"device", {{"algorithm", {{"library", "reference"}}}}},
        {"request",
         {{"inputs",
           json::array({{{"format", format},
                         {"width", width},
                         {"height", height},
                         {"image", file},
                         {"metadata",
                          {{"$extends", "enabling"}, {"ANDROID_CONTROL_ZOOM_RATIO", zoom}}}}})}}}};
}

json applyOverrides(json document, const json& overrides) {
    json patch = overrides;
    const json::json_pointer inputs("/request/inputs");
    if (patch.is_object() && patch.contains(inputs) && patch.at(inputs).is_array()) {
        json& generated = document.at(inputs);
        const json& wanted = patch.at(inputs);
        for (size_t i = 0; i < wanted.size(); ++i) {
            if (i < generated.size())
                generated[i].merge_patch(wanted[i]);
            else
                generated.push_back(wanted[i]);
        }
        patch["request"].erase("inputs");
    }
    document.merge_patch(patch);
    return document;
}

std::optional<std::string> sessionFormat(const json& document) {
    const json::json_pointer pointer("/request/inputs/0/format");
    if (!document.is_object() || !document.contains(pointer))
        return std::nullopt;
    const json& f = document.at(pointer);
    return f.is_string() ? f.get<std::string>() : f.dump();
}

std::string replayFormat(const std::optional<std::string>& option, const json& overrides) {
    const std::optional<std::string> chosen = option ? option : sessionFormat(overrides);
    if (!chosen)
        throw std::invalid_argument(kReplayFormatHelp);
    if (*chosen != "nv21" && *chosen != "nv12" && !option)
        return *chosen;  // a number the session gives is checked by the session parser
    if (*chosen != "nv21" && *chosen != "nv12")
        throw std::invalid_argument("--format is nv21 or nv12, got \"" + *chosen + "\"");
    return *chosen;
}

}  // namespace korasim
