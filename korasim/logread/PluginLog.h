// The one reader of the plugin's log lines. `korasim explain` feeds it parsed logcat text;
// `korasim run` feeds it the lines it captured from the plugin. Both get the same captures, the
// same decisions with their values, and the same request paths.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "LogLine.h"

namespace korasim::logread {

// What the plugin logged while deciding isEnabled, as far as the lines show it.
struct EnableFacts {
    bool seen = false;
    int stage = 0;          // furthest step of the decision seen so far
    unsigned onceSeen = 0;  // lines a decision prints once (see PluginLogReader.cpp)
    std::optional<int> preAnchorProc;
    bool preAnchorAbsent = false;  // "MetaData not found for com.orvane.kora2.preAnchorProc"
    std::optional<double> freeRam;
    bool meminfoUnreadable = false;
    std::optional<int> flag;  // controller flag
    std::optional<int> thermal, board;
    std::optional<bool> thermalTagFound;  // "ret = 0": the request held no thermal result
    bool memoryRefusal = false;
    std::optional<int> sameVersion, filesExist;
    bool versionFileUnreadable = false;
    std::optional<std::string> storedVersion, fileVersion;  // "odm version:%s, data version:%s"
    std::optional<std::string> missingModel;
    int modelsReadable = 0;
    std::optional<int> tagsEnable, ui, trigger, mode;
    std::optional<std::string> versionInTags;
    std::optional<bool> smartAE;
    std::optional<int> smartAEBytes;  // a record too short to use: "holds %zu bytes, less than"
    std::optional<int> sceneEnable, algoType;
    std::optional<int> outstanding;  // "process count:%u"
    bool tagWritten = false;
    std::optional<int> final;
    bool failed = false;    // "enable decision failed"
    bool followed = false;  // the same object's next decision began after this one
};

// What the plugin logged while processing the request.
struct ProcessFacts {
    bool seen = false;
    int stage = 0;
    unsigned onceSeen = 0;
    std::optional<std::string> handle;  // "dlopen sdsr %p"
    std::optional<std::string> dlerror;
    std::optional<std::string> imageName;
    std::optional<int> format, dump, bypass;
    std::optional<int> checkFormat, skipBypass;
    std::optional<std::string> noBuffer, libraryUnusable, buffersUnusable, aborted;
    std::optional<std::string> libraryVersion;
    bool versionDiffers = false;
    std::optional<int> trigger, preAlgoType, sensorModeType, propPreAlgoType, propSensorModeType;
    std::optional<double> lux, propLux;
    std::optional<int> smartAEBytes;  // as in EnableFacts, when the request read the record
    std::optional<std::string> rawType;
    std::optional<int> width, height, stride, orientation;
    std::optional<double> zoom;
    std::optional<int> initCode, runCode, unitCode;
    std::optional<double> initMs, runMs, unitMs;
    std::optional<int> processCount, outstandingAfter;
    std::optional<int> boostMs;
    bool boostFailed = false, boostReleased = false;
};

// A log line that made up a capture, as explain lists it under the capture.
struct SupportingLine {
    int source = -1;    // index into PluginLogReader::sources(); -1 for korasim run's own lines
    size_t number = 0;  // 1-based line number in that source; 0 when not from a file
    std::string text;   // "time L TAG: text", cut at kMaxSupportingText bytes
};

// A capture keeps at most this many of its lines (the rest are counted), so that a live stream
// (`adb logcat | korasim explain -`) holds a bounded amount per capture; a capture of a normal
// request has about 35.
constexpr size_t kMaxSupportingLines = 64;
constexpr size_t kMaxSupportingText = 1024;

// A line of a capture as the log stamped it, for explain's timeline: its time as printed, its
// place among the plugin's lines, and the step of the call it belongs to.
struct Stamp {
    std::string time;
    size_t order = 0;
    bool request = false;  // a processRequest line, else an isEnabled line
    int stage = 0;
};

struct Capture {
    std::string time;
    int pid = 0;
    std::string object;                        // "#1", "#2", ... in order of appearance
    std::string objectAddress;                 // "0x..." when the log named it
    std::optional<std::string> objectVersion;  // version read by the object's constructor
    bool objectVersionFileMissing = false;
    EnableFacts enable;
    ProcessFacts process;
    bool debugLinesSeen = false;  // any D line of the plugin in this process
    std::string hiddenBy;         // what closed the gates, e.g. "level 5, groups 0x2"
    int lines = 0;
    std::vector<SupportingLine> supporting;  // kept only when the reader keeps lines
    size_t supportingDropped = 0;            // lines beyond kMaxSupportingLines
    // Earlier captures of the same object admitted and not finished when this one began: the
    // requests outstanding at its decision (times as logged). The reader knows them from the
    // object's creation on when the log shows it (objectCreationSeen); before that, not.
    std::vector<std::string> outstandingBefore;
    bool objectCreationSeen = false;
    bool admissionCounted = false;  // this capture's admission is in its object's count
    bool finishCounted = false;     // and so is the end of its request
    std::vector<Stamp> stamps;
};

// Which call of the plugin printed the lines being fed. A field log does not say, so the order
// of its lines decides (Inferred); korasim run makes each call itself and says so.
enum class Call {
    Inferred,
    Lifecycle,  // create, initialize, flush, destroy: no decision, no request
    IsEnabled,
    ProcessRequest,
};

// The log gates of the online channel, when known (korasim run knows them).
struct Gates {
    int level = 0;
    unsigned groups = 0xFFFFFFFFu;
};

class PluginLogReader {
  public:
    void setGates(const Gates& gates) { m_gates = gates; }
    // Whether each capture keeps the lines that made it up (explain does, korasim run not).
    void keepLines(bool keep) { m_keepLines = keep; }
    // The lines fed from now on come from this input (a file, an archive entry, "-").
    void beginSource(const std::string& name) { m_sources.push_back(name); }
    const std::vector<std::string>& sources() const { return m_sources; }
    // The lines fed from now on were printed by one call of this kind, a fresh call each time:
    // an isEnabled call's lines make one decision, a processRequest call's lines one request,
    // whatever their order. Call::Inferred (the default) goes back to reading the order.
    void beginCall(Call call) {
        m_call = call;
        m_callCapture = -1;
    }
    // Index into captures() of the capture the current call's lines went to; -1 when none
    // reached one (the gates hid them all, or none was a decision or request line).
    int callCapture() const { return m_callCapture; }
    // `line` is a parsed line (any tag, any process); lines that are not the plugin's are
    // counted as foreign. `splitPluginPrefix` must have run on it (parseAndFeed does it).
    void feed(LogLine line);
    // A raw text line: prefilter, parse, feed.
    void feedText(std::string_view text);
    // A line with the plugin's tag that could not be parsed (cut or wrapped).
    void countUnreadable() { ++m_unreadable; }
    // After the last line: which processes showed D lines (when the gates are not known).
    void finish();

