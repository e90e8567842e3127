// The one place where the plugin turns a device path into the path it opens.
//
// On the device every path is used unchanged. Host builds (SDSR_HOST_BUILD) place the whole
// device tree under the directory named by the environment variable KORA_DEVICE_ROOT, so each
// test and each simulator run can have its own fake device: "/proc/meminfo" becomes
// "$KORA_DEVICE_ROOT/proc/meminfo", and the relative library path "odm/lib64/x.so" becomes
// "$KORA_DEVICE_ROOT/odm/lib64/x.so". With the variable unset, paths are used unchanged.
//
// devicePath() answers a DevicePath, used as a temporary within one call:
// open(devicePath(p).c_str(), ...). The enable decision maps fifteen paths per request, so the
// mapped path is joined in a buffer of the object itself, without a heap block; only a path
// longer than the buffer (no real device tree has one) falls back to a std::string.
#pragma once

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace voalgo2 {

class DevicePath {
  public:
    explicit DevicePath(const char* path) : m_path(path != nullptr ? path : "") {
#ifdef SDSR_HOST_BUILD
        const char* root = getenv("KORA_DEVICE_ROOT");
        if (root == nullptr || root[0] == '\0' || path == nullptr)
            return;
        const size_t rootLength = strlen(root);
        const size_t pathLength = strlen(path);
        const bool slash = path[0] != '/';
        const size_t length = rootLength + (slash ? 1 : 0) + pathLength;
        char* joined = m_buffer;
        if (length >= sizeof(m_buffer)) {
            m_long.resize(length);
            joined = &m_long[0];
        }
        memcpy(joined, root, rootLength);
        if (slash)
            joined[rootLength] = '/';
        memcpy(joined + rootLength + (slash ? 1 : 0), path, pathLength);
        joined[length] = '\0';
        m_path = joined;
#endif
    }
    DevicePath(const DevicePath&) = delete;
    DevicePath& operator=(const DevicePath&) = delete;

    const char* c_str() const { return m_path; }

  private:
    const char* m_path;
#ifdef SDSR_HOST_BUILD
    char m_buffer[PATH_MAX];
    std::string m_long;
#endif
};

// Guaranteed copy elision (C++17) hands the object over without a copy.
inline DevicePath devicePath(const char* path) {
    return DevicePath(path);
}

}  // namespace voalgo2
