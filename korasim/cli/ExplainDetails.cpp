#include "cli/ExplainDetails.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace korasim {
namespace {

using nlohmann::json;

constexpr const char* kIndent = "    ";

// `text` cut at spaces into lines of at most `width` characters (a word longer than that stays
// whole on its own line).
std::vector<std::string> wrapped(const std::string& text, size_t width) {
    std::vector<std::string> lines(1);
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find(' ', at);
        if (end == std::string::npos)
            end = text.size();
        const std::string word = text.substr(at, end - at);
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width)
            lines.emplace_back();
        lines.back() += (lines.back().empty() ? "" : " ") + word;
        at = end + 1;
    }
    return lines;
}

// "label: text" wrapped to the width, continuation lines under the text.
std::string labelled(const std::string& label, const std::string& text) {
    const std::string head = std::string(kIndent) + label + ": ";
    std::string out;
    for (const auto& line : wrapped(text, kDetailsWidth - head.size()))
        out += (out.empty() ? head : std::string(head.size(), ' ')) + line + "\n";
    return out;
}

std::string cell(const json& value, const char* absent) {
    if (value.is_null())
        return absent;
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// Rows of cells aligned in columns; the last column wraps under itself when a row would pass
// the width.
std::string table(const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (size_t i = 0; i + 1 < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    std::string out;
    for (const auto& row : rows) {
        std::string line = kIndent;
        for (size_t i = 0; i + 1 < row.size(); ++i)
            line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        const size_t lastColumn = line.size();
        const size_t room = kDetailsWidth > lastColumn + 10 ? kDetailsWidth - lastColumn : 10;
        const std::vector<std::string> last = wrapped(row.empty() ? "" : row.back(), room);
        for (size_t i = 0; i < last.size(); ++i)
            out += (i == 0 ? line : std::string(lastColumn, ' ')) + last[i] + "\n";
    }
    return out;
}

std::string checks(const json& enable) {
    if (!enable.contains("checks") || enable["checks"].empty())
        return std::string();
    std::vector<std::vector<std::string>> rows = {{"check", "result", "value", "limit"}};
    for (const auto& c : enable["checks"]) {
        // A check the decision never reached read no value; one it passed without a line
        // carrying the value is "not logged".
        const bool reached = c["result"] != "not reached";
        rows.push_back({c["name"].get<std::string>(), c["result"].get<std::string>(),
                        cell(c["value"], reached ? "not logged" : "not read"),
                        c["limit"].get<std::string>()});
    }
    return table(rows);
}

// The Init record's fields in the algorithm's order, with the words people search for.
std::string algorithmInput(const json& input) {
    static const std::pair<const char*, const char*> kFields[] = {
        {"width", "width"},
        {"height", "height"},
        {"stride", "stride"},
        {"format", "format"},
        {"zoom", "zoom ratio"},
        {"orientation", "orientation"},
        {"trigger", "trigger type"},
        {"lux", "lux index"},
        {"preAlgoType", "pre-algo type"},
        {"sensorModeType", "sensor mode type"},
    };
    std::vector<std::vector<std::string>> rows;
    for (const auto& [key, words] : kFields) {
        if (input.contains(key))
            rows.push_back({std::string("  ") + words, cell(input[key], "not logged")});
    }
    if (input.contains("overrides")) {
        std::string overrides;
        for (const auto& [key, value] : input["overrides"].items())
            overrides += (overrides.empty() ? "" : ", ") + key + " " + cell(value, "");
        rows.push_back({"  property overrides", overrides.empty() ? "none" : overrides});
    }
    return std::string(kIndent) + "algorithm input (the Init record as logged):\n" + table(rows);
}

std::string costs(const json& c) {
    const auto one = [&](const char* key, const char* name) {
        char text[64];
        if (c[key].is_number())
            snprintf(text, sizeof(text), "%s %.2f ms", name, c[key].get<double>());
        else
            snprintf(text, sizeof(text), "%s not logged", name);
        return std::string(text);
    };
    return labelled(
        "costs", one("initMs", "init") + ", " + one("runMs", "run") + ", " + one("unitMs", "unit"));
}

// Where the capture's lines are: "lines 7 to 37 of FILE (27 lines)".
std::string lineRange(const json& capture) {
    const json lines = capture.value("lines", json::array());
    if (lines.empty())
        return std::string();
    const json& first = lines.front();
    const json& last = lines.back();
    std::string text = "lines " + first["line"].dump() + " to " + last["line"].dump();
    if (first.contains("source"))
        text += " of " + first["source"].get<std::string>();
    if (last.value("source", "") != first.value("source", ""))
        text += " to " + last["source"].get<std::string>();
    text += " (" + std::to_string(lines.size()) + " kept";
    if (capture.value("linesNotKept", 0) > 0)
        text += ", " + capture["linesNotKept"].dump() + " more not kept";
    return labelled("log lines", text + ")");
}

}  // namespace

std::string explainDetails(const json& capture) {
    std::string out = checks(capture["enable"]);
    const json& process = capture["process"];
    if (!process.is_null()) {
        if (!process["algoInput"].is_null())
            out += algorithmInput(process["algoInput"]);
        out += costs(process["costs"]);
        if (!process["boost"].is_null())
            out += labelled("boost", process["boost"].get<std::string>());
        for (const auto& d : process["dumps"])
            out += labelled("dump", d.get<std::string>());
    }
    const json outstanding = capture.value("outstandingBefore", json::array());
    if (!outstanding.empty()) {
        std::string times;
        for (const auto& t : outstanding)
            times += (times.empty() ? "" : ", ") + t.get<std::string>();
        out += labelled("outstanding before", std::to_string(outstanding.size()) +
                                                  " earlier request(s) of this object, admitted "
                                                  "at " +
                                                  times + " and not finished");
    }
    for (const auto& u : capture["unknown"])
        out += labelled("not in the log", u.get<std::string>());
    return out + lineRange(capture);
}

}  // namespace korasim
