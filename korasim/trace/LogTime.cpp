#include "trace/LogTime.h"

#include <time.h>

#include <cctype>

namespace korasim::trace {
namespace {

// Reads `count` digits at `pos` (advancing it); false when there are not that many.
bool digits(std::string_view s, size_t& pos, size_t count, int& value) {
    if (pos + count > s.size())
        return false;
    value = 0;
    for (size_t i = 0; i < count; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(s[pos + i])))
            return false;
        value = value * 10 + (s[pos + i] - '0');
    }
    pos += count;
    return true;
}

bool literal(std::string_view s, size_t& pos, char c) {
    if (pos >= s.size() || s[pos] != c)
        return false;
    ++pos;
    return true;
}

// ".123", ".123456" or ".123456789" as microseconds (digits beyond the sixth dropped).
int64_t fractionUs(std::string_view s, size_t pos) {
    if (!literal(s, pos, '.'))
        return 0;
    int64_t us = 0;
    int scale = 100000;
    for (; pos < s.size() && std::isdigit(static_cast<unsigned char>(s[pos])); ++pos) {
        us += (s[pos] - '0') * scale;
        scale /= 10;
    }
    return us;
}

std::optional<int64_t> dateTimeUs(std::string_view s) {
    size_t pos = 0;
    int year = 2000, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (s.size() > 4 && s[4] == '-' && (!digits(s, pos, 4, year) || !literal(s, pos, '-')))
        return std::nullopt;
    if (!digits(s, pos, 2, month) || !literal(s, pos, '-') || !digits(s, pos, 2, day) ||
        !literal(s, pos, ' ') || !digits(s, pos, 2, hour) || !literal(s, pos, ':') ||
        !digits(s, pos, 2, minute) || !literal(s, pos, ':') || !digits(s, pos, 2, second))
        return std::nullopt;
    tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return int64_t(timegm(&t)) * 1000000 + fractionUs(s, pos);
}

std::optional<int64_t> secondsUs(std::string_view s) {
    size_t pos = 0;
    int64_t seconds = 0;
    while (pos < s.size() && std::isdigit(static_cast<unsigned char>(s[pos])))
        seconds = seconds * 10 + (s[pos++] - '0');
    if (pos == 0 || pos > 12 || pos >= s.size() || s[pos] != '.')
        return std::nullopt;
    return seconds * 1000000 + fractionUs(s, pos);
}

}  // namespace

std::optional<int64_t> logTimeUs(std::string_view stamp) {
    while (!stamp.empty() && stamp.front() == ' ')
        stamp.remove_prefix(1);
    if (stamp.size() > 5 && (stamp[2] == '-' || stamp[4] == '-'))
        return dateTimeUs(stamp);
    return secondsUs(stamp);
}

}  // namespace korasim::trace
