// The records the algorithm library receives and the EXIF values that describe them. Each row
// runs in a fresh process: the debug properties are read when the plugin library is loaded,
// and the metadata helper client lives as long as the process.
#include <string.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "RequestHarness.h"

namespace sdsrtest {
namespace {

const int kNotWritten = -1000;

struct InitRow {
    const char* name;
    std::vector<std::pair<const char*, const char*>> properties;
    const char* helper;  // installed metadata-helper variant, "" for none
    int helperStatus;
    // Request metadata (kNotWritten: tag not written).
    uint32_t format;
    int smartAlgoType;
    int smartSensorMode;
    float zoom;  // <= 0: no zoom tag
    int orientation;
    int trigger;
    const char* imageName;  // nullptr: no tag
    // Init record as the library must receive it.
    uint32_t rawType;
    float expectZoom;
    int expectOrientation;
    int expectTrigger;
    float expectLux;
    int expectPreAlgoType;
    int expectSensorModeType;
    const char* expectImageName;
    // EXIF values that differ between rows (measured before the overrides).
    const char* exifLux;
    const char* exifPreAlgoType;
    const char* exifSensorModeType;
    const char* exifZoom;
    const char* exifRawType;
};

// Test names tell the row; gtest need not dump its bytes.
void PrintTo(const InitRow& row, std::ostream* os) {
    *os << row.name;
}

const float kHelperLux = 123.5f;

std::shared_ptr<VoMetadata> rowMetadata(const InitRow& row) {
    auto meta = std::make_shared<VoMetadata>();
    if (row.trigger != kNotWritten)
        putInt(*meta, "orvane.ai.asd.sdsrui", row.trigger);
    if (row.smartAlgoType != kNotWritten)
        putSmartAE(*meta, row.smartAlgoType, row.smartSensorMode);
    if (row.zoom > 0)
        putFloat(*meta, ANDROID_CONTROL_ZOOM_RATIO, row.zoom);
    if (row.orientation != kNotWritten) {
        int32_t value = row.orientation;
        meta->update(ANDROID_JPEG_ORIENTATION, &value, 1);
    }
    if (row.imageName != nullptr)
        putString(*meta, "orvane.snapshot.imageName", row.imageName, true);
    unsigned int luxTag = 0;
    if (VoMetadata::getTagFromName("orvane.stats.luxIndex", &luxTag) == 0) {
        putFloat(*meta, luxTag, kHelperLux);
    } else {
        ADD_FAILURE() << "orvane.stats.luxIndex is not a registered tag";
    }
    return meta;
}

void checkRow(const InitRow& row) {
    for (const auto& property : row.properties) {
        korahost::setProperty(property.first, property.second);
    }
    SessionOptions options;
    options.metaHelper = row.helper;
    PluginSession session(options);
    std::unique_ptr<MetaHelperDouble> helper;
    if (row.helper[0] != '\0') {
        helper = std::make_unique<MetaHelperDouble>(row.helper);
        helper->setStatus(row.helperStatus);
    }

    TestRequest request(64, 48, row.format, 80, rowMetadata(row));
    session.process(request);

    ScriptedAlgoCall init{};
    ASSERT_TRUE(session.algo.lastCall(SCRIPTED_CALL_INIT, &init));
    EXPECT_EQ(1, init.handleWasNull);
    EXPECT_EQ(row.rawType, init.init.rawType);
    EXPECT_EQ(48, init.init.height);
    EXPECT_EQ(64, init.init.width);
    EXPECT_EQ(80, init.init.stride);
    EXPECT_FLOAT_EQ(row.expectZoom, init.init.zoomRatio);
    EXPECT_EQ(row.expectOrientation, init.init.orientation);
    EXPECT_FLOAT_EQ(row.expectLux, init.init.lux_index);
    EXPECT_EQ(row.expectTrigger, init.init.triggerType);
    EXPECT_EQ(row.expectPreAlgoType, static_cast<int>(init.init.preAlgoType));
    EXPECT_EQ(row.expectSensorModeType, static_cast<int>(init.init.sensorModeType));
    EXPECT_STREQ("/data/vendor/camera/", init.pathAssets);
    EXPECT_STREQ("/vendor/etc/camera/", init.pathAssetsCompressed);

    ScriptedAlgoCall run{};
    ASSERT_TRUE(session.algo.lastCall(SCRIPTED_CALL_RUN, &run));
    EXPECT_EQ(request.input.luma(), run.run.inputPlane[0]);
    EXPECT_EQ(request.input.chroma(), run.run.inputPlane[1]);
    EXPECT_EQ(request.output.luma(), run.run.outputPlane[0]);
    EXPECT_EQ(request.output.chroma(), run.run.outputPlane[1]);
    EXPECT_EQ(-1, run.run.inputFd[0]);
    EXPECT_EQ(-1, run.run.outputFd[1]);
    EXPECT_STREQ(row.expectImageName, run.imageName);

    const auto writers = korahost::takeExifWriters();
    ASSERT_EQ(1u, writers.size());
    const auto& exif = writers[0];
    EXPECT_EQ("1.0.0.0", exifValue(exif, "version"));
    EXPECT_EQ(std::to_string(row.expectTrigger), exifValue(exif, "triggerType"));
    EXPECT_EQ(row.exifLux, exifValue(exif, "lux_index"));
    EXPECT_EQ(row.exifPreAlgoType, exifValue(exif, "preAlgoType"));
    EXPECT_EQ(row.exifSensorModeType, exifValue(exif, "sensorModeType"));
    EXPECT_EQ(std::to_string(row.format), exifValue(exif, "format"));
    EXPECT_EQ(row.exifRawType, exifValue(exif, "rawType"));
    EXPECT_EQ("64", exifValue(exif, "wide"));
    EXPECT_EQ("48", exifValue(exif, "height"));
    EXPECT_EQ(row.exifZoom, exifValue(exif, "zoomRatio"));
    EXPECT_EQ(std::to_string(row.expectOrientation), exifValue(exif, "orientation"));
    EXPECT_TRUE(exif.committed);
}

class InitRecord : public ::testing::TestWithParam<InitRow> {};

TEST_P(InitRecord, AsTheLibraryReceivesItAndInExif) {
    const InitRow& row = GetParam();
    EXPECT_TRUE(inChild([&row] { checkRow(row); }));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, InitRecord, ::testing::Values(
    // name, properties, helper, status, format, smartAlgo, smartMode, zoom, orient, trigger, name
    //   -> rawType, zoom, orient, trigger, lux, pre, sensor, image name
    //   -> exif lux, pre, sensor, zoom, rawType
    InitRow{"Nv21AllTagsNoHelper", {}, "", 0, 17, 5, 0, 10.7f, 90, 2, "IMG_20240101_120000.jpg",
            1, 10.7f, 90, 2, 0.0f, 1, 1, "IMG_20240101_120000",
            "0.000000", "1", "1", "10.700000", "YUV_NV21"},
    InitRow{"Nv12NoTags", {}, "", 0, 35, kNotWritten, 0, 0.0f, kNotWritten, kNotWritten, nullptr,
            0, 1.0f, 0, 0, 0.0f, 3, 3, "",
            "0.000000", "3", "3", "1.000000", "NV12"},
    InitRow{"SmartAE8Mode15WithHelper", {}, "double", 0, 17, 8, 15, 20.0f, 270, 1, "a.b.c",
            1, 20.0f, 270, 1, kHelperLux, 2, 2, "a",
            "123.500000", "2", "2", "20.000000", "YUV_NV21"},
    InitRow{"SmartAEOtherValues", {}, "double", 0, 35, 7, 3, 0.6f, 0, 2, "noext",
            0, 0.6f, 0, 2, kHelperLux, 0, 0, "noext",
            "123.500000", "0", "0", "0.600000", "NV12"},
    InitRow{"HelperQueryFails", {}, "double", -1, 17, 5, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, 0.0f, 1, 1, "",
            "0.000000", "1", "1", "10.000000", "YUV_NV21"},
    InitRow{"LuxOverridePositive", {{"persist.vendor.camera.sdsr.luxIndex", "250.5"}}, "double",
            0, 17, 5, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, 250.5f, 1, 1, "",
            "123.500000", "1", "1", "10.000000", "YUV_NV21"},
    InitRow{"LuxOverrideSmallWithoutHelper", {{"persist.vendor.camera.sdsr.luxIndex", "0.5"}},
            "", 0, 17, 5, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, 0.5f, 1, 1, "",
            "0.000000", "1", "1", "10.000000", "YUV_NV21"},
    InitRow{"LuxOverrideZeroIgnored", {{"persist.vendor.camera.sdsr.luxIndex", "0"}}, "double",
            0, 17, 5, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, kHelperLux, 1, 1, "",
            "123.500000", "1", "1", "10.000000", "YUV_NV21"},
    InitRow{"LuxOverrideNegativeIgnored", {{"persist.vendor.camera.sdsr.luxIndex", "-3"}},
            "double", 0, 17, 5, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, kHelperLux, 1, 1, "",
            "123.500000", "1", "1", "10.000000", "YUV_NV21"},
    InitRow{"PreAlgoTypeZeroForces", {{"persist.vendor.camera.sdsr.preAlgoType", "0"}}, "", 0,
            17, kNotWritten, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, 0.0f, 0, 3, "",
            "0.000000", "3", "3", "10.000000", "YUV_NV21"},
    InitRow{"PreAlgoTypeMinusOneKeeps", {{"persist.vendor.camera.sdsr.preAlgoType", "-1"}}, "",
            0, 17, 5, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, 0.0f, 1, 1, "",
            "0.000000", "1", "1", "10.000000", "YUV_NV21"},
    InitRow{"SensorModeTypeForced", {{"persist.vendor.camera.sdsr.sensorModeType", "2"}}, "", 0,
            17, 5, 0, 10.0f, 0, 2, nullptr,
            1, 10.0f, 0, 2, 0.0f, 1, 2, "",
            "0.000000", "1", "1", "10.000000", "YUV_NV21"}),
    [](const ::testing::TestParamInfo<InitRow>& param) { return param.param.name; });
// clang-format on

// The bypass switch sends even a supported format to the copy, before the library is asked.
TEST(BypassSwitch, CopiesWithoutAskingTheLibrary) {
    EXPECT_TRUE(inChild([] {
        korahost::setProperty("persist.vendor.camera.sdsr.bypass", "1");
        PluginSession session;
        TestRequest request(64, 48, 17, 80, enablingMetadata());
        session.process(request);
        EXPECT_TRUE(request.output.visibleBytes() == request.inputPixels);
        EXPECT_TRUE(hasLine(takeOnlineLogs(), 'E',
                            "skip sdsr!  Going voCopyBuffer. checkformat = 1 SdSrBypass = 1"));
        EXPECT_TRUE(session.algo.calls().empty());
        const auto writers = korahost::takeExifWriters();
        ASSERT_EQ(1u, writers.size());
        EXPECT_FALSE(writers[0].committed);
        EXPECT_TRUE(korahost::takeDfxReports().empty());
    }));
}

// The library's four numbers must spell the installed version exactly.
struct VersionRow {
    const char* name;
    int32_t numbers[4];
    const char* installed;
    bool processed;
};

// Test names tell the row; gtest need not dump its bytes.
void PrintTo(const VersionRow& row, std::ostream* os) {
    *os << row.name;
}

class VersionText : public ::testing::TestWithParam<VersionRow> {};

TEST_P(VersionText, DecidesBetweenRunAndCopy) {
    const VersionRow& row = GetParam();
    SessionOptions options;
    options.version = row.installed;
    PluginSession session(options);
    session.algo.setVersion(row.numbers[0], row.numbers[1], row.numbers[2], row.numbers[3]);
    TestRequest request(32, 16, 17, 32, enablingMetadata());
    session.process(request);
    EXPECT_TRUE(request.output.visibleBytes() ==
                (row.processed ? request.markedInput() : request.inputPixels));
    EXPECT_EQ(!row.processed, hasLine(takeOnlineLogs(), 'E', "sdsr version is different"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, VersionText,
    ::testing::Values(VersionRow{"Equal", {1, 2, 3, 4}, "1.2.3.4", true},
                      VersionRow{"InstalledShorter", {1, 2, 3, 4}, "1.2.3", false},
                      VersionRow{"InstalledEmpty", {1, 0, 0, 0}, "", false},
                      VersionRow{"TrailingBlank", {1, 0, 0, 0}, "1.0.0.0 ", false},
                      VersionRow{"NegativeNumbers", {-1, 0, 0, 10}, "-1.0.0.10", true}),
    [](const ::testing::TestParamInfo<VersionRow>& param) { return param.param.name; });

}  // namespace
}  // namespace sdsrtest
