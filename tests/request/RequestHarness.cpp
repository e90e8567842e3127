#include "RequestHarness.h"

#include <dlfcn.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sdsrtest {

namespace {
const uint8_t kPaddingByte = 0xEE;
}

TestRequest::TestRequest(uint32_t width, uint32_t height, uint32_t format, uint32_t stride,
                         std::shared_ptr<VoMetadata> inputMeta,
                         std::shared_ptr<VoMetadata> inputPhysical)
    : CaptureRequest(width, height, format, stride, std::move(inputMeta), std::move(inputPhysical),
                     width * 31 + height),
      inputPixels(input.visibleBytes()),
      outputPixels(output.visibleBytes()) {}

std::vector<uint8_t> TestRequest::markedInput() const {
    std::vector<uint8_t> expected = inputPixels;
    const uint32_t width = input.width(), height = input.height();
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            uint8_t& luma = expected[size_t(y) * width + x];
            luma = sdsrScripted_markedLuma(luma, x, y, width, height);
        }
    }
    return expected;
}

bool paddingIntact(YuvImage& image) {
    auto planeIntact = [&](const uint8_t* plane, uint32_t rows, uint32_t usedRows,
                           uint32_t usedWidth) {
        for (uint32_t y = 0; y < rows; ++y) {
            const uint32_t from = y < usedRows ? usedWidth : 0;
            for (uint32_t x = from; x < image.stride(); ++x) {
                if (plane[size_t(y) * image.stride() + x] != kPaddingByte)
                    return false;
            }
        }
        return true;
    };
    return planeIntact(image.luma(), image.scanline(), image.height(), image.width()) &&
           planeIntact(image.chroma(), (image.scanline() + 1) / 2, (image.height() + 1) / 2,
                       (image.width() + 1) & ~1u);
}

// ---- PluginSession -----------------------------------------------------------------------------

PluginSession::PluginSession(const SessionOptions& options) : m_procTime(options.procTime) {
    tree.makePassing(options.version);
    if (options.installAlgorithm) {
        tree.installAlgorithm(options.algorithmLibrary.empty() ? ScriptedAlgo::path()
                                                               : options.algorithmLibrary);
    }
    if (!options.metaHelper.empty()) {
        tree.installMetaHelper(MetaHelperDouble::path(options.metaHelper));
    }
    algo.reset();
    korahost::resetObservations();
    loader = std::make_unique<PluginLoader>();
    if (!loader->ok())
        throw std::runtime_error(loader->error());
    plugin = loader->create();
    if (plugin == nullptr)
        throw std::runtime_error("provider made no plugin");
    CreateInfo createInfo{};
    createInfo.nodeName = "SdsrNode0";
    VoaNodeInterface node{};
    node.owner = this;
    node.getProcessingTime = &PluginSession::processingTime;
    plugin->initialize(&createInfo, node);
    korahost::takeLogs();
}

PluginSession::~PluginSession() {
    if (plugin != nullptr)
        plugin->destroy();
    plugin.reset();
    loader.reset();
}

bool PluginSession::enable(std::shared_ptr<VoMetadata> meta) {
    VoaParams params{};
    params.metadata = std::move(meta);
    return plugin->isEnabled(params);
}

int32_t PluginSession::processingTime(void* owner, uint64_t) {
    return static_cast<PluginSession*>(owner)->m_procTime;
}

// ---- Logs --------------------------------------------------------------------------------------

std::vector<korahost::LogRecord> takeOnlineLogs() {
    std::vector<korahost::LogRecord> online;
    for (auto& record : korahost::takeLogs()) {
        if (record.channel == korahost::LogChannel::Online)
            online.push_back(std::move(record));
    }
    return online;
}

int countLines(const std::vector<korahost::LogRecord>& logs, char level, const std::string& text) {
    int count = 0;
    for (const auto& record : logs) {
        if (record.level == level && record.message.find(text) != std::string::npos)
            ++count;
    }
    return count;
}

bool hasLine(const std::vector<korahost::LogRecord>& logs, char level, const std::string& text) {
    return countLines(logs, level, text) > 0;
}

FinishLine lastFinishLine(const std::vector<korahost::LogRecord>& logs) {
    FinishLine finish;
    for (const auto& record : logs) {
        unsigned processCount = 0;
        int sdsrProcessCount = 0;
        double runCost = 0;
        if (sscanf(record.message.c_str(),
                   "finish m_processCount:%u m_sdsrProcessCount:%d runCost : %lf", &processCount,
                   &sdsrProcessCount, &runCost) == 3) {
            finish.found = true;
            finish.processCount = processCount;
            finish.sdsrProcessCount = sdsrProcessCount;
        }
    }
    return finish;
}

// ---- EXIF --------------------------------------------------------------------------------------

std::vector<std::string> exifKeys(const korahost::ExifWriterLog& writer) {
    std::vector<std::string> keys;
    for (const auto& record : writer.records)
        keys.push_back(record.key);
    return keys;
}

std::string exifValue(const korahost::ExifWriterLog& writer, const std::string& key) {
    for (const auto& record : writer.records) {
        if (record.key == key)
            return record.value;
    }
    return "<absent>";
}

const std::vector<std::string>& exifParameterKeys() {
    static const std::vector<std::string> keys = {
        "version", "triggerType", "lux_index", "preAlgoType", "sensorModeType", "format",
        "rawType", "wide",        "height",    "zoomRatio",   "orientation"};
    return keys;
}

// ---- Fresh processes ---------------------------------------------------------------------------

::testing::AssertionResult inChild(const std::function<void()>& body) {
    fflush(stdout);
    fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0)
        return ::testing::AssertionFailure() << "fork failed";
    if (pid == 0) {
        int code = 0;
        try {
            void* stillLoaded = dlopen(hostkit::pluginPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
            if (stillLoaded != nullptr) {
                ADD_FAILURE() << "the plugin is still loaded: its load-time state is not fresh";
            } else {
                body();
            }
            code = ::testing::Test::HasFailure() ? 1 : 0;
        } catch (const std::exception& e) {
            fprintf(stdout, "exception in child: %s\n", e.what());
            code = 2;
        } catch (...) {
            code = 2;
        }
        fflush(stdout);
        fflush(stderr);
        _exit(code);
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid)
        return ::testing::AssertionFailure() << "waitpid failed";
    if (WIFSIGNALED(status)) {
        return ::testing::AssertionFailure() << "child killed by signal " << WTERMSIG(status);
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return ::testing::AssertionFailure()
               << "child failed with status " << WEXITSTATUS(status) << " (see its output above)";
    }
    return ::testing::AssertionSuccess();
}

}  // namespace sdsrtest
