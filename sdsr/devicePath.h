// The one place where the plugin turns a device path into the path it opens.
//
// On the device every path is used unchanged. Host builds (SDSR_HOST_BUILD) place the whole
// device tree under the directory named by the environment variable KORA_DEVICE_ROOT, so each
// test and each simulator run can have its own fake device: "/proc/meminfo" becomes
// "$KORA_DEVICE_ROOT/proc/meminfo", and the relative library path "odm/lib64/x.so" becomes
// "$KORA_DEVICE_ROOT/odm/lib64/x.so". With the variable unset, paths are used unchanged.
#pragma once

#include <stdlib.h>
#include <string.h>

#include <string>

namespace voalgo2 {

#ifdef SDSR_HOST_BUILD
inline std::string devicePath(const char* path) {
    const char* root = getenv("KORA_DEVICE_ROOT");
    if (root == nullptr || root[0] == '\0' || path == nullptr)
        return path ? path : "";
    std::string mapped;
    mapped.reserve(strlen(root) + 1 + strlen(path));  // one allocation per path
    mapped += root;
    if (path[0] != '/')
        mapped += '/';
    mapped += path;
    return mapped;
}
#else
inline std::string devicePath(const char* path) {
    return path ? path : "";
}
#endif

}  // namespace voalgo2
