// Host-side handles on the substitute libraries: the one binding of their control functions.
// Each dlopens a library from the host library directory, the same file the plugin reaches
// through the device tree's symlink, so both share one state. Constructors and controls throw
// std::runtime_error naming the library or the function that is missing.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "Layout.h"
#include "ScriptedAlgoControl.h"

namespace hostkit {

// The scriptable algorithm double. Its control functions are resolved once, when it is opened,
// so that a call in a timed loop costs what the function costs.
class ScriptedAlgo {
  public:
    explicit ScriptedAlgo(const std::string& libraryDir = hostkit::libraryDir());
    ~ScriptedAlgo();
    ScriptedAlgo(const ScriptedAlgo&) = delete;
    ScriptedAlgo& operator=(const ScriptedAlgo&) = delete;

    static std::string path(const std::string& libraryDir = hostkit::libraryDir());

    void reset() const { m_reset(); }
    void setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build) const {
        m_setVersion(major, minor, patch, build);
    }
    void setResults(int32_t init, int32_t run, int32_t unit) const {
        m_setResults(init, run, unit);
    }
    // Whether Run writes the marked copy of the input (the default) or leaves the output alone.
    void setRunTransform(bool enabled) const { m_setRunTransform(enabled ? 1 : 0); }
    size_t callCount() const { return m_callCount(); }
    // The call at `index`; false when there is none.
    bool call(size_t index, ScriptedAlgoCall* out) const { return m_getCall(index, out) == 0; }
    std::vector<ScriptedAlgoCall> calls() const;
    std::vector<ScriptedAlgoCallKind> kinds() const;
    // The last call of a kind; false when there is none.
    bool lastCall(ScriptedAlgoCallKind kind, ScriptedAlgoCall* out) const;
    int liveInstances() const { return m_liveInstances(); }

  private:
    void* m_handle;
    void (*m_reset)();
    void (*m_setVersion)(int32_t, int32_t, int32_t, int32_t);
    void (*m_setResults)(int32_t, int32_t, int32_t);
    void (*m_setRunTransform)(int);
    size_t (*m_callCount)();
    int (*m_getCall)(size_t, ScriptedAlgoCall*);
    int (*m_liveInstances)();
};

class MetaHelperDouble {
  public:
    // `variant` is "double", "nullfactory" or "nosymbol".
    explicit MetaHelperDouble(const std::string& variant = "double",
                              const std::string& libraryDir = hostkit::libraryDir());
    ~MetaHelperDouble();
    MetaHelperDouble(const MetaHelperDouble&) = delete;
    MetaHelperDouble& operator=(const MetaHelperDouble&) = delete;

    // "<libraryDir>/libmetahelper_<variant>.so"
    static std::string path(const std::string& variant,
                            const std::string& libraryDir = hostkit::libraryDir());
    // Whether the variant is loaded in this process (without loading it).
    static bool isLoaded(const std::string& variant);

    void setStatus(int status) const;
    void reset() const;
    int getInstanceCalls() const;
    int prepareCalls() const;
    int createCalls() const;
    int queryCalls() const;

  private:
    void* m_handle;
};

// The reference enhancement library: its reported version and its worker threads.
class ReferenceAlgo {
  public:
    explicit ReferenceAlgo(const std::string& libraryDir = hostkit::libraryDir());
    ~ReferenceAlgo();
    ReferenceAlgo(const ReferenceAlgo&) = delete;
    ReferenceAlgo& operator=(const ReferenceAlgo&) = delete;

    static std::string path(const std::string& libraryDir = hostkit::libraryDir());

    void setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build) const;
    // The worker threads its last Run used.
    int32_t threads() const;

  private:
    void* m_handle;
};

}  // namespace hostkit