    // Whether a request is open, so that framework-tag lines (the boost) may be the plugin's;
    // a stream reader may skip searching for that tag otherwise.
    bool frameworkLinesWanted() const { return m_openRequests > 0; }

    const std::vector<Capture>& captures() const { return m_captures; }
    size_t unattributed() const { return m_unattributed; }
    size_t unreadable() const { return m_unreadable; }
    size_t pluginLines() const { return m_pluginLines; }
    size_t foreignLines() const { return m_foreign; }
    size_t offlineLines() const { return m_offline; }
    size_t objects() const { return m_objects.size(); }
    const std::vector<std::string>& unattributedSamples() const { return m_samples; }

  private:
    struct Object {
        std::string id, address;
        int pid = 0;
        std::optional<std::string> version;
        bool versionFileMissing = false;
        bool gone = false;
        int addressLines = 0;
        int lastEnable = -1, lastProcess = -1;  // capture indexes
        bool creationSeen = false;
        std::vector<int> outstanding;  // captures admitted and not finished, oldest first
    };
    struct Process {
        int current = -1;  // object index
        bool debugSeen = false;
    };
    int objectFor(int pid, const std::string& address, bool create);
    Capture& newCapture(int object, const LogLine& line);
    bool frameworkLineIsOurs(const LogLine& line, const Process& proc) const;
    bool lifecycle(const LogLine& line, const std::string& m);
    bool inferCall(int object, const LogLine& line);
    bool enableStarts(const Object& obj, const std::string& m, int stage) const;
    bool requestStarts(const Object& obj, const std::string& m, int stage) const;
    int admittedCapture(const Object& obj, int pid) const;
    void addEnableLine(int object, const LogLine& line, int stage, bool starts);
    void addProcessLine(int object, const LogLine& line, int stage, bool starts);
    void unattributed(const LogLine& line);
    void support(Capture& capture, const LogLine& line);
    void countOutstanding(int object, int capture);

    bool m_keepLines = false;
    std::vector<std::string> m_sources;

    std::optional<Gates> m_gates;
    Call m_call = Call::Inferred;
    int m_callCapture = -1;
    int m_openRequests = 0;
    std::vector<Capture> m_captures;
    std::vector<Object> m_objects;
    std::vector<std::pair<int, Process>> m_processes;
    size_t m_unattributed = 0, m_unreadable = 0, m_pluginLines = 0, m_foreign = 0, m_offline = 0;
    std::vector<std::string> m_samples;
    Process& process(int pid);
};

// Reads a log file, a folder of them, "-", a gzip'ed log or a bug report zip as a stream (never
// all in memory). Returns false when it cannot be opened or read.
bool readLogFile(const std::string& path, PluginLogReader& reader, std::string* error);

// The enable decision and the request path with their texts, as the report and explain show.
nlohmann::json enableJson(const Capture& capture);
nlohmann::json processJson(const Capture& capture);
// With `sources` (the reader's), the capture's kept lines name the input each came from.
nlohmann::json toJson(const Capture& capture, const std::vector<std::string>& sources = {});
// The stamps of the lines that bound the capture's calls and steps ("timeline" of toJson).
nlohmann::json timelineJson(const Capture& capture);
// One line for people: answer or path, with the deciding value.
std::string describeEnable(const Capture& capture);
std::string describeProcess(const Capture& capture);

}  // namespace korasim::logread
