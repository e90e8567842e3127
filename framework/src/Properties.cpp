// System properties on the host: an in-process store filled by the host program.
#include <cutils/properties.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "HostState.h"

namespace {

bool lookup(const char* key, std::string& value) {
    if (key == nullptr)
        return false;
    auto& s = korahost::detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    auto it = s.properties.find(key);
    if (it == s.properties.end())
        return false;
    value = it->second;
    return true;
}

// Android's integer rule: the text must start with an integer (base prefix allowed, trailing
// text ignored) that fits the range, else the default.
int64_t parseInteger(const char* key, int64_t defaultValue, int64_t min, int64_t max) {
    std::string text;
    if (!lookup(key, text) || text.empty())
        return defaultValue;
    errno = 0;
    char* end = nullptr;
    const long long value = strtoll(text.c_str(), &end, 0);
    if (errno != 0 || end == text.c_str())
        return defaultValue;
    if (value < min || value > max)
        return defaultValue;
    return value;
}

}  // namespace

extern "C" int property_get(const char* key, char* value, const char* default_value) {
    if (value == nullptr)
        return 0;
    // As on Android, an empty value reads as an unset one: the default is copied (when given).
    std::string text;
    if (!lookup(key, text) || text.empty())
        text = default_value ? default_value : "";
    const size_t length =
        text.size() < PROPERTY_VALUE_MAX - 1 ? text.size() : PROPERTY_VALUE_MAX - 1;
    memcpy(value, text.data(), length);
    value[length] = '\0';
    return int(length);
}

extern "C" int32_t property_get_int32(const char* key, int32_t default_value) {
    return int32_t(parseInteger(key, default_value, INT32_MIN, INT32_MAX));
}

extern "C" int64_t property_get_int64(const char* key, int64_t default_value) {
    return parseInteger(key, default_value, INT64_MIN, INT64_MAX);
}

namespace korahost {

void setProperty(const std::string& key, const std::string& value) {
    auto& s = detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.properties[key] = value;
}

void unsetProperty(const std::string& key) {
    auto& s = detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.properties.erase(key);
}

void clearProperties() {
    auto& s = detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.properties.clear();
}

}  // namespace korahost
