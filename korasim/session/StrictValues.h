// Strict readers of session JSON values: each names the JSON path of a value that is not what
// the session format allows (SessionError), so a typo never silently runs a different capture.
#pragma once

#include <stdint.h>

#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "session/Session.h"

namespace korasim {
namespace parse {

using nlohmann::json;

// "null", "a list", "the number 3", ... for messages.
std::string describeValue(const json& j);
// "a.b" and "a[3]": JSON paths.
std::string join(const std::string& path, const std::string& key);
std::string at(const std::string& path, size_t index);

[[noreturn]] void fail(const std::string& path, const std::string& what);
void expectObject(const json& j, const std::string& path);
void checkKeys(const json& j, const std::string& path, const std::set<std::string>& allowed);

// Integers: JSON integers, floats without a fraction, or "0x..." hex strings.
long double integerValue(const json& j, const std::string& path);

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

double number(const json& j, const std::string& path);
std::string text(const json& j, const std::string& path);
bool boolean(const json& j, const std::string& path);
std::string oneOf(const json& j, const std::string& path, const std::vector<std::string>& options);
DeviceText textOrNull(const json& j, const std::string& path);

}  // namespace parse
}  // namespace korasim
