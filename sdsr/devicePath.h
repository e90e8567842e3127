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
//
// getenv() scans the whole environment on each call, so with fifteen paths per decision the scan
// alone cost more than the rest of the mapping, and more the larger the environment. A
// DeviceRootScope reads the variable once and lets every devicePath() of the same thread use that
// reading until the scope ends; outside any scope each devicePath() reads the variable itself.
// The root is read per scope, not once per process, because tests and korasim move
// KORA_DEVICE_ROOT between calls. On the device the scope is empty.
#pragma once

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace voalgo2 {

#ifdef SDSR_HOST_BUILD
namespace devicepath_detail {

// The root read by the innermost live DeviceRootScope of this thread; `active` false outside any.
struct ScopedRoot {
    bool active;
    const char* root;
};
inline thread_local ScopedRoot tScopedRoot{false, nullptr};

// glibc's setenv() keeps the strings it replaces, so the pointer stays readable for the scope
// even if the environment changes meanwhile; such a change is seen by the next scope.
inline const char* deviceRoot() {
    return tScopedRoot.active ? tScopedRoot.root : getenv("KORA_DEVICE_ROOT");
}

}  // namespace devicepath_detail
#endif

// Holds one reading of the device root for the device paths mapped on this thread while it
// lives. Scopes nest: an inner scope reads the variable again and gives the outer reading back
// when it ends.
class DeviceRootScope {
  public:
#ifdef SDSR_HOST_BUILD
    DeviceRootScope() : m_outer(devicepath_detail::tScopedRoot) {
        devicepath_detail::tScopedRoot = {true, getenv("KORA_DEVICE_ROOT")};
    }
    ~DeviceRootScope() {
        devicepath_detail::tScopedRoot = m_outer;
    }
#else
    DeviceRootScope() {}
#endif
    DeviceRootScope(const DeviceRootScope&) = delete;
    DeviceRootScope& operator=(const DeviceRootScope&) = delete;

#ifdef SDSR_HOST_BUILD
  private:
    devicepath_detail::ScopedRoot m_outer;
#endif
};

class DevicePath {
  public:
    explicit DevicePath(const char* path) : m_path(path != nullptr ? path : "") {
#ifdef SDSR_HOST_BUILD
        const char* root = devicepath_detail::deviceRoot();
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

    const char* c_str() const {
        return m_path;
    }

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
