// A processRequest step: builds the buffers and their metadata, calls the plugin, and reports
// hashes, the path the request took, its costs and the output images.
#include <fstream>
#include <sstream>

#include "VoMetadata.h"
#include "image/Comparison.h"
#include "image/ImageFile.h"
#include "image/Measures.h"
#include "image/Patterns.h"
#include "image/Png.h"
#include "image/YuvRgb.h"
#include "run/ExifPath.h"
#include "run/MetadataValues.h"
#include "run/OutputComparison.h"
#include "run/RunState.h"

namespace korasim {

namespace {

// Writes an output buffer as raw 4:2:0 (<base>.nv21 / .nv12 / .yuv) and as a PNG preview, and
// names both files in the step's output entry.
void writeOutputImage(const YuvImage& o, const std::string& base, json& entry) {
    const char* ext = o.format() == VO_FORMAT_YCrCb_420_SP    ? "nv21"
                      : o.format() == VO_FORMAT_YCbCr_420_888 ? "nv12"
                                                              : "yuv";
    const std::vector<uint8_t> bytes = o.visibleBytes();
    std::ofstream file(base + "." + ext, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file)
        throw std::runtime_error("cannot write " + base + "." + ext);
    entry["file"] = base + "." + ext;
    std::string error;
    if (writePng(base + ".png", toRgb(o), &error))
        entry["preview"] = base + ".png";
}

// "faults Init 0, Run -5": each fault report by the call it follows, with its code; a module
// other than the capture algorithm's (7) is named.
std::string faultWords(const json& dfx) {
    if (dfx.empty())
        return "no fault reports";
    std::string words = "faults";
    for (const auto& d : dfx) {
        words += (&d == &dfx.front() ? " " : ", ");
        words += d["after"].is_string() ? d["after"].get<std::string>() : std::string("?");
        words += " " + std::to_string(d["code"].get<int>());
        if (d["module"] != 7)
            words += " (module " + std::to_string(d["module"].get<int>()) + ")";
    }
    return words;
}

// One line of facts for people: return, path, costs, EXIF, fault reports, boost, dumps and
// whether the output changed (`equalsInput` null: no output).
std::string requestLine(const json& out, const std::string& pathText, int ret,
                        const bool* equalsInput) {
    std::ostringstream line;
    const std::string path = out["path"];
    line << "return " << ret << ", path " << path;
    if (path != "processed" && pathText != path)
        line << " (" << pathText << ")";
    const json& timings = out["timings"];
    for (const char* cost : {"init", "run", "unit"}) {
        const json& value = timings[std::string(cost) + "Ms"];
        if (value.is_number())
            line << ", " << cost << " " << fixed(value, 2) << " ms";
    }
    size_t committed = 0, keys = 0;
    for (const auto& w : out["exif"]) {
        if (w["committed"].get<bool>()) {
            ++committed;
            keys += w["records"].size();
        }
    }
    line << ", EXIF "
         << (committed ? "committed (" + std::to_string(keys) + " keys)" : "not committed");
    line << ", " << faultWords(out["dfx"]);
    for (const auto& e : out["perfLock"]) {
        if (e["event"] == "acquire")
            line << ", boost " << e["durationMs"].get<unsigned>() << " ms";
        if (e["event"] == "createFailed")
            line << ", no boost";
    }
    if (!out["dumps"].empty())
        line << ", " << out["dumps"].size() << " dumps";
    if (equalsInput != nullptr)
        line << ", output " << (*equalsInput ? "= input" : "changed");
    return line.str();
}

}  // namespace

std::shared_ptr<VoMetadata> Runner::Impl::firstInputMetadata(size_t processIndex) {
    auto it = earlyMetadata.find(processIndex);
    if (it != earlyMetadata.end())
        return it->second;
    const Step& s = session.steps[processIndex];
    if (s.inputs.empty())
        return nullptr;
    const BufferSpec& b = s.inputs[primaryIndex(s.inputs)];
    auto meta = buildMetadata(b.metadata, b.path + ".metadata");
    earlyMetadata[processIndex] = meta;
    return meta;
}

// Builds the step's buffers of one side (inputs or outputs), fills them and their metadata, and
// adds them to the request's map; labels name their containers and planes for the report.
void Runner::Impl::buildBuffers(size_t index, const Step& s, bool input, RequestBuffers& buffers,
                                VoBufferMap& map) {
    const std::vector<BufferSpec>& wanted = input ? s.inputs : s.outputs;
    auto& images = input ? buffers.inputs : buffers.outputs;
    auto& markers = input ? buffers.inMarkers : buffers.outMarkers;
    markers.assign(wanted.size(), VO_BUFFER_ACCESS_NONE);
    const size_t primary = primaryIndex(wanted);
    for (size_t i = 0; i < wanted.size(); ++i) {
        const BufferSpec& b = wanted[i];
        auto buffer = std::make_unique<YuvImage>(
            blankImage(b.format, b.width, b.height, b.stride, b.scanline));
        if (b.image.file.empty()) {
            fillPattern(*buffer, b.image.pattern, b.image.seed);
        } else {
            std::string error;
            if (!loadImageFile(*buffer, b.image.file, &error))
                throw SessionError(b.path + ".image", error);
        }
        const std::string name = (input ? "inputs[" : "outputs[") + std::to_string(i) + "]";
        ImageParams params = buffer->params();
        params.metadata = input && i == primary && s.kind == StepKind::ProcessRequest
                              ? firstInputMetadata(index)
                              : buildMetadata(b.metadata, b.path + ".metadata");
        params.physicalMetadata = buildMetadata(b.physicalMetadata, b.path + ".physicalMetadata");
        params.accessMarker = &markers[i];
        labels[params.metadata.get()] = name + ".metadata";
        labels[params.physicalMetadata.get()] = name + ".physicalMetadata";
        labels[buffer->luma()] = name + ".luma";
        labels[buffer->chroma()] = name + ".chroma";
        map[b.port].push_back(params);
        images.push_back(std::move(buffer));
    }
}

// The inputs after the call: hash, whether the plugin changed them, the access marker.
json Runner::Impl::inputsJson(const Step& s, const RequestBuffers& buffers,
                              const std::vector<std::string>& shaBefore) {
    json inJson = json::array();
    for (size_t i = 0; i < buffers.inputs.size(); ++i) {
        const std::string sha = visibleSha256(*buffers.inputs[i]);
        inJson.push_back({{"port", s.inputs[i].port},
                          {"sha256", sha},
                          {"modified", sha != shaBefore[i]},
                          {"accessMarker", static_cast<int>(buffers.inMarkers[i])}});
    }
    return inJson;
}

// The outputs after the call: hash, equal to the input or how they differ, and (with --out)
// their files. Sets `primaryEqualsInput` for the output the plugin writes.
json Runner::Impl::outputsJson(size_t index, const Step& s, const RequestBuffers& buffers,
                               bool& primaryEqualsInput) {
    const auto& inputs = buffers.inputs;
    const size_t primary = s.inputs.empty() ? 0 : primaryIndex(s.inputs);
    json outJson = json::array();
    for (size_t i = 0; i < buffers.outputs.size(); ++i) {
        const YuvImage& o = *buffers.outputs[i];
        const bool equals = !inputs.empty() && o.sameVisiblePixels(*inputs[primary]);
        if (i == primaryIndex(s.outputs))
            primaryEqualsInput = equals;
        json entry = {{"port", s.outputs[i].port},
                      {"sha256", visibleSha256(o)},
                      {"equalsInput", equals},
                      {"accessMarker", static_cast<int>(buffers.outMarkers[i])}};
        const bool files = !options.outDir.empty() && options.writeOutputImages;
        const std::string base = options.outDir + "/step" + std::to_string(index) + "-" + s.plugin +
                                 "-out" + std::to_string(i) + "-" + std::to_string(o.width()) +
                                 "x" + std::to_string(o.height());
        if (!inputs.empty()) {
            // null when the sizes differ
            const double diff = meanAbsLumaDiff(o, *inputs[primary]);
            entry["meanAbsLumaDiff"] = diff >= 0 ? json(diff) : json(nullptr);
            describeDifference(*inputs[primary], o, files ? base : "", entry);
        }
        if (files)
            writeOutputImage(o, base, entry);
        outJson.push_back(entry);
    }
    return outJson;
}

// The path the request took, read from its log lines (or, when the gates hid them, judged from
// the EXIF block), with its costs.
json Runner::Impl::requestPath(const Step& s, const std::vector<korahost::LogRecord>& logs,
                               const std::vector<korahost::ExifWriterLog>& exif,
                               bool primaryEqualsInput, json& out) {
    feed.feed(s.plugin, logread::Call::ProcessRequest, logs);
    json process = feed.process(s.plugin);
    if (process["path"] == "unknown") {
        process["path"] = pathFromExif(exif, primaryEqualsInput);
        process["text"] = process["text"].get<std::string>() + "; path judged from the EXIF block";
    }
    out["path"] = process["path"];
    out["process"] = process;
    json timings = {{"initMs", nullptr}, {"runMs", nullptr}, {"unitMs", nullptr}};
    if (process.contains("costs"))
        timings = process["costs"];
    out["timings"] = timings;
    return process;
}

std::string Runner::Impl::processRequest(size_t index, const Step& s, Slot& slot, json& out,
                                         std::vector<korahost::LogRecord>& logs) {
    ProcessRequestInfo request{};
    request.frameNumber = s.frameNumber;
    request.requestIndex = s.requestIndex;
    request.requestKey = s.requestKey;
    labels.clear();
    RequestBuffers buffers;
    buildBuffers(index, s, true, buffers, request.inputBuffers);
    buildBuffers(index, s, false, buffers, request.outputBuffers);
    labels.erase(nullptr);

    std::vector<std::string> inputShaBefore;
    for (const auto& b : buffers.inputs)
        inputShaBefore.push_back(visibleSha256(*b));
    korahost::takeMetadataWrites();  // our own container set-up

    const auto start = std::chrono::steady_clock::now();
    const int ret = slot.object->processRequest(&request);
    out["startUs"] = offsetUs(sessionStart, start);
    out["durationMs"] = elapsedMs(start);
    out["return"] = ret;
    logs = korahost::takeLogs();

    out["inputs"] = inputsJson(s, buffers, inputShaBefore);
    bool primaryEqualsInput = false;
    out["outputs"] = outputsJson(index, s, buffers, primaryEqualsInput);
    std::vector<korahost::ExifWriterLog> exif = korahost::takeExifWriters();
    const json process = requestPath(s, logs, exif, primaryEqualsInput, out);
    collectCommon(out, logs, exif, true);

    if (processed)
        processed(ProcessedRequest{index, buffers.inputs, buffers.outputs});
    return requestLine(out, process["text"], ret,
                       buffers.outputs.empty() ? nullptr : &primaryEqualsInput);
}

}  // namespace korasim
