// Host-side handles on the substitute libraries. Each dlopens the build's copy of a library, the
// same file the plugin reaches through the device tree's symlink, so both share one state, and
// resolves the library's control functions.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "ScriptedAlgoControl.h"

namespace sdsrtest {

class ScriptedAlgo {
  public:
    ScriptedAlgo();
    ~ScriptedAlgo();
    ScriptedAlgo(const ScriptedAlgo&) = delete;
    ScriptedAlgo& operator=(const ScriptedAlgo&) = delete;

    static std::string path();

    void reset() const;
    void setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build) const;
    void setResults(int32_t init, int32_t run, int32_t unit) const;
    std::vector<ScriptedAlgoCall> calls() const;
    std::vector<ScriptedAlgoCallKind> kinds() const;
    // The last call of a kind; false when there is none.
    bool lastCall(ScriptedAlgoCallKind kind, ScriptedAlgoCall* out) const;
    int liveInstances() const;

  private:
    void* m_handle;
};

class MetaHelperDouble {
  public:
    // `variant` is "double", "nullfactory" or "nosymbol".
    explicit MetaHelperDouble(const std::string& variant = "double");
    ~MetaHelperDouble();
    MetaHelperDouble(const MetaHelperDouble&) = delete;
    MetaHelperDouble& operator=(const MetaHelperDouble&) = delete;

    static std::string path(const std::string& variant);
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

}  // namespace sdsrtest
