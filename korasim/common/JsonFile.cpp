#include "common/JsonFile.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <fstream>
#include <set>
#include <sstream>
#include <vector>

#include "common/SessionError.h"

namespace korasim {

using nlohmann::json;

namespace {

// One open object or list while parsing: the keys seen so far, or the index of the element.
struct Frame {
    bool list = false;
    size_t count = 0;  // elements started (lists)
    std::string name;  // current key (objects) or "[i]" (lists)
    std::set<std::string> keys;
};

std::string pathOf(const std::vector<Frame>& frames) {
    std::string path;
    for (const Frame& f : frames) {
        if (f.name.empty())
            continue;
        if (f.list)
            path += f.name;
        else
            path += (path.empty() ? "" : ".") + f.name;
    }
    return path;
}

// Notes that a value starts inside the innermost list, so that its index is known.
void elementStarts(std::vector<Frame>& frames) {
    if (!frames.empty() && frames.back().list)
        frames.back().name = "[" + std::to_string(frames.back().count++) + "]";
}

}  // namespace

json parseJsonStrict(const std::string& text) {
    std::vector<Frame> frames;
    // The parser callback sees every key before its value; nlohmann offers no duplicate check.
    json::parser_callback_t watch = [&frames](int, json::parse_event_t event, json& parsed) {
        switch (event) {
            case json::parse_event_t::object_start:
            case json::parse_event_t::array_start:
                elementStarts(frames);
                frames.push_back(Frame{event == json::parse_event_t::array_start, 0, {}, {}});
                break;
            case json::parse_event_t::object_end:
            case json::parse_event_t::array_end:
                frames.pop_back();
                break;
            case json::parse_event_t::key: {
                Frame& f = frames.back();
                f.name = parsed.get<std::string>();
                if (!f.keys.insert(f.name).second)
                    throw SessionError(pathOf(frames),
                                       "duplicate key: written twice in one object");
                break;
            }
            case json::parse_event_t::value:
                elementStarts(frames);
                break;
        }
        return true;
    };
    try {
        return json::parse(text, watch);
    } catch (const json::exception& e) {
        // Syntax errors, and numbers no double can hold (out_of_range 406).
        // "[json.exception.parse_error.101] parse error at line 1, ...": the id helps nobody.
        std::string what = e.what();
        if (what.rfind("[json.exception.", 0) == 0 && what.find("] ") != std::string::npos)
            what = what.substr(what.find("] ") + 2);
        // The parser quotes what it last read, which may be any bytes.
        for (char& c : what) {
            if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7f)
                c = '?';
        }
        throw SessionError("", "not valid JSON: " + what);
    }
}

json readJsonFile(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        throw SessionError("", "cannot open " + path + ": " + strerror(errno));
    if (S_ISDIR(st.st_mode))
        throw SessionError("", path + " is a directory, not a session file");
    if (!S_ISREG(st.st_mode))
        throw SessionError("", path + " is not a regular file");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw SessionError("", "cannot open " + path + ": " + strerror(errno));
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad())
        throw SessionError("", "cannot read " + path + ": " + strerror(errno));
    return parseJsonStrict(text.str());
}

}  // namespace korasim
