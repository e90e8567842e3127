// Reading a session file strictly: a path that is not a readable regular file, JSON syntax
// errors and keys written twice in one object all become SessionError (korasim's exit 2).
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace korasim {

// Parses `text`; a key repeated in one object throws SessionError naming its JSON path
// ("steps[1].inputs[0].width"), since nlohmann keeps only the last value silently.
nlohmann::json parseJsonStrict(const std::string& text);

// Reads and parses the file at `path` as above. A directory, a device or an unreadable file
// throws SessionError saying so, with the path.
nlohmann::json readJsonFile(const std::string& path);

}  // namespace korasim
