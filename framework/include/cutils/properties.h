// Host stand-in of Android's <cutils/properties.h>. Values live in an in-process store that a
// host program fills (korahost::setProperty) before it loads a plugin.
#pragma once

#include <stdint.h>

#define PROPERTY_KEY_MAX 32
#define PROPERTY_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

// Copies the value of `key` (or `default_value` when unset) into `value`, which must hold
// PROPERTY_VALUE_MAX bytes. Returns the length of the copied text.
int property_get(const char* key, char* value, const char* default_value);

// Android's integer rule: an unset property, or one whose text does not start with an integer
// (decimal, 0x hex or 0 octal) within range, yields `default_value`; trailing text is ignored.
int32_t property_get_int32(const char* key, int32_t default_value);
int64_t property_get_int64(const char* key, int64_t default_value);

#ifdef __cplusplus
}
#endif
