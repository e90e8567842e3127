// Session parsing: strict about names and types so that a typo in a session file is reported
// with its JSON path instead of silently running a different capture.
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include "Png.h"
#include "Session.h"
#include "SmartAEProcOutput.h"
#include "VoMetadata.h"
#include "VoaTypes.h"
#include "Yuv.h"

namespace korasim {

using nlohmann::json;

const char* stepKindName(StepKind kind) {
    switch (kind) {
        case StepKind::Create:
            return "create";
        case StepKind::Initialize:
            return "initialize";
        case StepKind::IsEnabled:
            return "isEnabled";
        case StepKind::ProcessRequest:
            return "processRequest";
        case StepKind::Flush:
            return "flush";
        case StepKind::Destroy:
            return "destroy";
        case StepKind::Delete:
            return "delete";
        case StepKind::SetDevice:
            return "setDevice";
    }
    return "?";
}

const std::vector<std::string>& modelFileNames() {
    static const std::vector<std::string> names = {
        "gan_20x.vonn",   "gan_30x.vonn",    "cls_scene.vonn", "det_face.vonn",
        "gan_face.vonn",  "sd_encoder.vonn", "colorfix.vonn",  "det_landmark.vonn",
        "gan_night.vonn", "sd_decoder.vonn", "sd_unet.vonn",   "gan_text.vonn"};
    return names;
}

std::string syntheticMeminfo(double freeKb) {
    const long long total = static_cast<long long>(freeKb);
    const long long memFree = total / 2, buffers = total / 8, cached = total / 4;
    const long long swapCached = total / 16;
    const long long reclaimable = total - memFree - buffers - cached - swapCached;
    std::ostringstream out;
    out << "MemTotal:       " << (total * 3 + 1024) << " kB\n"
        << "MemFree:        " << memFree << " kB\n"
        << "MemAvailable:   " << (total + 4096) << " kB\n"
        << "Buffers:        " << buffers << " kB\n"
        << "Cached:         " << cached << " kB\n"
        << "SwapCached:     " << swapCached << " kB\n"
        << "Active:         123456 kB\n"
        << "Inactive:       234567 kB\n"
        << "SwapTotal:      0 kB\n"
        << "SwapFree:       0 kB\n"
        << "KReclaimable:   " << reclaimable << " kB\n";
    return out.str();
}

namespace {

const char* const kSmartAETag = "orvane.ai.asd.SmartAE";
constexpr uint32_t kMaxDimension = 16384;
constexpr uint64_t kMaxBufferBytes = 512ull << 20;

std::string describe(const json& j) {
    switch (j.type()) {
        case json::value_t::null:
            return "null";
        case json::value_t::boolean:
            return "a boolean";
        case json::value_t::string:
            return "the string " + j.dump();
        case json::value_t::array:
            return "a list";
        case json::value_t::object:
            return "an object";
        case json::value_t::number_float:
            return "the number " + j.dump();
        default:
            return "the number " + j.dump();
    }
}

std::string join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}
std::string at(const std::string& path, size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw SessionError(path, what);
}

void expectObject(const json& j, const std::string& path) {
    if (!j.is_object())
        fail(path, "expected an object, got " + describe(j));
}

void checkKeys(const json& j, const std::string& path, const std::set<std::string>& allowed) {
    for (auto it = j.begin(); it != j.end(); ++it) {
        if (allowed.count(it.key()) == 0) {
            std::string list;
            for (const auto& k : allowed)
                list += (list.empty() ? "" : ", ") + k;
            fail(join(path, it.key()), "unknown key; allowed here: " + list);
        }
    }
}

// Integers: JSON integers, floats without a fraction, or "0x..." hex strings.
long double integerValue(const json& j, const std::string& path) {
    if (j.is_number_integer()) {
        return j.is_number_unsigned() ? static_cast<long double>(j.get<uint64_t>())
                                      : static_cast<long double>(j.get<int64_t>());
    }
    if (j.is_number_float()) {
        const double v = j.get<double>();
        if (std::isfinite(v) && std::floor(v) == v)
            return v;
    }
    if (j.is_string()) {
        const std::string s = j.get<std::string>();
        if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X') && s.size() <= 18) {
            char* end = nullptr;
            errno = 0;
            const unsigned long long v = strtoull(s.c_str() + 2, &end, 16);
            if (errno == 0 && end != nullptr && *end == '\0')
                return static_cast<long double>(v);
        }
    }
    fail(path, "expected an integer, got " + describe(j));
}

