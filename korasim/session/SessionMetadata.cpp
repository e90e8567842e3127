// Session parsing: metadata containers and their tag values, encoded in each tag's type.
#include <algorithm>

#include "SmartAEProcOutput.h"
#include "VoMetadata.h"
#include "VoaTypes.h"
#include "session/MetadataTypes.h"
#include "session/SessionParsers.h"

namespace korasim {

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

namespace parse {

namespace {

const char* const kSmartAETag = "orvane.ai.asd.SmartAE";

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
                fail(path, "a rational value is a list [numerator, denominator], got " +
                               describeValue(j));
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

}  // namespace

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

}  // namespace parse
}  // namespace korasim
