// The device paths the plugin reads and writes, as the host kit lays them out in a fake tree.
#pragma once

namespace hostkit {

constexpr const char* kVersionFile = "/odm/etc/camera/sdsr_version.txt";
// Model files, and the plugin's dumps beside them.
constexpr const char* kModelDir = "/data/vendor/camera/";
constexpr const char* kDumpDir = kModelDir;
constexpr const char* kMeminfo = "/proc/meminfo";
constexpr const char* kBoardTemperature = "/sys/class/thermal/thermal_message/board_sensor_temp";
constexpr const char* kAlgorithmLibrary = "odm/lib64/libvoalgo_sdsr.so";
constexpr const char* kMetaHelperLibrary = "/odm/lib64/libmetadataHelper.so";

}  // namespace hostkit
