// Session parsing: strict about names and types so that a typo in a session file is reported
// with its JSON path instead of silently running a different capture.
#include <errno.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "common/JsonFile.h"
#include "session/Expect.h"
#include "session/Session.h"
#include "session/SessionParsers.h"

namespace korasim {

using nlohmann::json;
using namespace parse;

const char* stepKindName(StepKind kind) {
    switch (kind) {
        case StepKind::Create:
            return "create";
        case StepKind::Initialize:
            return "initialize";
        case StepKind::IsEnabled:
            return "isEnabled";
        case StepKind::ProcessRequest:
            return "processRequest";
        case StepKind::Flush:
            return "flush";
        case StepKind::Destroy:
            return "destroy";
        case StepKind::Delete:
            return "delete";
        case StepKind::SetDevice:
            return "setDevice";
    }
    return "?";
}

namespace {

StepKind parseKind(const json& j, const std::string& path) {
    const std::string kind = oneOf(j, path,
                                   {"create", "initialize", "isEnabled", "processRequest", "flush",
                                    "destroy", "delete", "setDevice"});
    for (StepKind k :
         {StepKind::Create, StepKind::Initialize, StepKind::IsEnabled, StepKind::ProcessRequest,
          StepKind::Flush, StepKind::Destroy, StepKind::Delete, StepKind::SetDevice}) {
        if (kind == stepKindName(k))
            return k;
    }
    return StepKind::Create;
}

Step parseStep(const json& j, const std::string& path, const RequestTemplate& request,
               const std::string& baseDir) {
    expectObject(j, path);
    if (!j.contains("do"))
        fail(join(path, "do"), "missing: what the step does");
    Step s;
    s.path = path;
    s.kind = parseKind(j["do"], join(path, "do"));
    s.plugin = "sdsr";
    if (j.contains("plugin")) {
        if (s.kind == StepKind::SetDevice)
            fail(join(path, "plugin"), "setDevice names no plugin");
        s.plugin = text(j["plugin"], join(path, "plugin"));
        if (s.plugin.empty())
            fail(join(path, "plugin"), "empty plugin name");
    }
    if (j.contains("expect")) {
        validateExpect(j["expect"], join(path, "expect"), s.kind);
        s.expect = j["expect"];
    }
    switch (s.kind) {
        case StepKind::Create:
        case StepKind::Destroy:
        case StepKind::Delete:
            checkKeys(j, path, {"do", "expect", "plugin"});
            break;
        case StepKind::Initialize:
            checkKeys(j, path, {"do", "expect", "plugin", "name", "value", "processingTimeMs"});
            if (j.contains("name"))
                s.nodeName = text(j["name"], join(path, "name"));
            if (j.contains("value"))
                s.nodeValue = integer<int32_t>(j["value"], join(path, "value"));
            if (j.contains("processingTimeMs") && !j["processingTimeMs"].is_null()) {
                s.processingTimeMs =
                    integer<int32_t>(j["processingTimeMs"], join(path, "processingTimeMs"));
            }
            break;
        case StepKind::IsEnabled:
            checkKeys(j, path, {"do", "expect", "plugin", "metadata", "requestKey", "frameNumber"});
            s.metadata = j.contains("metadata")
                             ? parseMetadata(j["metadata"], join(path, "metadata"))
                             : enablingMetadata();
            s.requestKey = request.requestKey;
            s.frameNumber = request.frameNumber;
            parseRequestValues(j, path, s.requestKey, s.frameNumber, nullptr);
            break;
        case StepKind::ProcessRequest: {
            checkKeys(j, path,
                      {"do", "expect", "plugin", "inputs", "outputs", "requestKey", "frameNumber",
                       "requestIndex", "ifEnabled"});
            s.inputs = j.contains("inputs")
                           ? parseBuffers(j["inputs"], join(path, "inputs"), true, nullptr, baseDir)
                           : request.inputs;
            std::optional<std::vector<BufferSpec>> outputs = request.outputs;
            if (j.contains("outputs")) {
                const BufferSpec* geometry = s.inputs.empty() ? nullptr : &s.inputs.front();
                outputs =
                    parseBuffers(j["outputs"], join(path, "outputs"), false, geometry, baseDir);
            }
            fillOutputs(s, outputs, path);
            s.requestKey = request.requestKey;
            s.frameNumber = request.frameNumber;
            s.requestIndex = request.requestIndex;
            parseRequestValues(j, path, s.requestKey, s.frameNumber, &s.requestIndex);
            if (j.contains("ifEnabled"))
                s.ifEnabled = boolean(j["ifEnabled"], join(path, "ifEnabled"));
            break;
        }
        case StepKind::Flush:
            checkKeys(j, path, {"do", "expect", "plugin", "requestKey", "all"});
            s.requestKey = request.requestKey;
            if (j.contains("requestKey")) {
                s.requestKey = integer<uint64_t>(j["requestKey"], join(path, "requestKey"));
            }
            if (j.contains("all"))
                s.flushAll = boolean(j["all"], join(path, "all"));
            break;
        case StepKind::SetDevice:
            checkKeys(j, path, {"do", "expect", "device"});
            if (!j.contains("device"))
                fail(join(path, "device"), "missing: the device keys to change");
            s.device = parseDevice(j["device"], join(path, "device"));
            break;
    }
    return s;
}

// Plugin objects must be created before use, used only until destroyed, and deleted once.
void checkLifecycle(const std::vector<Step>& steps) {
    enum class State { Alive, Destroyed, Deleted };
    std::map<std::string, State> plugins;
    std::map<std::string, std::string> destroyedAt;
    for (const Step& s : steps) {
        if (s.kind == StepKind::SetDevice)
            continue;
        const std::string where = join(s.path, "plugin");
        auto it = plugins.find(s.plugin);
        const bool exists = it != plugins.end() && it->second != State::Deleted;
        if (s.kind == StepKind::Create) {
            if (exists)
                fail(where, "plugin \"" + s.plugin + "\" already exists");
            plugins[s.plugin] = State::Alive;
            continue;
        }
        if (!exists) {
            fail(where, "no plugin \"" + s.plugin + "\" exists at this step (add a create step)");
        }
        if (it->second == State::Destroyed && s.kind != StepKind::Delete) {
            fail(where, "plugin \"" + s.plugin + "\" was destroyed at " + destroyedAt[s.plugin] +
                            "; only delete may follow");
        }
        if (s.kind == StepKind::Destroy) {
            it->second = State::Destroyed;
            destroyedAt[s.plugin] = s.path;
        } else if (s.kind == StepKind::Delete) {
            it->second = State::Deleted;
        }
    }
}

}  // namespace

Session parseSession(const json& document, const std::string& baseDir) {
    expectObject(document, "");
    checkKeys(document, "", {"description", "device", "properties", "log", "steps", "request"});
    Session session;
    if (document.contains("description"))
        text(document["description"], "description");
    session.device =
        document.contains("device") ? parseDevice(document["device"], "device") : DeviceSpec{};
    completeDevice(session.device, defaultDevice());

    if (document.contains("properties")) {
        const json& p = document["properties"];
        expectObject(p, "properties");
        for (auto it = p.begin(); it != p.end(); ++it) {
            const std::string path = join("properties", it.key());
            if (it.key().empty() || it.key().size() > 255)
                fail(path, "bad property name");
            std::string value;
            if (it.value().is_string()) {
                value = it.value().get<std::string>();
            } else if (it.value().is_number()) {
                value = it.value().is_number_float() ? std::to_string(it.value().get<double>())
                                                     : it.value().dump();
            } else {
                fail(path, "expected the property's text, got " + describeValue(it.value()));
            }
            if (value.size() > 91)
                fail(path, "property values hold at most 91 characters");
            session.properties[it.key()] = value;
        }
    }

    if (document.contains("log")) {
        const json& l = document["log"];
        expectObject(l, "log");
        checkKeys(l, "log", {"level", "groups", "offlineLevel", "offlineGroups", "debugMask"});
        if (l.contains("level"))
            session.log.level = integer<int32_t>(l["level"], "log.level");
        if (l.contains("groups"))
            session.log.groups = integer<uint32_t>(l["groups"], "log.groups");
        if (l.contains("offlineLevel")) {
            session.log.offlineLevel = integer<int32_t>(l["offlineLevel"], "log.offlineLevel");
        }
        if (l.contains("offlineGroups")) {
            session.log.offlineGroups = integer<uint32_t>(l["offlineGroups"], "log.offlineGroups");
        }
        if (l.contains("debugMask")) {
            session.log.debugMask = integer<int32_t>(l["debugMask"], "log.debugMask");
        }
    }

    const RequestTemplate request =
        document.contains("request") ? parseRequestTemplate(document["request"], "request", baseDir)
                                     : defaultRequest(baseDir);

    if (document.contains("steps")) {
        const json& steps = document["steps"];
        if (!steps.is_array())
            fail("steps", "expected a list of steps, got " + describeValue(steps));
        if (steps.size() > 10000)
            fail("steps", "at most 10000 steps");
        for (size_t i = 0; i < steps.size(); ++i) {
            session.steps.push_back(parseStep(steps[i], at("steps", i), request, baseDir));
        }
    } else {
        session.defaultSteps = true;
        const json defaults = json::array({{{"do", "create"}},
                                           {{"do", "initialize"}},
                                           {{"do", "isEnabled"}},
                                           {{"do", "processRequest"}, {"ifEnabled", true}},
                                           {{"do", "destroy"}},
                                           {{"do", "delete"}}});
        for (size_t i = 0; i < defaults.size(); ++i) {
            session.steps.push_back(parseStep(defaults[i], at("steps", i), request, baseDir));
        }
        // The enable query sees the very container the request's first input carries, as the
        // framework hands the same metadata to both calls.
        session.steps[2].metadataFromNextRequest = true;
    }
    checkLifecycle(session.steps);
    return session;
}

Session loadSession(const std::string& path) {
    const json document = readJsonFile(path);
    const std::string baseDir = std::filesystem::absolute(path).parent_path().string();
    return parseSession(document, baseDir);
}

}  // namespace korasim
