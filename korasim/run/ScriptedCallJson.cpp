#include "run/ScriptedCallJson.h"

namespace korasim {

using nlohmann::json;

json scriptedCallJson(const ScriptedAlgoCall& c,
                      const std::function<std::string(const void*)>& label) {
    json call;
    switch (c.kind) {
        case SCRIPTED_CALL_GET_VERSION:
            call = {{"call", "GetVersion"},
                    {"record",
                     {{"major", c.version.major},
                      {"minor", c.version.minor},
                      {"patch", c.version.patch},
                      {"build", c.version.build}}}};
            break;
        case SCRIPTED_CALL_INIT:
            call = {{"call", "Init"},
                    {"handleWasNull", c.handleWasNull != 0},
                    {"record",
                     {{"rawType", c.init.rawType},
                      {"height", c.init.height},
                      {"width", c.init.width},
                      {"stride", c.init.stride},
                      {"zoomRatio", c.init.zoomRatio},
                      {"orientation", c.init.orientation},
                      {"lux_index", c.init.lux_index},
                      {"triggerType", c.init.triggerType},
                      {"preAlgoType", static_cast<int32_t>(c.init.preAlgoType)},
                      {"sensorModeType", static_cast<int32_t>(c.init.sensorModeType)},
                      {"path_assets", c.init.path_assets ? c.pathAssets : nullptr},
                      {"path_assets_compressed",
                       c.init.path_assets_compressed ? c.pathAssetsCompressed : nullptr}}}};
            break;
        case SCRIPTED_CALL_RUN:
            call = {{"call", "Run"},
                    {"record",
                     {{"inputPlane", {label(c.run.inputPlane[0]), label(c.run.inputPlane[1])}},
                      {"inputFd", {c.run.inputFd[0], c.run.inputFd[1]}},
                      {"outputPlane", {label(c.run.outputPlane[0]), label(c.run.outputPlane[1])}},
                      {"outputFd", {c.run.outputFd[0], c.run.outputFd[1]}},
                      {"imageName", c.run.imageName ? json(c.imageName) : json(nullptr)}}}};
            break;
        case SCRIPTED_CALL_UNIT:
            call = {{"call", "Unit"}};
            break;
    }
    call["result"] = c.result;
    return call;
}

}  // namespace korasim
