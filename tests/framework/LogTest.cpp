// The log gate table on both channels, and the structured capture behind it.
#include <gtest/gtest.h>

#include "VoLog.h"
#include "korahost/HostControl.h"

namespace {

#define TEST_SOURCE "tests/framework/LogTest"

void emit(char level, uint32_t group) {
    switch (level) {
        case 'D':
            VO_LOG(D, "TEST", group, TEST_SOURCE, "value %d", 1);
            break;
        case 'I':
            VO_LOG(I, "TEST", group, TEST_SOURCE, "value %d", 2);
            break;
        case 'W':
            VO_LOG(W, "TEST", group, TEST_SOURCE, "value %d", 3);
            break;
        case 'E':
            VO_LOG(E, "TEST", group, TEST_SOURCE, "value %d", 4);
            break;
    }
}

struct Gates {
    int32_t level;
    uint32_t groups;
    int32_t offlineLevel;
    uint32_t offlineGroups;
    int32_t mask;
};

class LogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        korahost::resetObservations();
        korahost::openAllLogGates();
    }
    void TearDown() override {
        korahost::openAllLogGates();
        korahost::resetObservations();
    }
};

TEST_F(LogTest, GateTable) {
    struct Row {
        char level;
        uint32_t group;
        Gates gates;
        bool online;
        bool offline;
    } rows[] = {
        // Online thresholds: D < 4, I < 5, W < 6, E < 7.
        {'D', 2, {3, 2, 9, 0, 1}, true, false},
        {'D', 2, {4, 2, 9, 0, 1}, false, false},
        {'I', 2, {4, 2, 9, 0, 1}, true, false},
        {'I', 2, {5, 2, 9, 0, 1}, false, false},
        {'W', 2, {5, 2, 9, 0, 1}, true, false},
        {'W', 2, {6, 2, 9, 0, 1}, false, false},
        {'E', 2, {6, 2, 9, 0, 1}, true, false},
        {'E', 2, {7, 2, 9, 0, 1}, false, false},
        // The group bit must be set.
        {'E', 64, {0, 2 | 32, 9, 0, 1}, false, false},
        {'E', 64, {0, 64, 9, 0, 1}, true, false},
        // Offline: same thresholds, its own groups, and a debug mask for all but E.
        {'D', 2, {9, 0, 3, 2, 1}, false, true},
        {'D', 2, {9, 0, 3, 2, 0}, false, false},
        {'D', 2, {9, 0, 4, 2, 1}, false, false},
        {'I', 2, {9, 0, 4, 2, 1}, false, true},
        {'W', 2, {9, 0, 5, 2, 0}, false, false},
        {'W', 2, {9, 0, 5, 2, 1}, false, true},
        {'E', 2, {9, 0, 6, 2, 0}, false, true},
        {'E', 2, {9, 0, 7, 2, 0}, false, false},
        {'E', 1, {9, 0, 6, 2, 0}, false, false},
        // Both channels at once.
        {'I', 32, {0, 32, 0, 32, 1}, true, true},
    };
    for (const auto& row : rows) {
        korahost::setLogGates(row.gates.level, row.gates.groups, row.gates.offlineLevel,
                              row.gates.offlineGroups, row.gates.mask);
        emit(row.level, row.group);
        int online = 0, offline = 0;
        for (const auto& record : korahost::takeLogs()) {
            (record.channel == korahost::LogChannel::Online ? online : offline)++;
        }
        EXPECT_EQ(row.online ? 1 : 0, online)
            << row.level << " group " << row.group << " level " << row.gates.level;
        EXPECT_EQ(row.offline ? 1 : 0, offline)
            << row.level << " group " << row.group << " offline level " << row.gates.offlineLevel
            << " mask " << row.gates.mask;
    }
}

