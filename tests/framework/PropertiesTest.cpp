// Android's property rules as plugins read them at load time.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <string.h>

#include <string>

#include "korahost/HostControl.h"

namespace {

TEST(PropertiesTest, IntegerRule) {
    struct Row {
        const char* text;
        int32_t expected;
    } rows[] = {
        {"0", 0},           {"12", 12},          {"-3", -3},
        {"0x10", 16},       {" 5", 5},           {"5 ", 5},
        {"5kb", 5},         {"abc", -7},         {"2147483647", 2147483647},
        {"2147483648", -7}, {"-2147483649", -7},
    };
    for (const auto& row : rows) {
        korahost::setProperty("test.int", row.text);
        EXPECT_EQ(row.expected, property_get_int32("test.int", -7)) << row.text;
    }
    korahost::clearProperties();
}

// An empty value reads as an unset one in every reader: the text reader copies the default,
// the integer readers answer theirs.
TEST(PropertiesTest, EmptyValueReadsAsUnset) {
    struct Row {
        const char* text;  // null: unset
        const char* defaultText;
        const char* expected;
    } rows[] = {
        {nullptr, "-1.000000", "-1.000000"},
        {"", "-1.000000", "-1.000000"},
        {nullptr, nullptr, ""},
        {"", nullptr, ""},
        {" ", "-1.000000", " "},
        {"250.5", "-1.000000", "250.5"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text ? std::string("\"") + row.text + "\"" : "(unset)");
        if (row.text)
            korahost::setProperty("test.key", row.text);
        else
            korahost::unsetProperty("test.key");
        char value[PROPERTY_VALUE_MAX];
        memset(value, 'x', sizeof(value));
        EXPECT_EQ(int(strlen(row.expected)), property_get("test.key", value, row.defaultText));
        EXPECT_STREQ(row.expected, value);
        if (row.text == nullptr || row.text[0] == '\0') {
            EXPECT_EQ(-7, property_get_int32("test.key", -7));
            EXPECT_EQ(-7, property_get_int64("test.key", -7));
        }
    }
    korahost::clearProperties();
}

TEST(PropertiesTest, TextIsCutToTheValueSize) {
    char value[PROPERTY_VALUE_MAX];
    korahost::setProperty("test.long", std::string(200, 'a'));
    EXPECT_EQ(PROPERTY_VALUE_MAX - 1, property_get("test.long", value, "x"));
    EXPECT_EQ(std::string(PROPERTY_VALUE_MAX - 1, 'a'), value);
    korahost::clearProperties();
}

}  // namespace
