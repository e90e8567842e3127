#include "session/Expect.h"

#include <fnmatch.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

#include "session/StrictValues.h"

namespace korasim {

using nlohmann::json;
using parse::fail;

namespace {

using Kinds = std::set<StepKind>;
const Kinds kAll = {StepKind::Create,         StepKind::Initialize, StepKind::IsEnabled,
                    StepKind::ProcessRequest, StepKind::Flush,      StepKind::Destroy,
                    StepKind::Delete,         StepKind::SetDevice};

enum class Shape { Boolean, Text, Integer, Exif, IntegerList, TextList, Record };

struct KeyRule {
    Shape shape;
    Kinds kinds;
};

const std::map<std::string, KeyRule>& rules() {
    static const std::map<std::string, KeyRule> table = {
        {"answer", {Shape::Boolean, {StepKind::IsEnabled}}},
        {"reason", {Shape::Text, {StepKind::IsEnabled}}},
        {"return",
         {Shape::Integer, {StepKind::Initialize, StepKind::ProcessRequest, StepKind::Flush}}},
        {"path", {Shape::Text, {StepKind::ProcessRequest}}},
        {"skipped", {Shape::Boolean, {StepKind::ProcessRequest}}},
        {"outputEqualsInput", {Shape::Boolean, {StepKind::ProcessRequest}}},
        {"outputSha256", {Shape::Text, {StepKind::ProcessRequest}}},
        {"exif", {Shape::Exif, kAll}},
        {"dfx", {Shape::IntegerList, kAll}},
        {"algorithmCalls", {Shape::TextList, kAll}},
        {"init", {Shape::Record, kAll}},
        {"dumps", {Shape::TextList, kAll}},
    };
    return table;
}

// The refusal reasons and request paths korasim names; an expectation of any other id could
// never hold, so it is refused when the session is read.
const std::set<std::string> kReasons = {"preAnchorProc", "memory",       "controller", "version",
                                        "models",        "processCount", "tags",       "scene",
                                        "error",         "unknown"};
const std::set<std::string> kPaths = {
    "processed",       "initFailed", "runFailed",  "unitStatus", "versionCopy", "libraryUnusable",
    "buffersUnusable", "bypassCopy", "formatCopy", "noBuffer",   "aborted",     "copy",
    "unknown"};

void checkKnownId(const json& j, const std::string& path, const std::set<std::string>& known,
                  const char* what) {
    if (known.count(j.get<std::string>()))
        return;
    std::string list;
    for (const auto& id : known)
        list += (list.empty() ? "" : ", ") + id;
    fail(path, "unknown " + std::string(what) + " " + j.dump() + "; known: " + list);
}

// "a processRequest step", "an isEnabled step".
std::string stepWithArticle(StepKind kind) {
    const std::string name = stepKindName(kind);
    const bool vowel = std::string("aeiouAEIOU").find(name.front()) != std::string::npos;
    return (vowel ? "an " : "a ") + name + " step";
}

void checkList(const json& j, const std::string& path, bool integers) {
    if (!j.is_array())
        fail(path, "expected a list");
    for (size_t i = 0; i < j.size(); ++i) {
        if (integers ? !j[i].is_number_integer() : !j[i].is_string()) {
            fail(path + "[" + std::to_string(i) + "]",
                 integers ? "expected an integer" : "expected a string");
        }
    }
}

void checkShape(const json& j, const std::string& path, Shape shape) {
    switch (shape) {
        case Shape::Boolean:
            if (!j.is_boolean())
                fail(path, "expected true or false");
            break;
        case Shape::Text:
            if (!j.is_string())
                fail(path, "expected a string");
            break;
        case Shape::Integer:
            if (!j.is_number_integer())
                fail(path, "expected an integer");
            break;
        case Shape::IntegerList:
        case Shape::TextList:
            checkList(j, path, shape == Shape::IntegerList);
            break;
        case Shape::Record:
            if (!j.is_object())
                fail(path, "expected an object of Init record fields");
            for (auto it = j.begin(); it != j.end(); ++it) {
                if (!it.value().is_number() && !it.value().is_string())
                    fail(path + "." + it.key(), "expected a number or a string");
            }
            break;
        case Shape::Exif:
            if (!j.is_object())
                fail(path, "expected an object with committed and keys");
            for (auto it = j.begin(); it != j.end(); ++it) {
                const std::string p = path + "." + it.key();
                if (it.key() == "committed") {
                    checkShape(it.value(), p, Shape::Boolean);
                } else if (it.key() == "keys") {
                    if (!it.value().is_object())
                        fail(p, "expected an object from EXIF key to value");
                    for (auto k = it.value().begin(); k != it.value().end(); ++k) {
                        const json& v = k.value();
                        if (!(v.is_boolean() || v.is_null() || v.is_string() || v.is_number()))
                            fail(p + "." + k.key(), "expected true, null, a string or a number");
                    }
                } else {
                    fail(p, "unknown key; allowed here: committed, keys");
                }
            }
            break;
    }
}

// Numbers compare with a relative tolerance: the report holds floats printed as text.
bool sameNumber(double a, double b) {
    return std::fabs(a - b) <= 1e-6 * std::max(1.0, std::max(std::fabs(a), std::fabs(b)));
}

// A wanted scalar against an actual one; numbers also match their text ("-5", "10.000000").
bool sameValue(const json& wanted, const json& actual) {
    if (wanted.is_number() && (actual.is_number() || actual.is_string())) {
        double a = 0;
        if (actual.is_number()) {
            a = actual.get<double>();
        } else {
            const std::string text = actual.get<std::string>();
            char* end = nullptr;
            a = strtod(text.c_str(), &end);
            if (text.empty() || *end != '\0')
                return false;
        }
        return sameNumber(wanted.get<double>(), a);
    }
    return wanted == actual;
}

const json* find(const json& j, const char* key) {
    return j.is_object() && j.contains(key) ? &j[key] : nullptr;
}

// The first non-null of these keys, for values that a richer report section may refine.
json firstOf(const json& step, std::initializer_list<std::pair<const char*, const char*>> keys) {
    for (const auto& k : keys) {
        const json* section = k.first ? find(step, k.first) : &step;
        const json* value = section ? find(*section, k.second) : nullptr;
        if (value != nullptr && !value->is_null())
            return *value;
    }
    return nullptr;
}

struct Checker {
    const json& step;
    const std::string& label;
    std::vector<Mismatch> out;

