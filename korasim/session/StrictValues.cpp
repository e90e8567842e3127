#include "session/StrictValues.h"

#include <errno.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>

namespace korasim {
namespace parse {

std::string describeValue(const json& j) {
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
        fail(path, "expected an object, got " + describeValue(j));
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
    fail(path, "expected an integer, got " + describeValue(j));
}

double number(const json& j, const std::string& path) {
    if (!j.is_number())
        fail(path, "expected a number, got " + describeValue(j));
    return j.get<double>();
}

std::string text(const json& j, const std::string& path) {
    if (!j.is_string())
        fail(path, "expected a string, got " + describeValue(j));
    return j.get<std::string>();
}

bool boolean(const json& j, const std::string& path) {
    if (!j.is_boolean())
        fail(path, "expected true or false, got " + describeValue(j));
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

}  // namespace parse
}  // namespace korasim