template <typename T>
T integer(const json& j, const std::string& path, long double min = std::numeric_limits<T>::min(),
          long double max = std::numeric_limits<T>::max()) {
    const long double v = integerValue(j, path);
    if (v < min || v > max) {
        std::ostringstream range;
        range << "must be between " << static_cast<long long>(min) << " and "
              << static_cast<unsigned long long>(max) << ", got " << j.dump();
        fail(path, range.str());
    }
    return static_cast<T>(v);
}

double number(const json& j, const std::string& path) {
    if (!j.is_number())
        fail(path, "expected a number, got " + describe(j));
    return j.get<double>();
}

std::string text(const json& j, const std::string& path) {
    if (!j.is_string())
        fail(path, "expected a string, got " + describe(j));
    return j.get<std::string>();
}

bool boolean(const json& j, const std::string& path) {
    if (!j.is_boolean())
        fail(path, "expected true or false, got " + describe(j));
    return j.get<bool>();
}

std::string oneOf(const json& j, const std::string& path, const std::vector<std::string>& options) {
    const std::string value = text(j, path);
    if (std::find(options.begin(), options.end(), value) == options.end()) {
        std::string list;
        for (const auto& o : options)
            list += (list.empty() ? "\"" : ", \"") + o + "\"";
        fail(path, "unknown value \"" + value + "\"; expected one of " + list);
    }
    return value;
}

DeviceText textOrNull(const json& j, const std::string& path) {
    if (j.is_null())
        return std::nullopt;
    return text(j, path);
}

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