    void add(const std::string& key, const json& wanted, const std::string& actual) {
        out.push_back({label, "expect." + key, wanted.dump(), actual});
    }
    void compare(const std::string& key, const json& wanted, const json& actual) {
        if (!sameValue(wanted, actual))
            add(key, wanted, actual.is_null() ? "absent" : actual.dump());
    }

    // A refusal reason or a request path: the short id matches the report's plain value or the
    // value of its explanation section, whichever says it.
    void compareId(const std::string& key, const json& wanted, const char* section) {
        const json plain = firstOf(step, {{nullptr, key.c_str()}});
        const json refined = firstOf(step, {{section, key.c_str()}});
        if (wanted == plain || wanted == refined)
            return;
        // A report without the explanation section names some outcomes by a wider id.
        static const std::map<std::string, std::string> wider = {
            {"memory", "memoryOrController"},   {"controller", "memoryOrController"},
            {"version", "versionOrModels"},     {"models", "versionOrModels"},
            {"libraryUnusable", "libraryCopy"}, {"buffersUnusable", "bufferCopy"},
            {"unitStatus", "processed"}};
        auto w = wider.find(wanted.get<std::string>());
        if (refined.is_null() && w != wider.end() && plain == w->second)
            return;
        add(key, wanted,
            refined.is_null() ? (plain.is_null() ? "absent" : plain.dump()) : refined.dump());
    }

    void exif(const json& wanted) {
        const json& writers = step.contains("exif") ? step["exif"] : json::array();
        if (wanted.contains("committed")) {
            bool committed = false;
            for (const auto& w : writers)
                committed = committed || w.value("committed", false);
            compare("exif.committed", wanted["committed"], committed);
        }
        if (!wanted.contains("keys"))
            return;
        // The records of the committed writer, else of any writer.
        std::map<std::string, json> records;
        for (const auto& w : writers) {
            for (const auto& r : w.value("records", json::array())) {
                if (w.value("committed", false) || !records.count(r.value("key", "")))
                    records[r.value("key", "")] = r.value("value", json());
            }
        }
        for (auto it = wanted["keys"].begin(); it != wanted["keys"].end(); ++it) {
            const std::string key = "exif.keys." + it.key();
            auto found = records.find(it.key());
            const json actual = found == records.end() ? json() : found->second;
            if (it.value().is_boolean() || it.value().is_null()) {
                const bool wantPresent = it.value().is_boolean() && it.value().get<bool>();
                if (wantPresent != (found != records.end()))
                    add(key, it.value(), actual.is_null() ? "absent" : actual.dump());
            } else {
                compare(key, it.value(), actual);
            }
        }
    }

