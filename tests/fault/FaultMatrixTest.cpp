// Faults of the device and the request that the request and frame tables leave out (see
// docs/fault-matrix.md). Each row breaks one thing, asks isEnabled and processes one request on
// a plugin loaded as the framework loads it, and checks what the capture owes: the output image
// (the algorithm's result, or a copy of the input where a copy is due), the line that tells why,
// the boost released. Then the row heals the fault and the same plugin object must serve the
// next request with the algorithm, so the process goes on. Leaks are LeakSanitizer's (ASan
// build).
#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "RequestHarness.h"
#include "korahost/DeviceModelFiles.h"

namespace sdsrtest {
namespace {

enum class Fault {
    ModelMissing,
    BoardNodeAbsent,
    BoostRefused,
    MetadataAbsent,
    MetadataEmpty,
    OutputOtherImage,
    SinglePlaneBuffers,
    PlaneSmallerThanImage,
};

enum class Output { Marked, Copy };

struct Row {
    std::string name;
    Fault fault;
    std::string model;  // ModelMissing: the file removed
    bool enabled;       // isEnabled's answer under the fault
    Output output;
    char level;
    std::string line;  // the line that tells the fault (substring)
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.name;
}

std::vector<Row> rows() {
    std::vector<Row> table = {
        {"BoardNodeAbsent", Fault::BoardNodeAbsent, "", true, Output::Marked, 'I',
         "cannot open thermaNode: /sys/class/thermal/thermal_message/board_sensor_temp"},
        {"BoostRefused", Fault::BoostRefused, "", true, Output::Marked, 'E',
         "VoaPerfLock create fail"},
        {"MetadataAbsent", Fault::MetadataAbsent, "", false, Output::Marked, 'I',
         "MetaData not found for orvane.ai.asd.sdsrui"},
        {"MetadataEmpty", Fault::MetadataEmpty, "", false, Output::Marked, 'I',
         "MetaData not found for orvane.ai.asd.sdsrui"},
        {"OutputOtherImage", Fault::OutputOtherImage, "", true, Output::Copy, 'E',
         "sdsr buffers unusable (input 64x48 stride 80 planes 2, output 64x24 stride 80"},
        {"SinglePlaneBuffers", Fault::SinglePlaneBuffers, "", true, Output::Copy, 'E',
         "sdsr buffers unusable (input 64x48 stride 80 planes 1"},
        {"PlaneSmallerThanImage", Fault::PlaneSmallerThanImage, "", true, Output::Copy, 'E',
         "sdsr buffers unusable (input 64x48 stride 80 planes 2, output 64x48 stride 80 planes 2)"},
    };
    // Each of the twelve model files, one at a time.
    for (const std::string& model : korahost::deviceModelFiles()) {
        table.push_back({"ModelMissing_" + model.substr(0, model.find('.')), Fault::ModelMissing,
                         model, false, Output::Copy, 'I', "modelName:" + model + " is not acess"});
    }
    return table;
}

class FaultMatrix : public ::testing::TestWithParam<Row> {};

TEST_P(FaultMatrix, CaptureDeliveredAndObjectGoesOn) {
    const Row& row = GetParam();
    PluginSession session;
    std::shared_ptr<VoMetadata> meta = enablingMetadata();
    switch (row.fault) {
        case Fault::ModelMissing:
            session.tree.remove("/data/vendor/camera/" + row.model);
            break;
        case Fault::BoardNodeAbsent:
            session.tree.remove("/sys/class/thermal/thermal_message/board_sensor_temp");
            break;
        case Fault::BoostRefused:
            korahost::setPerfLockCreationFails(true);
            break;
        case Fault::MetadataAbsent:
            meta = nullptr;
            break;
        case Fault::MetadataEmpty:
            meta = std::make_shared<VoMetadata>();
            break;
        default:
            break;
    }
    EXPECT_EQ(row.enabled, session.enable(meta));

    TestRequest request(64, 48, 17, 80, meta);
    if (row.fault == Fault::OutputOtherImage)
        request.info.outputBuffers[0][0].height = 24;
    if (row.fault == Fault::SinglePlaneBuffers) {
        // One plane holding luma and chroma back to back, as the image lies in memory.
        for (VoBufferMap* map : {&request.info.inputBuffers, &request.info.outputBuffers}) {
            ImageParams& image = (*map)[0][0];
            image.planeCount = 1;
            image.planes[0].size += image.planes[1].size;
        }
    }
    // The output's chroma plane says it ends one row short of the image.
    if (row.fault == Fault::PlaneSmallerThanImage)
        request.info.outputBuffers[0][0].planes[1].size = 80 * 23;
    // A refused request never reaches processRequest; the output then is the framework's. The
    // other rows show what the request would have delivered anyway.
    if (row.fault != Fault::ModelMissing) {
        EXPECT_EQ(0, session.process(request));
        if (row.fault == Fault::OutputOtherImage || row.fault == Fault::PlaneSmallerThanImage) {
            // The copy fills what the output describes: the upper half of the luma, or all but
            // the chroma row the plane does not hold.
            const std::vector<uint8_t> in = request.input.visibleBytes();
            const std::vector<uint8_t> out = request.output.visibleBytes();
            const size_t described = row.fault == Fault::OutputOtherImage ? 64 * 24 : 64 * 71;
            EXPECT_TRUE(std::equal(in.begin(), in.begin() + described, out.begin()));
        } else {
            EXPECT_TRUE(request.output.visibleBytes() ==
                        (row.output == Output::Copy ? request.inputPixels : request.markedInput()));
        }
        EXPECT_TRUE(request.input.visibleBytes() == request.inputPixels);
        EXPECT_TRUE(paddingIntact(request.output)) << "bytes outside the image were written";
        EXPECT_EQ(VO_BUFFER_ACCESS_CPU_READ_WRITE, request.output.marker);
    }
    EXPECT_TRUE(hasLine(takeOnlineLogs(), row.level, row.line)) << row.line;
    EXPECT_EQ(0, korahost::livePerfLocks());

    // Healed, the same object admits and processes the next request with the algorithm.
    session.tree.makePassing();
    korahost::setPerfLockCreationFails(false);
    EXPECT_TRUE(session.enable(enablingMetadata()));
    TestRequest next(64, 48, 35, 80, enablingMetadata());
    EXPECT_EQ(0, session.process(next));
    EXPECT_TRUE(next.output.visibleBytes() == next.markedInput());
}

INSTANTIATE_TEST_SUITE_P(Rows, FaultMatrix, ::testing::ValuesIn(rows()),
                         [](const ::testing::TestParamInfo<Row>& param) {
                             return param.param.name;
                         });

}  // namespace
}  // namespace sdsrtest