TEST_F(LogTest, RecordsCarryTheStatementsFields) {
    const int line = __LINE__ + 1;
    VO_LOG(W, "TEST", 32, TEST_SOURCE, "lux %.2f of %s", 12.345, "scene");
    auto records = korahost::takeLogs();
    ASSERT_EQ(2u, records.size());
    for (const auto& record : records) {
        EXPECT_EQ('W', record.level);
        EXPECT_EQ(32u, record.group);
        EXPECT_EQ("LogTest", record.file);
        EXPECT_EQ(line, record.line);
        EXPECT_EQ("TestBody", record.function);
        EXPECT_EQ("lux 12.35 of scene", record.message);
    }
    EXPECT_EQ(korahost::LogChannel::Online, records[0].channel);
    EXPECT_EQ("TEST", records[0].tag);
    EXPECT_EQ(ANDROID_LOG_WARN, records[0].priority);
    // The Android log line itself carries group name, file, line and function first.
    EXPECT_EQ("META LogTest:" + std::to_string(line) + " TestBody()lux 12.35 of scene",
              records[0].text);
    EXPECT_EQ(korahost::LogChannel::Offline, records[1].channel);
}

// Each argument is evaluated once per statement, whichever channels are open, and both channels
// print what that one evaluation gave; a closed statement evaluates nothing.
TEST_F(LogTest, ArgumentsAreEvaluatedOncePerStatement) {
    struct Row {
        const char* what;
        Gates gates;
        int calls;
        int online;
        int offline;
    } rows[] = {
        {"both channels", {0, 2, 0, 2, 1}, 1, 1, 1},
        {"online only", {0, 2, 9, 0, 1}, 1, 1, 0},
        {"offline only", {9, 0, 0, 2, 1}, 1, 0, 1},
        {"both closed", {9, 0, 9, 0, 1}, 0, 0, 0},
    };
    for (const auto& row : rows) {
        korahost::setLogGates(row.gates.level, row.gates.groups, row.gates.offlineLevel,
                              row.gates.offlineGroups, row.gates.mask);
        int calls = 0;
        auto next = [&calls]() { return ++calls; };
        VO_LOG(I, "TEST", 2, TEST_SOURCE, "call %d of %s", next(), "next");
        EXPECT_EQ(row.calls, calls) << row.what;
        int online = 0, offline = 0;
        for (const auto& record : korahost::takeLogs()) {
            (record.channel == korahost::LogChannel::Online ? online : offline)++;
            EXPECT_EQ("call 1 of next", record.message) << row.what;
        }
        EXPECT_EQ(row.online, online) << row.what;
        EXPECT_EQ(row.offline, offline) << row.what;
    }
}

// A message that itself contains conversion characters reaches both channels as it was printed.
TEST_F(LogTest, PrintedPercentSignsStayText) {
    VO_LOG(I, "TEST", 2, TEST_SOURCE, "%s", "100% of %d");
    for (const auto& record : korahost::takeLogs())
        EXPECT_EQ("100% of %d", record.message);
}

// A helper doing one step of its caller's work logs under the caller's name.
TEST_F(LogTest, StatementCanNameItsFunction) {
    VO_LOG_AS("processRequest", D, "TEST", 2, TEST_SOURCE, "bound");
    auto records = korahost::takeLogs();
    ASSERT_EQ(2u, records.size());
    for (const auto& record : records)
        EXPECT_EQ("processRequest", record.function);
    EXPECT_NE(std::string::npos, records[0].text.find(" processRequest()bound"));
}

TEST_F(LogTest, EncryptedCatchKeepsTheLineOffTheAndroidLog) {
    korahost::setEncryptCatchResult(1);
    emit('E', 2);
    auto records = korahost::takeLogs();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(korahost::LogChannel::Offline, records[0].channel);

    // A raw __android_log_print afterwards must not inherit a stale statement context.
    korahost::setEncryptCatchResult(0);
    __android_log_print(ANDROID_LOG_INFO, "RAW", "plain %d", 5);
    records = korahost::takeLogs();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(0u, records[0].group);
    EXPECT_EQ("plain 5", records[0].message);
}

TEST_F(LogTest, LongMessagesAreNotCut) {
    const std::string longText(3000, 'x');
    VO_LOG(E, "TEST", 2, TEST_SOURCE, "%s", longText.c_str());
    auto records = korahost::takeLogs();
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(longText, records[0].message);
    EXPECT_EQ(longText, records[1].message);
}

TEST_F(LogTest, FileNameIsTheLastPathPart) {
    EXPECT_STREQ("sdsrplugin", vodebug::Log::getFileName("sdsr/sdsrplugin"));
    EXPECT_STREQ("plain", vodebug::Log::getFileName("plain"));
    EXPECT_STREQ("", vodebug::Log::getFileName("dir/"));
    EXPECT_STREQ("", vodebug::Log::getFileName(nullptr));
}

}  // namespace