    void list(const std::string& key, const json& wanted, const char* field) {
        json actual = json::array();
        for (const auto& e : step.value(key, json::array()))
            actual.push_back(e.value(field, json()));
        if (wanted != actual)
            add(key, wanted, actual.dump());
    }

    void init(const json& wanted) {
        json record;
        for (const auto& c : step.value("algorithmCalls", json::array())) {
            if (c.value("call", "") == "Init")
                record = c.value("record", json());
        }
        if (record.is_null()) {
            add("init", wanted, "no Init call");
            return;
        }
        for (auto it = wanted.begin(); it != wanted.end(); ++it)
            compare("init." + it.key(), it.value(), record.value(it.key(), json()));
    }

    // Each pattern matches the file name of one dump; no dump is left over.
    void dumps(const json& wanted) {
        std::vector<std::string> names;
        for (const auto& d : step.value("dumps", json::array())) {
            const std::string device = d.value("device", "");
            names.push_back(device.substr(device.rfind('/') + 1));
        }
        std::vector<bool> used(names.size(), false);
        bool ok = wanted.size() == names.size();
        for (const auto& pattern : wanted) {
            bool matched = false;
            for (size_t i = 0; i < names.size() && !matched; ++i) {
                if (!used[i] &&
                    fnmatch(pattern.get<std::string>().c_str(), names[i].c_str(), 0) == 0)
                    used[i] = matched = true;
            }
            ok = ok && matched;
        }
        if (!ok)
            add("dumps", wanted, json(names).dump());
    }
};

}  // namespace

void validateExpect(const json& expect, const std::string& path, StepKind kind) {
    if (!expect.is_object())
        fail(path, "expected an object");
    for (auto it = expect.begin(); it != expect.end(); ++it) {
        const std::string p = path + "." + it.key();
        auto rule = rules().find(it.key());
        if (rule == rules().end() || rule->second.kinds.count(kind) == 0) {
            std::string allowed;
            for (const auto& r : rules()) {
                if (r.second.kinds.count(kind))
                    allowed += (allowed.empty() ? "" : ", ") + r.first;
            }
            fail(p, "not expected of " + stepWithArticle(kind) + "; allowed here: " + allowed);
        }
        checkShape(it.value(), p, rule->second.shape);
        if (it.key() == "reason")
            checkKnownId(it.value(), p, kReasons, "refusal reason");
        else if (it.key() == "path")
            checkKnownId(it.value(), p, kPaths, "request path");
    }
}

std::vector<Mismatch> checkExpect(const json& expect, const json& step, const std::string& label) {
    Checker c{step, label, {}};
    for (auto it = expect.begin(); it != expect.end(); ++it) {
        const std::string& key = it.key();
        const json& wanted = it.value();
        if (key == "reason") {
            c.compareId(key, wanted, "decision");
        } else if (key == "path") {
            c.compareId(key, wanted, "process");
        } else if (key == "answer" || key == "return") {
            c.compare(key, wanted, step.value(key, json()));
        } else if (key == "skipped") {
            c.compare(key, wanted, step.value("skipped", false));
        } else if (key == "outputEqualsInput") {
            const json& outputs = step.value("outputs", json::array());
            c.compare(key, wanted,
                      outputs.empty() ? json() : outputs[0].value("equalsInput", json()));
        } else if (key == "outputSha256") {
            const json& outputs = step.value("outputs", json::array());
            c.compare(key, wanted, outputs.empty() ? json() : outputs[0].value("sha256", json()));
        } else if (key == "exif") {
            c.exif(wanted);
        } else if (key == "dfx") {
            c.list(key, wanted, "code");
        } else if (key == "algorithmCalls") {
            c.list(key, wanted, "call");
        } else if (key == "init") {
            c.init(wanted);
        } else if (key == "dumps") {
            c.dumps(wanted);
        }
    }
    return c.out;
}

std::vector<Mismatch> checkSession(const Session& session, const json& report) {
    std::vector<Mismatch> all;
    const json& steps = report.value("steps", json::array());
    for (size_t i = 0; i < session.steps.size(); ++i) {
        const Step& s = session.steps[i];
        if (s.expect.is_null())
            continue;
        const std::string label = s.path + " (" + stepKindName(s.kind) + ")";
        if (i >= steps.size()) {
            all.push_back({label, "expect", s.expect.dump(), "the step did not run"});
            continue;
        }
        for (auto& m : checkExpect(s.expect, steps[i], label))
            all.push_back(std::move(m));
    }
    return all;
}

std::string mismatchText(const Mismatch& m) {
    return m.step + ": " + m.key + ": wanted " + m.wanted + ", got " + m.actual;
}

}  // namespace korasim
