#include "device/Device.h"

#include <algorithm>
#include <map>

#include "DevicePaths.h"
#include "common/TemporaryTrees.h"
#include "korahost/DeviceModelFiles.h"
#include "korahost/HostControl.h"
#include "session/Session.h"

namespace korasim {

namespace {

const char* const kControllerName = "SDSR";

void writeText(const hostkit::DeviceTree& tree, const std::string& devicePath,
               const DeviceText& text) {
    if (text)
        tree.write(devicePath, *text);
    else
        tree.remove(devicePath);
}

}  // namespace

DeviceRoot::DeviceRoot(const std::string& root) {
    if (!root.empty()) {
        m_tree = std::make_unique<hostkit::DeviceTree>(root, false);
        return;
    }
    const std::string temporary = createTemporaryTree("korasim-device");
    m_tree = std::make_unique<hostkit::DeviceTree>(temporary, true);
}

DeviceRoot::~DeviceRoot() {
    const bool guarded = m_tree->removedAtEnd();
    const std::string path = m_tree->root();
    m_tree.reset();  // removes a temporary tree before the guard forgets it
    if (guarded)
        forgetTemporaryTree(path);
}

namespace {

void applyFiles(const hostkit::DeviceTree& tree, DeviceSpec& current, const DeviceSpec& change,
                std::vector<std::string>& applied) {
    if (change.versionFile) {
        current.versionFile = change.versionFile;
        writeText(tree, hostkit::kVersionFile, *change.versionFile);
        applied.push_back("versionFile");
    }
    if (change.models) {
        current.models = change.models;
        for (const auto& name : korahost::deviceModelFiles()) {
            const bool present = std::find(change.models->begin(), change.models->end(), name) !=
                                 change.models->end();
            writeText(tree, hostkit::kModelDir + name,
                      present ? DeviceText("model") : std::nullopt);
        }
        applied.push_back("models");
    }
    if (change.meminfo) {
        current.meminfo = change.meminfo;
        writeText(tree, hostkit::kMeminfo, *change.meminfo);
        applied.push_back("meminfo");
    }
    if (change.boardTemperature) {
        current.boardTemperature = change.boardTemperature;
        writeText(tree, hostkit::kBoardTemperature, *change.boardTemperature);
        applied.push_back("boardTemperature");
    }
    for (const auto& f : change.files) {
        current.files[f.first] = f.second;
        writeText(tree, f.first, f.second);
        applied.push_back("files." + f.first);
    }
}

void applyAlgorithm(const hostkit::DeviceTree& tree, SubstituteLibraries& libraries,
                    AlgorithmSpec& a, const AlgorithmSpec& c, const std::string& path) {
    if (c.library)
        a.library = c.library;
    if (c.version)
        a.version = c.version;
    if (c.init)
        a.init = c.init;
    if (c.run)
        a.run = c.run;
    if (c.unit)
        a.unit = c.unit;
    const auto& v = *a.version;
    if (*a.library == "scripted") {
        const hostkit::ScriptedAlgo& scripted = libraries.scripted(path);
        tree.installAlgorithm(hostkit::ScriptedAlgo::path(libraries.dir()));
        scripted.setVersion(v[0], v[1], v[2], v[3]);
        scripted.setResults(*a.init, *a.run, *a.unit);
    } else if (*a.library == "reference") {
        const hostkit::ReferenceAlgo& reference = libraries.reference(path);
        tree.installAlgorithm(hostkit::ReferenceAlgo::path(libraries.dir()));
        reference.setVersion(v[0], v[1], v[2], v[3]);
    } else {
        tree.remove(hostkit::kAlgorithmLibrary);
    }
}

void applyMetaHelper(const hostkit::DeviceTree& tree, SubstituteLibraries& libraries,
                     MetaHelperSpec& m, const MetaHelperSpec& c, const std::string& path) {
    if (c.library)
        m.library = c.library;
    if (c.status)
        m.status = c.status;
    // The session's names of the metadata-helper doubles and the variants they are built as.
    static const std::map<std::string, std::string> variants = {
        {"scripted", "double"}, {"nullFactory", "nullfactory"}, {"noSymbol", "nosymbol"}};
    auto it = variants.find(*m.library);
    if (it == variants.end()) {
        tree.remove(hostkit::kMetaHelperLibrary);
        return;
    }
    const hostkit::MetaHelperDouble& helper = libraries.metaHelper(it->second, path);
    tree.installMetaHelper(hostkit::MetaHelperDouble::path(it->second, libraries.dir()));
    helper.setStatus(*m.status);
}

}  // namespace

std::vector<std::string> applyDevice(DeviceRoot& root, SubstituteLibraries& libraries,
                                     DeviceSpec& current, const DeviceSpec& change,
                                     const std::string& path) {
    const hostkit::DeviceTree& tree = root.tree();
    auto prefix = [&path](const std::string& key) { return path.empty() ? key : path + "." + key; };
    std::vector<std::string> applied;
    applyFiles(tree, current, change, applied);
    // Dumps land beside the models: the directory exists on every device.
    tree.makeDir(hostkit::kDumpDir);
    if (change.algorithm) {
        applyAlgorithm(tree, libraries, *current.algorithm, *change.algorithm, prefix("algorithm"));
        applied.push_back("algorithm");
    }
    if (change.metaHelper) {
        applyMetaHelper(tree, libraries, *current.metaHelper, *change.metaHelper,
                        prefix("metaHelper"));
        applied.push_back("metaHelper");
    }
    if (change.controllerFlag) {
        current.controllerFlag = change.controllerFlag;
        korahost::setControllerFlag(kControllerName, *change.controllerFlag);
        applied.push_back("controllerFlag");
    }
    if (change.perfLockFails) {
        current.perfLockFails = change.perfLockFails;
        korahost::setPerfLockCreationFails(*change.perfLockFails);
        applied.push_back("perfLock");
    }
    return applied;
}

}  // namespace korasim
