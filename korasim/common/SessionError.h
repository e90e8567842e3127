// The error of a session or of a file korasim reads: what is wrong and where, as the JSON path
// of the offending value. korasim exits 2 on it.
#pragma once

#include <stdexcept>
#include <string>

namespace korasim {

class SessionError : public std::runtime_error {
  public:
    SessionError(std::string path, const std::string& what)
        : std::runtime_error(what), m_path(std::move(path)) {}
    // JSON path of the offending value, e.g. "steps[2].inputs[0].width" ("" for the root).
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

}  // namespace korasim
