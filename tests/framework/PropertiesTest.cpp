// Android's property rules as plugins read them at load time.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <string>

#include "korahost/HostControl.h"

namespace {

TEST(PropertiesTest, IntegerRule) {
    struct Row {
        const char* text;  // null: unset
        int32_t expected;
    } rows[] = {
        {nullptr, -7},
        {"", -7},
        {"0", 0},
        {"12", 12},
        {"-3", -3},
        {"0x10", 16},
        {" 5", 5},
        {"5 ", 5},
        {"5kb", 5},
        {"abc", -7},
        {"2147483647", 2147483647},
        {"2147483648", -7},
        {"-2147483649", -7},
    };
    for (const auto& row : rows) {
        if (row.text) {
            korahost::setProperty("test.int", row.text);
        } else {
            korahost::unsetProperty("test.int");
        }
        EXPECT_EQ(row.expected, property_get_int32("test.int", -7))
            << (row.text ? row.text : "(unset)");
    }
    korahost::clearProperties();
}

TEST(PropertiesTest, TextIsCutToTheValueSize) {
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(9, property_get("test.unset", value, "-1.000000"));
    EXPECT_STREQ("-1.000000", value);
    EXPECT_EQ(0, property_get("test.unset", value, nullptr));
    EXPECT_STREQ("", value);

    korahost::setProperty("test.long", std::string(200, 'a'));
    EXPECT_EQ(PROPERTY_VALUE_MAX - 1, property_get("test.long", value, "x"));
    EXPECT_EQ(std::string(PROPERTY_VALUE_MAX - 1, 'a'), value);
    korahost::clearProperties();
}

}  // namespace
