// What the request tests share: a plugin loaded through dlopen + koraconnect on a passing fake
// device with the scripted algorithm installed, requests over owned images, readers of the
// captured logs and EXIF blocks, and a runner for checks that need a fresh process.
#pragma once

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CaptureRequest.h"
#include "DeviceTree.h"
#include "LibraryControl.h"
#include "MetadataBuilders.h"
#include "PluginLoader.h"
#include "YuvImage.h"
#include "korahost/HostControl.h"

namespace sdsrtest {

using hostkit::DeviceTree;
using hostkit::enablingMetadata;
using hostkit::MetaHelperDouble;
using hostkit::PluginLoader;
using hostkit::putFloat;
using hostkit::putInt;
using hostkit::putInt64;
using hostkit::putSmartAE;
using hostkit::putString;
using hostkit::ScriptedAlgo;
using hostkit::YuvImage;

// A capture request whose pixels before the call are kept for the checks after it.
class TestRequest : public hostkit::CaptureRequest {
  public:
    TestRequest(uint32_t width, uint32_t height, uint32_t format, uint32_t stride,
                std::shared_ptr<VoMetadata> inputMeta,
                std::shared_ptr<VoMetadata> inputPhysical = nullptr);

    std::vector<uint8_t> inputPixels;   // visible input pixels at construction
    std::vector<uint8_t> outputPixels;  // visible output pixels at construction

    // What the scripted Run makes of the input: the luma with its frame marked, chroma as it is.
    std::vector<uint8_t> markedInput() const;
};

// Row padding and rows below the image still hold the fill byte of YuvImage.
bool paddingIntact(YuvImage& image);

struct SessionOptions {
    bool installAlgorithm = true;
    std::string algorithmLibrary;     // empty: the scripted double
    std::string metaHelper;           // empty: none installed, else a MetaHelperDouble variant
    int32_t procTime = 42;            // what the node's processing-time callback answers
    std::string version = "1.0.0.0";  // first line of the installed version file
};

// A fake device on which every enable probe passes, the plugin loaded as the framework loads it
// and one plugin object created and initialized with node name "SdsrNode0". Observations of the
// framework stand-in are cleared at construction.
class PluginSession {
  public:
    explicit PluginSession(const SessionOptions& options = SessionOptions());
    ~PluginSession();

    DeviceTree tree;
    ScriptedAlgo algo;
    std::unique_ptr<PluginLoader> loader;
    std::unique_ptr<PluginWraper> plugin;

    int process(TestRequest& request) { return plugin->processRequest(&request.info); }
    bool enable(std::shared_ptr<VoMetadata> meta);

  private:
    static int32_t processingTime(void* owner, uint64_t requestKey);
    int32_t m_procTime;
};

// ---- Captured logs ---------------------------------------------------------------------------
// Online lines only (every statement reaches both channels when all gates are open).
std::vector<korahost::LogRecord> takeOnlineLogs();
int countLines(const std::vector<korahost::LogRecord>& logs, char level, const std::string& text);
bool hasLine(const std::vector<korahost::LogRecord>& logs, char level, const std::string& text);

struct FinishLine {
    bool found = false;
    unsigned processCount = 0;
    int sdsrProcessCount = 0;
};
// The last "finish m_processCount:..." line.
FinishLine lastFinishLine(const std::vector<korahost::LogRecord>& logs);

// ---- EXIF ------------------------------------------------------------------------------------
std::vector<std::string> exifKeys(const korahost::ExifWriterLog& writer);
// The value of `key`, or "<absent>".
std::string exifValue(const korahost::ExifWriterLog& writer, const std::string& key);
// The eleven keys written after the version check, in order.
const std::vector<std::string>& exifParameterKeys();

// ---- Fresh processes ---------------------------------------------------------------------------
// Runs `body` in a forked child and succeeds when the child finished without a test failure.
// Needed for state fixed per process: properties read at library load and the process-wide
// metadata helper client. The child fails at once when the plugin is still loaded in it.
::testing::AssertionResult inChild(const std::function<void()>& body);

}  // namespace sdsrtest