// ---- Device -----------------------------------------------------------------------------

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
        fail(path, "expected a list of four numbers, got " + describe(j));
    }
    for (size_t i = 0; i < 4; ++i)
        v[i] = integer<int32_t>(j[i], at(path, i));
    return v;
}

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
            d.models = which == "all" ? modelFileNames() : std::vector<std::string>{};
        } else if (m.is_array()) {
            std::vector<std::string> names;
            for (size_t i = 0; i < m.size(); ++i) {
                const std::string name = text(m[i], at(p, i));
                const auto& known = modelFileNames();
                if (std::find(known.begin(), known.end(), name) == known.end()) {
                    fail(at(p, i),
                         "\"" + name +
                             "\" is not a model file of the plugin (e.g. \"gan_20x.vonn\")");
                }
                names.push_back(name);
            }
            d.models = names;
        } else {
            fail(p, "expected \"all\", \"none\" or a list of model file names, got " + describe(m));
        }
    }
    if (j.contains("meminfo")) {
        const json& m = j["meminfo"];
        const std::string p = join(path, "meminfo");
        if (m.is_number()) {
            const double kb = number(m, p);
            if (kb < 0 || kb > 1e12)
                fail(p, "free memory in kB must be between 0 and 1e12");
            d.meminfo = DeviceText(syntheticMeminfo(kb));
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
    d.models = modelFileNames();
    d.meminfo = DeviceText(syntheticMeminfo(8.0 * 1024 * 1024));
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

// ---- Metadata ---------------------------------------------------------------------------

const char* typeName(int type) {
    switch (type) {
        case TYPE_BYTE:
            return "byte";
        case TYPE_INT32:
            return "int32";
        case TYPE_FLOAT:
            return "float";
        case TYPE_INT64:
            return "int64";
        case TYPE_DOUBLE:
            return "double";
        case TYPE_RATIONAL:
            return "rational";
        default:
            return "unknown";
    }
}

template <typename T>
void append(std::vector<uint8_t>& bytes, T value) {
    const auto* p = reinterpret_cast<const uint8_t*>(&value);
    bytes.insert(bytes.end(), p, p + sizeof(T));
}

void encodeValue(MetaValue& v, const json& j, const std::string& path) {
    switch (v.type) {
        case TYPE_BYTE:
            append<uint8_t>(v.bytes, integer<uint8_t>(j, path));
            break;
        case TYPE_INT32:
            append<int32_t>(v.bytes, integer<int32_t>(j, path));
            break;
        case TYPE_FLOAT:
            append<float>(v.bytes, static_cast<float>(number(j, path)));
            break;
        case TYPE_INT64:
            append<int64_t>(v.bytes, integer<int64_t>(j, path));
            break;
        case TYPE_DOUBLE:
            append<double>(v.bytes, number(j, path));
            break;
        case TYPE_RATIONAL:
            if (!j.is_array() || j.size() != 2) {
                fail(path,
                     "a rational value is a list [numerator, denominator], got " + describe(j));
            }
            append<int32_t>(v.bytes, integer<int32_t>(j[0], at(path, 0)));
            append<int32_t>(v.bytes, integer<int32_t>(j[1], at(path, 1)));
            break;
        default:
            fail(path, "tag type cannot be encoded");
    }
    ++v.count;
}

void encodeValues(MetaValue& v, const json& j, const std::string& path) {
    if (j.is_array() && !(v.type == TYPE_RATIONAL && j.size() == 2 && j[0].is_number())) {
        for (size_t i = 0; i < j.size(); ++i)
            encodeValue(v, j[i], at(path, i));
    } else if (j.is_string() && v.type == TYPE_BYTE) {
        const std::string s = j.get<std::string>();
        v.bytes.assign(s.begin(), s.end());
        v.count = s.size();
    } else if (j.is_string()) {
        fail(path, std::string("text is accepted only for byte tags; this tag holds ") +
                       typeName(v.type) + " values");
    } else {
        encodeValue(v, j, path);
    }
}

int typeFromName(const json& j, const std::string& path) {
    const std::string t = oneOf(j, path, {"byte", "int32", "float", "int64", "double", "rational"});
    for (int i = 0; i < NUM_TYPES; ++i) {
        if (t == typeName(i))
            return i;
    }
    return TYPE_BYTE;
}

// A free id for a tag the registry does not know.
uint32_t freeTagId() {
    static uint32_t next = 0xC0000000u;
    while (VoMetadata::getTagName(next) != nullptr)
        ++next;
    return next++;
}

MetaValue parseTagValue(const std::string& name, const json& j, const std::string& path) {
    MetaValue v;
    v.name = name;
    int registeredType = -1;
    bool known = false;
    bool byId = false;
    if (name.size() > 2 && name[0] == '0' && (name[1] == 'x' || name[1] == 'X')) {
        v.tag = integer<uint32_t>(json(name), path);
        registeredType = VoMetadata::getTagType(v.tag);
        known = registeredType >= 0;
        byId = true;
    } else {
        unsigned int id = 0;
        known = VoMetadata::getTagFromName(name.c_str(), &id) == 0;
        if (known) {
            v.tag = id;
            registeredType = VoMetadata::getTagType(id);
        }
    }

    const bool explicitType = j.is_object() && j.contains("type");
    if (name == kSmartAETag && j.is_object() && !explicitType) {
        checkKeys(j, path, {"algoType", "sensorMode", "size"});
        VO_SMARTAE::SmartAEProcOutput record{};
        if (j.contains("algoType"))
            record.algoType = integer<int32_t>(j["algoType"], join(path, "algoType"));
        if (j.contains("sensorMode")) {
            record.sensorMode = integer<int32_t>(j["sensorMode"], join(path, "sensorMode"));
        }
        size_t size = sizeof(record);
        if (j.contains("size"))
            size = integer<uint32_t>(j["size"], join(path, "size"), 0, 65536);
        const auto* p = reinterpret_cast<const uint8_t*>(&record);
        v.bytes.assign(p, p + std::min(size, sizeof(record)));
        v.bytes.resize(size, 0);
        v.type = TYPE_BYTE;
        v.count = size;
        return v;
    }
    if (explicitType) {
        checkKeys(j, path, {"type", "values"});
        const int type = typeFromName(j["type"], join(path, "type"));
        if (known && type != registeredType) {
            fail(join(path, "type"), std::string("the tag is registered as ") +
                                         typeName(registeredType) + ", not " + typeName(type));
        }
        if (!known) {
            if (!byId)
                v.tag = freeTagId();
            const std::string registeredName = byId ? "korasim." + name : name;
            if (VoMetadata::registerTag(registeredName.c_str(), v.tag,
                                        static_cast<uint8_t>(type)) != 0) {
                fail(path, "cannot register the tag");
            }
        }
        v.type = static_cast<uint8_t>(type);
        if (!j.contains("values"))
            fail(join(path, "values"), "missing: the tag's values");
        encodeValues(v, j["values"], join(path, "values"));
        return v;
    }
    if (!known) {
        fail(path, "unknown tag; give its type as {\"type\": \"int32\", \"values\": [...]}");
    }
    v.type = static_cast<uint8_t>(registeredType);
    if (j.is_object())
        fail(path, "expected a number, a list or a string, got an object");
    encodeValues(v, j, path);
    return v;
}

MetadataSpec enablingMetadata() {
    const json enabling = {{"orvane.ai.asd.sdsrui", 2},
                           {"orvane.ai.asd.SDSRTrigger", 1},
                           {"com.orvane.stableDiffusionSR.mode", 1},
                           {kSmartAETag, {{"algoType", 7}, {"sensorMode", 0}}},
                           {"ANDROID_CONTROL_ZOOM_RATIO", 10.0},
                           {"orvane.stats.luxIndex", 250.0}};
    MetadataSpec m;
    for (auto it = enabling.begin(); it != enabling.end(); ++it) {
        m.entries.push_back(parseTagValue(it.key(), it.value(), it.key()));
    }
    return m;
}

MetadataSpec parseMetadata(const json& j, const std::string& path) {
    MetadataSpec m;
    if (j.is_null()) {
        m.present = false;
        return m;
    }
    expectObject(j, path);
    if (j.contains("$extends")) {
        if (oneOf(j["$extends"], join(path, "$extends"), {"enabling", "none"}) == "enabling") {
            m = enablingMetadata();
        }
    }
    for (auto it = j.begin(); it != j.end(); ++it) {
        if (it.key() == "$extends")
            continue;
        const std::string p = join(path, it.key());
        auto same = [&](const MetaValue& e) { return e.name == it.key(); };
        m.entries.erase(std::remove_if(m.entries.begin(), m.entries.end(), same), m.entries.end());
        if (it.value().is_null())
            continue;  // removes a tag of the base set
        m.entries.push_back(parseTagValue(it.key(), it.value(), p));
    }
    return m;
}

// ---- Buffers ----------------------------------------------------------------------------

uint32_t parseFormat(const json& j, const std::string& path) {
    if (j.is_string()) {
        const std::string f = oneOf(j, path, {"nv21", "nv12"});
        return f == "nv21" ? VO_FORMAT_YCrCb_420_SP : VO_FORMAT_YCbCr_420_888;
    }
    return integer<uint32_t>(j, path);
}

void checkImageFile(const BufferSpec& b, const std::string& path) {
    YuvBuffer probe(b.format, 1, 1, 0, 0);
    std::string error;
    if (looksLikePng(b.image.file)) {
        RgbImage rgb;
        if (!readPng(b.image.file, &rgb, &error))
            fail(path, error);
        if (rgb.width != static_cast<int>(b.width) || rgb.height != static_cast<int>(b.height)) {
            fail(path, "the PNG is " + std::to_string(rgb.width) + "x" +
                           std::to_string(rgb.height) + " but the buffer is " +
                           std::to_string(b.width) + "x" + std::to_string(b.height));
        }
        return;
    }
    struct stat st {};
    if (stat(b.image.file.c_str(), &st) != 0) {
        fail(path, "cannot open image file " + b.image.file + ": " + strerror(errno));
    }
    const uint64_t needed =
        uint64_t(b.width) * b.height + uint64_t((b.width + 1) & ~1u) * ((b.height + 1) / 2);
    if (static_cast<uint64_t>(st.st_size) != needed) {
        fail(path, "raw 4:2:0 file " + b.image.file + " has " + std::to_string(st.st_size) +
                       " bytes, a " + std::to_string(b.width) + "x" + std::to_string(b.height) +
                       " image needs " + std::to_string(needed) +
                       " (luma rows, then chroma rows, no padding)");
    }
}

BufferSpec parseBuffer(const json& j, const std::string& path, bool input,
                       const BufferSpec* geometry, const std::string& baseDir) {
    expectObject(j, path);
    checkKeys(j, path,
              {"port", "format", "width", "height", "stride", "scanline", "image", "seed",
               "metadata", "physicalMetadata"});
    BufferSpec b;
    b.path = path;
    if (geometry != nullptr) {
        b.format = geometry->format;
        b.width = geometry->width;
        b.height = geometry->height;
    }
    if (j.contains("port"))
        b.port = integer<uint32_t>(j["port"], join(path, "port"));
    if (j.contains("format"))
        b.format = parseFormat(j["format"], join(path, "format"));
    if (j.contains("width")) {
        b.width = integer<uint32_t>(j["width"], join(path, "width"), 1, kMaxDimension);
    }
    if (j.contains("height")) {
        b.height = integer<uint32_t>(j["height"], join(path, "height"), 1, kMaxDimension);
    }
    const uint32_t minStride = (b.width + 1) & ~1u;
    b.stride = minStride;
    b.scanline = b.height;
    if (j.contains("stride")) {
        b.stride = integer<uint32_t>(j["stride"], join(path, "stride"), 1, 65536);
        if (b.stride < minStride) {
            fail(join(path, "stride"), "must be at least " + std::to_string(minStride) +
                                           " (the width rounded up to even), got " +
                                           std::to_string(b.stride));
        }
    }
    if (j.contains("scanline")) {
        b.scanline = integer<uint32_t>(j["scanline"], join(path, "scanline"), 1, 65536);
        if (b.scanline < b.height) {
            fail(join(path, "scanline"), "must be at least the height " + std::to_string(b.height) +
                                             ", got " + std::to_string(b.scanline));
        }
    }
    if (uint64_t(b.stride) * b.scanline * 3 / 2 > kMaxBufferBytes) {
        fail(path, "buffer larger than 512 MiB");
    }
    b.image.pattern = input ? "chart" : "zero";
    if (j.contains("image")) {
        const std::string p = join(path, "image");
        const std::string image = text(j["image"], p);
        if (image.empty())
            fail(p, "empty image name");
        if (isPatternName(image)) {
            b.image.pattern = image;
        } else {
            b.image.pattern.clear();
            namespace fs = std::filesystem;
            fs::path file(image);
            if (file.is_relative())
                file = fs::path(baseDir) / file;
            b.image.file = file.lexically_normal().string();
            checkImageFile(b, p);
        }
    }
    if (j.contains("seed"))
        b.image.seed = integer<uint32_t>(j["seed"], join(path, "seed"));
    if (j.contains("metadata")) {
        b.metadata = parseMetadata(j["metadata"], join(path, "metadata"));
    } else if (input) {
        b.metadata = enablingMetadata();
    }
    b.physicalMetadata.present = false;
    if (j.contains("physicalMetadata")) {
        b.physicalMetadata = parseMetadata(j["physicalMetadata"], join(path, "physicalMetadata"));
    }
    return b;
}

std::vector<BufferSpec> parseBuffers(const json& j, const std::string& path, bool input,
                                     const BufferSpec* geometry, const std::string& baseDir) {
    if (!j.is_array())
        fail(path, "expected a list of buffers, got " + describe(j));
    if (j.size() > 64)
        fail(path, "at most 64 buffers");
    std::vector<BufferSpec> buffers;
    for (size_t i = 0; i < j.size(); ++i) {
        buffers.push_back(parseBuffer(j[i], at(path, i), input, geometry, baseDir));
    }
    return buffers;
}

struct RequestTemplate {
    std::vector<BufferSpec> inputs;
    std::optional<std::vector<BufferSpec>> outputs;
    uint64_t requestKey = 1;
    uint32_t frameNumber = 0, requestIndex = 0;
};

// Fills the request keys of a step or template; returns false for keys it does not know.
void parseRequestValues(const json& j, const std::string& path, uint64_t& key, uint32_t& frame,
                        uint32_t* index) {
    if (j.contains("requestKey"))
        key = integer<uint64_t>(j["requestKey"], join(path, "requestKey"));
    if (j.contains("frameNumber")) {
        frame = integer<uint32_t>(j["frameNumber"], join(path, "frameNumber"));
    }
    if (index != nullptr && j.contains("requestIndex")) {
        *index = integer<uint32_t>(j["requestIndex"], join(path, "requestIndex"));
    }
}

void fillOutputs(Step& s, const std::optional<std::vector<BufferSpec>>& outputs,
                 const std::string& path) {
    if (outputs) {
        s.outputs = *outputs;
        return;
    }
    BufferSpec out;
    out.path = join(path, "outputs[0]");
    if (!s.inputs.empty()) {
        // The output mirrors the input the plugin works on: the first of the lowest port.
        const BufferSpec* primary = &s.inputs.front();
        for (const BufferSpec& b : s.inputs) {
            if (b.port < primary->port)
                primary = &b;
        }
        out.port = primary->port;
        out.format = primary->format;
        out.width = primary->width;
        out.height = primary->height;
        out.stride = primary->stride;
        out.scanline = primary->scanline;
    } else {
        out.stride = 640;
        out.scanline = 480;
    }
    out.image.pattern = "zero";
    out.physicalMetadata.present = false;
    s.outputs.push_back(out);
}

RequestTemplate defaultRequest(const std::string& baseDir) {
    RequestTemplate t;
    t.inputs.push_back(parseBuffer(json::object(), "request.inputs[0]", true, nullptr, baseDir));
    return t;
}

RequestTemplate parseRequestTemplate(const json& j, const std::string& path,
                                     const std::string& baseDir) {
    expectObject(j, path);
    checkKeys(j, path, {"inputs", "outputs", "requestKey", "frameNumber", "requestIndex"});
    RequestTemplate t = defaultRequest(baseDir);
    if (j.contains("inputs"))
        t.inputs = parseBuffers(j["inputs"], join(path, "inputs"), true, nullptr, baseDir);
    if (j.contains("outputs")) {
        const BufferSpec* geometry = t.inputs.empty() ? nullptr : &t.inputs.front();
        t.outputs = parseBuffers(j["outputs"], join(path, "outputs"), false, geometry, baseDir);
    }
    parseRequestValues(j, path, t.requestKey, t.frameNumber, &t.requestIndex);
    return t;
}

// ---- Steps ------------------------------------------------------------------------------

StepKind parseKind(const json& j, const std::string& path) {
    const std::string kind = oneOf(j, path,
                                   {"create", "initialize", "isEnabled", "processRequest", "flush",
                                    "destroy", "delete", "setDevice"});
    for (StepKind k :
         {StepKind::Create, StepKind::Initialize, StepKind::IsEnabled, StepKind::ProcessRequest,
          StepKind::Flush, StepKind::Destroy, StepKind::Delete, StepKind::SetDevice}) {
        if (kind == stepKindName(k))
            return k;
    }
    return StepKind::Create;
}

Step parseStep(const json& j, const std::string& path, const RequestTemplate& request,
               const std::string& baseDir) {
    expectObject(j, path);
    if (!j.contains("do"))
        fail(join(path, "do"), "missing: what the step does");
    Step s;
    s.path = path;
    s.kind = parseKind(j["do"], join(path, "do"));
    s.plugin = "sdsr";
    if (j.contains("plugin")) {
        if (s.kind == StepKind::SetDevice)
            fail(join(path, "plugin"), "setDevice names no plugin");
        s.plugin = text(j["plugin"], join(path, "plugin"));
        if (s.plugin.empty())
            fail(join(path, "plugin"), "empty plugin name");
    }
    switch (s.kind) {
        case StepKind::Create:
        case StepKind::Destroy:
        case StepKind::Delete:
            checkKeys(j, path, {"do", "plugin"});
            break;
        case StepKind::Initialize:
            checkKeys(j, path, {"do", "plugin", "name", "value", "processingTimeMs"});
            if (j.contains("name"))
                s.nodeName = text(j["name"], join(path, "name"));
            if (j.contains("value"))
                s.nodeValue = integer<int32_t>(j["value"], join(path, "value"));
            if (j.contains("processingTimeMs") && !j["processingTimeMs"].is_null()) {
                s.processingTimeMs =
                    integer<int32_t>(j["processingTimeMs"], join(path, "processingTimeMs"));
            }
            break;
        case StepKind::IsEnabled:
            checkKeys(j, path, {"do", "plugin", "metadata", "requestKey", "frameNumber"});
            s.metadata = j.contains("metadata")
                             ? parseMetadata(j["metadata"], join(path, "metadata"))
                             : enablingMetadata();
            s.requestKey = request.requestKey;
            s.frameNumber = request.frameNumber;
            parseRequestValues(j, path, s.requestKey, s.frameNumber, nullptr);
            break;
        case StepKind::ProcessRequest: {
            checkKeys(j, path,
                      {"do", "plugin", "inputs", "outputs", "requestKey", "frameNumber",
                       "requestIndex", "ifEnabled"});
            s.inputs = j.contains("inputs")
                           ? parseBuffers(j["inputs"], join(path, "inputs"), true, nullptr, baseDir)
                           : request.inputs;
            std::optional<std::vector<BufferSpec>> outputs = request.outputs;
            if (j.contains("outputs")) {
                const BufferSpec* geometry = s.inputs.empty() ? nullptr : &s.inputs.front();
                outputs =
                    parseBuffers(j["outputs"], join(path, "outputs"), false, geometry, baseDir);
            }
            fillOutputs(s, outputs, path);
            s.requestKey = request.requestKey;
            s.frameNumber = request.frameNumber;
            s.requestIndex = request.requestIndex;
            parseRequestValues(j, path, s.requestKey, s.frameNumber, &s.requestIndex);
            if (j.contains("ifEnabled"))
                s.ifEnabled = boolean(j["ifEnabled"], join(path, "ifEnabled"));
            break;
        }
        case StepKind::Flush:
            checkKeys(j, path, {"do", "plugin", "requestKey", "all"});
            s.requestKey = request.requestKey;
            if (j.contains("requestKey")) {
                s.requestKey = integer<uint64_t>(j["requestKey"], join(path, "requestKey"));
            }
            if (j.contains("all"))
                s.flushAll = boolean(j["all"], join(path, "all"));
            break;
        case StepKind::SetDevice:
            checkKeys(j, path, {"do", "device"});
            if (!j.contains("device"))
                fail(join(path, "device"), "missing: the device keys to change");
            s.device = parseDevice(j["device"], join(path, "device"));
            break;
    }
    return s;
}

// Plugin objects must be created before use, used only until destroyed, and deleted once.
void checkLifecycle(const std::vector<Step>& steps) {
    enum class State { Alive, Destroyed, Deleted };
    std::map<std::string, State> plugins;
    std::map<std::string, std::string> destroyedAt;
    for (const Step& s : steps) {
        if (s.kind == StepKind::SetDevice)
            continue;
        const std::string where = join(s.path, "plugin");
        auto it = plugins.find(s.plugin);
        const bool exists = it != plugins.end() && it->second != State::Deleted;
        if (s.kind == StepKind::Create) {
            if (exists)
                fail(where, "plugin \"" + s.plugin + "\" already exists");
            plugins[s.plugin] = State::Alive;
            continue;
        }
        if (!exists) {
            fail(where, "no plugin \"" + s.plugin + "\" exists at this step (add a create step)");
        }
        if (it->second == State::Destroyed && s.kind != StepKind::Delete) {
            fail(where, "plugin \"" + s.plugin + "\" was destroyed at " + destroyedAt[s.plugin] +
                            "; only delete may follow");
        }
        if (s.kind == StepKind::Destroy) {
            it->second = State::Destroyed;
            destroyedAt[s.plugin] = s.path;
        } else if (s.kind == StepKind::Delete) {
            it->second = State::Deleted;
        }
    }
}

}  // namespace

Session parseSession(const json& document, const std::string& baseDir) {
    expectObject(document, "");
    checkKeys(document, "", {"description", "device", "properties", "log", "steps", "request"});
    Session session;
    if (document.contains("description"))
        text(document["description"], "description");
    session.device =
        document.contains("device") ? parseDevice(document["device"], "device") : DeviceSpec{};
    completeDevice(session.device, defaultDevice());

    if (document.contains("properties")) {
        const json& p = document["properties"];
        expectObject(p, "properties");
        for (auto it = p.begin(); it != p.end(); ++it) {
            const std::string path = join("properties", it.key());
            if (it.key().empty() || it.key().size() > 255)
                fail(path, "bad property name");
            std::string value;
            if (it.value().is_string()) {
                value = it.value().get<std::string>();
            } else if (it.value().is_number()) {
                value = it.value().is_number_float() ? std::to_string(it.value().get<double>())
                                                     : it.value().dump();
            } else {
                fail(path, "expected the property's text, got " + describe(it.value()));
            }
            if (value.size() > 91)
                fail(path, "property values hold at most 91 characters");
            session.properties[it.key()] = value;
        }
    }

    if (document.contains("log")) {
        const json& l = document["log"];
        expectObject(l, "log");
        checkKeys(l, "log", {"level", "groups", "offlineLevel", "offlineGroups", "debugMask"});
        if (l.contains("level"))
            session.log.level = integer<int32_t>(l["level"], "log.level");
        if (l.contains("groups"))
            session.log.groups = integer<uint32_t>(l["groups"], "log.groups");
        if (l.contains("offlineLevel")) {
            session.log.offlineLevel = integer<int32_t>(l["offlineLevel"], "log.offlineLevel");
        }
        if (l.contains("offlineGroups")) {
            session.log.offlineGroups = integer<uint32_t>(l["offlineGroups"], "log.offlineGroups");
        }
        if (l.contains("debugMask")) {
            session.log.debugMask = integer<int32_t>(l["debugMask"], "log.debugMask");
        }
    }

    const RequestTemplate request =
        document.contains("request") ? parseRequestTemplate(document["request"], "request", baseDir)
                                     : defaultRequest(baseDir);

    if (document.contains("steps")) {
        const json& steps = document["steps"];
        if (!steps.is_array())
            fail("steps", "expected a list of steps, got " + describe(steps));
        if (steps.size() > 10000)
            fail("steps", "at most 10000 steps");
        for (size_t i = 0; i < steps.size(); ++i) {
            session.steps.push_back(parseStep(steps[i], at("steps", i), request, baseDir));
        }
    } else {
        session.defaultSteps = true;
        const json defaults = json::array({{{"do", "create"}},
                                           {{"do", "initialize"}},
                                           {{"do", "isEnabled"}},
                                           {{"do", "processRequest"}, {"ifEnabled", true}},
                                           {{"do", "destroy"}},
                                           {{"do", "delete"}}});
        for (size_t i = 0; i < defaults.size(); ++i) {
            session.steps.push_back(parseStep(defaults[i], at("steps", i), request, baseDir));
        }
        // The enable query sees the very container the request's first input carries, as the
        // framework hands the same metadata to both calls.
        session.steps[2].metadataFromNextRequest = true;
    }
    checkLifecycle(session.steps);
    return session;
}

json readJsonFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw SessionError("", "cannot open " + path + ": " + strerror(errno));
    try {
        return json::parse(in);
    } catch (const json::exception& e) {
        // Syntax errors, and numbers no double can hold (out_of_range 406).
        std::string what = e.what();
        const size_t colon = what.find("]: ");
        if (colon != std::string::npos)
            what = what.substr(colon + 3);
        throw SessionError("", "not valid JSON: " + what);
    }
}

Session loadSession(const std::string& path) {
    const json document = readJsonFile(path);
    const std::string baseDir = std::filesystem::absolute(path).parent_path().string();
    return parseSession(document, baseDir);
}

}  // namespace korasim
