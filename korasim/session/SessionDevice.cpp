// Session parsing: the device tree, whole or the part a setDevice step changes.
#include <stdio.h>

#include <algorithm>
#include <sstream>

#include "korahost/DeviceModelFiles.h"
#include "korahost/SyntheticMeminfo.h"
#include "session/SessionParsers.h"

namespace korasim {

namespace parse {

namespace {

// A device path must stay inside the tree.
void checkDevicePath(const std::string& devicePath, const std::string& path) {
    if (devicePath.empty())
        fail(path, "empty device path");
    std::stringstream parts(devicePath);
    std::string part;
    while (std::getline(parts, part, '/')) {
        if (part == "..")
            fail(path, "device path must not contain \"..\"");
    }
}

std::array<int32_t, 4> parseVersion(const json& j, const std::string& path) {
    std::array<int32_t, 4> v{};
    if (j.is_string()) {
        const std::string s = j.get<std::string>();
        char tail = 0;
        if (sscanf(s.c_str(), "%d.%d.%d.%d%c", &v[0], &v[1], &v[2], &v[3], &tail) == 4)
            return v;
        fail(path, "expected four numbers \"a.b.c.d\" or a list of four numbers, got " + j.dump());
    }
    if (!j.is_array() || j.size() != 4) {
        fail(path, "expected a list of four numbers, got " + describeValue(j));
    }
    for (size_t i = 0; i < 4; ++i)
        v[i] = integer<int32_t>(j[i], at(path, i));
    return v;
}

}  // namespace

AlgorithmSpec parseAlgorithm(const json& j, const std::string& path) {
    expectObject(j, path);
    checkKeys(j, path, {"library", "version", "init", "run", "unit"});
    AlgorithmSpec a;
    if (j.contains("library")) {
        a.library = oneOf(j["library"], join(path, "library"), {"scripted", "reference", "absent"});
    }
    if (j.contains("version"))
        a.version = parseVersion(j["version"], join(path, "version"));
    if (j.contains("init"))
        a.init = integer<int32_t>(j["init"], join(path, "init"));
    if (j.contains("run"))
        a.run = integer<int32_t>(j["run"], join(path, "run"));
    if (j.contains("unit"))
        a.unit = integer<int32_t>(j["unit"], join(path, "unit"));
    return a;
}

MetaHelperSpec parseMetaHelper(const json& j, const std::string& path) {
    expectObject(j, path);
    checkKeys(j, path, {"library", "status"});
    MetaHelperSpec m;
    if (j.contains("library")) {
        m.library = oneOf(j["library"], join(path, "library"),
                          {"scripted", "absent", "nullFactory", "noSymbol"});
    }
    if (j.contains("status"))
        m.status = integer<int32_t>(j["status"], join(path, "status"));
    return m;
}

DeviceSpec parseDevice(const json& j, const std::string& path) {
    expectObject(j, path);
    checkKeys(j, path,
              {"versionFile", "models", "meminfo", "boardTemperature", "files", "algorithm",
               "metaHelper", "controllerFlag", "perfLock"});
    DeviceSpec d;
    if (j.contains("versionFile")) {
        d.versionFile = textOrNull(j["versionFile"], join(path, "versionFile"));
    }
    if (j.contains("models")) {
        const json& m = j["models"];
        const std::string p = join(path, "models");
        if (m.is_string()) {
            const std::string which = oneOf(m, p, {"all", "none"});
            d.models = which == "all" ? korahost::deviceModelFiles() : std::vector<std::string>{};
        } else if (m.is_array()) {
            std::vector<std::string> names;
            for (size_t i = 0; i < m.size(); ++i) {
                const std::string name = text(m[i], at(p, i));
                const auto& known = korahost::deviceModelFiles();
                if (std::find(known.begin(), known.end(), name) == known.end()) {
                    fail(at(p, i),
                         "\"" + name +
                             "\" is not a model file of the plugin (e.g. \"gan_20x.vonn\")");
                }
                names.push_back(name);
            }
            d.models = names;
        } else {
            fail(p, "expected \"all\", \"none\" or a list of model file names, got " +
                        describeValue(m));
        }
    }
    if (j.contains("meminfo")) {
        const json& m = j["meminfo"];
        const std::string p = join(path, "meminfo");
        if (m.is_number()) {
            const double kb = number(m, p);
            if (kb < 0 || kb > 1e12)
                fail(p, "free memory in kB must be between 0 and 1e12");
            d.meminfo = DeviceText(korahost::syntheticMeminfo(kb));
        } else {
            d.meminfo = textOrNull(m, p);
        }
    }
    if (j.contains("boardTemperature")) {
        d.boardTemperature = textOrNull(j["boardTemperature"], join(path, "boardTemperature"));
    }
    if (j.contains("files")) {
        const std::string p = join(path, "files");
        expectObject(j["files"], p);
        for (auto it = j["files"].begin(); it != j["files"].end(); ++it) {
            checkDevicePath(it.key(), join(p, it.key()));
            d.files[it.key()] = textOrNull(it.value(), join(p, it.key()));
        }
    }
    if (j.contains("algorithm"))
        d.algorithm = parseAlgorithm(j["algorithm"], join(path, "algorithm"));
    if (j.contains("metaHelper")) {
        d.metaHelper = parseMetaHelper(j["metaHelper"], join(path, "metaHelper"));
    }
    if (j.contains("controllerFlag")) {
        d.controllerFlag = integer<int32_t>(j["controllerFlag"], join(path, "controllerFlag"));
    }
    if (j.contains("perfLock")) {
        d.perfLockFails = oneOf(j["perfLock"], join(path, "perfLock"), {"ok", "fail"}) == "fail";
    }
    return d;
}

DeviceSpec defaultDevice() {
    DeviceSpec d;
    d.versionFile = DeviceText("1.0.0.0\n");
    d.models = korahost::deviceModelFiles();
    d.meminfo = DeviceText(korahost::syntheticMeminfo(8.0 * 1024 * 1024));
    d.boardTemperature = DeviceText("36500\n");
    d.algorithm =
        AlgorithmSpec{std::string("scripted"), std::array<int32_t, 4>{1, 0, 0, 0}, 0, 0, 0};
    d.metaHelper = MetaHelperSpec{std::string("scripted"), 0};
    d.controllerFlag = 0;
    d.perfLockFails = false;
    return d;
}

// Fills every unset key of `d` from `base`.
void completeDevice(DeviceSpec& d, const DeviceSpec& base) {
    if (!d.versionFile)
        d.versionFile = base.versionFile;
    if (!d.models)
        d.models = base.models;
    if (!d.meminfo)
        d.meminfo = base.meminfo;
    if (!d.boardTemperature)
        d.boardTemperature = base.boardTemperature;
    AlgorithmSpec a = d.algorithm.value_or(AlgorithmSpec{});
    const AlgorithmSpec& ba = *base.algorithm;
    if (!a.library)
        a.library = ba.library;
    if (!a.version)
        a.version = ba.version;
    if (!a.init)
        a.init = ba.init;
    if (!a.run)
        a.run = ba.run;
    if (!a.unit)
        a.unit = ba.unit;
    d.algorithm = a;
    MetaHelperSpec m = d.metaHelper.value_or(MetaHelperSpec{});
    if (!m.library)
        m.library = base.metaHelper->library;
    if (!m.status)
        m.status = base.metaHelper->status;
    d.metaHelper = m;
    if (!d.controllerFlag)
        d.controllerFlag = base.controllerFlag;
    if (!d.perfLockFails)
        d.perfLockFails = base.perfLockFails;
}

}  // namespace parse
}  // namespace korasim
