// Lookup tables shared by the plugin's units. Every unit that includes this header builds its
// own private copy of each table at load time (internal linkage), in the order they appear here,
// and destroys it at unload. Only the plugin unit's copy of gSdsrModelFiles is read; the other
// tables are kept so that every unit does the same load-time work (allocations, property read).
//
// Include this header only from sdsrplugin.cpp, nodeSdsrData.cpp and qcom/nodeSdsrDataPlat.cpp:
// each further includer would add another copy to the load.
#pragma once

#include <stdint.h>

#include <map>
#include <string>

#include "cutils/properties.h"

// Camera software modules by module id. Ids 15 and 16 are not assigned.
[[maybe_unused]] static const std::map<uint32_t, const char*> gCamModuleNames = {
    {0, "KORA"},  {1, "ASD"},     {2, "AllinOne"}, {3, "Sensor"}, {4, "AF"},
    {5, "OIS"},   {6, "EEPROM"},  {7, "HDR"},      {8, "EIS"},    {9, "BOKEH(front)"},
    {10, "ELLC"}, {11, "SN"},     {12, "NCS"},     {13, "SAT"},   {14, "TELACamera"},
    {17, "AWB"},  {18, "FUSION"}, {19, "STATS"},
};

// Qualcomm camera request manager error codes.
[[maybe_unused]] static const std::map<uint32_t, const char*> gCamReqMgrErrorNames = {
    {0, "CAM_REQ_MGR_LINK_STALLED_ERROR"},
    {1, "CAM_REQ_MGR_CSID_FATAL_ERROR"},
    {2, "CAM_REQ_MGR_CSID_FIFO_OVERFLOW_ERROR"},
    {3, "CAM_REQ_MGR_CSID_RECOVERY_OVERFLOW_ERROR"},
    {4, "CAM_REQ_MGR_CSID_LANE_FIFO_OVERFLOW_ERROR"},
    {5, "CAM_REQ_MGR_CSID_PIXEL_COUNT_MISMATCH"},
    {6, "CAM_REQ_MGR_CSID_RX_PKT_HDR_CORRUPTION"},
    {7, "CAM_REQ_MGR_CSID_MISSING_PKT_HDR_DATA"},
    {8, "CAM_REQ_MGR_CSID_ERR_ON_SENSOR_SWITCHING"},
    {9, "CAM_REQ_MGR_CSID_UNBOUNDED_FRAME"},
    {10, "CAM_REQ_MGR_ICP_NO_MEMORY"},
    {11, "CAM_REQ_MGR_ICP_SYSTEM_FAILURE"},
    {12, "CAM_REQ_MGR_CSID_MISSING_EOT"},
    {13, "CAM_REQ_MGR_CSID_RX_PKT_PAYLOAD_CORRUPTION"},
    {14, "CAM_REQ_MGR_SENSOR_STREAM_OFF_FAILED"},
    {15, "CAM_REQ_MGR_VALID_SHUTTER_DROPPED"},
    {16, "CAM_REQ_MGR_ISP_ERR_HWPD_VIOLATION"},
};

// The letters "a" to "j" by index.
[[maybe_unused]] static const std::map<int32_t, std::string> gIndexLetters = {
    {0, "a"}, {1, "b"}, {2, "c"}, {3, "d"}, {4, "e"},
    {5, "f"}, {6, "g"}, {7, "h"}, {8, "i"}, {9, "j"},
};

// Display names of the camera algorithms by algorithm id: still-capture features (100-133),
// video features (200-221, 206 unassigned), front-camera features (300-306), scanners
// (400-403) and pipeline services (501-522).
[[maybe_unused]] static const std::map<uint32_t, const char*> gAlgoFeatureNames = {
    {100, "Night"},
    {101, "Portrait"},
    {102, "HDR"},
    {103, "SuperNight"},
    {104, "Beauty"},
    {105, "Bokeh"},
    {106, "ProMode"},
    {107, "Panorama"},
    {108, "Document"},
    {109, "Macro"},
    {110, "SuperResolution"},
    {111, "MultiFrameNR"},
    {112, "FaceDeblur"},
    {113, "MotionDeblur"},
    {114, "SDSR"},
    {115, "LowLightEnhance"},
    {116, "SkyEnhance"},
    {117, "Food"},
    {118, "TextEnhance"},
    {119, "Moon"},
    {120, "StarTrail"},
    {121, "LightPainting"},
    {122, "LongExposure"},
    {123, "Burst"},
    {124, "LivePhoto"},
    {125, "Watermark"},
    {126, "ColorTone"},
    {127, "FilmFilter"},
    {128, "AutoWhiteBalance"},
    {129, "ZoomFusion"},
    {130, "DepthMap"},
    {131, "BackgroundBlur"},
    {132, "EdgeSharpen"},
    {133, "NoiseShaping"},
    {200, "VideoHDR"},
    {201, "VideoBokeh"},
    {202, "VideoStabilizer"},
    {203, "VideoNight"},
    {204, "VideoBeauty"},
    {205, "VideoFilter"},
    {207, "SlowMotion"},
    {208, "TimeLapse"},
    {209, "DualView"},
    {210, "VideoSuperResolution"},
    {211, "VideoDenoise"},
    {212, "VideoColorBoost"},
    {213, "VideoFaceTrack"},
    {214, "VideoAudioZoom"},
    {215, "VideoLogProfile"},
    {216, "VideoHighFps"},
    {217, "VideoMovie"},
    {218, "VideoSkinTone"},
    {219, "VideoSceneDetect"},
    {220, "VideoAutoFrame"},
    {221, "VideoLowPower"},
    {300, "FrontBeauty"},
    {301, "FrontBokeh"},
    {302, "FrontHDR"},
    {303, "FrontNight"},
    {304, "FrontScreenFlash"},
    {305, "FrontFaceRelight"},
    {306, "FrontMirror"},
    {400, "DocumentScan"},
    {401, "QrCodeScan"},
    {402, "PassportScan"},
    {403, "WhiteboardScan"},
    {501, "RawCapture"},
    {502, "UltraRaw"},
    {511, "AiScene"},
    {521, "ThermalGuard"},
    {522, "MemoryGuard"},
};

// Debug switch of the algorithm engine, read once per including unit.
[[maybe_unused]] static const int32_t gForceAppBugHunter =
    property_get_int32("persist.vendor.camera.algoengine.forceAppBugHunter", 0);

// The SDSR model files (all under "/data/vendor/camera/"), checked in ascending index order.
[[maybe_unused]] static const std::map<int32_t, std::string> gSdsrModelFiles = {
    {0, "gan_20x.vonn"},   {1, "gan_30x.vonn"},    {2, "cls_scene.vonn"}, {3, "det_face.vonn"},
    {4, "gan_face.vonn"},  {5, "sd_encoder.vonn"}, {6, "colorfix.vonn"},  {7, "det_landmark.vonn"},
    {8, "gan_night.vonn"}, {9, "sd_decoder.vonn"}, {10, "sd_unet.vonn"},  {11, "gan_text.vonn"},
};
