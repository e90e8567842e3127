// Runs the korasim binary in a scratch directory and reads back its exit status, its output
// and its JSON report.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace korasimtest {

struct Result {
    int exitCode = -1;
    std::string out;
    std::string err;
    nlohmann::json report;  // null when no report was written
};

class Scratch {
  public:
    Scratch();
    ~Scratch();
    const std::string& dir() const { return m_dir; }
    std::string path(const std::string& name) const { return m_dir + "/" + name; }
    void write(const std::string& name, const std::string& content) const;

  private:
    std::string m_dir;
};

// Runs a shell command with its standard output and error in files of the scratch folder, and
// reads them back (no report).
Result runShell(const Scratch& scratch, std::string command);
// korasim <args...>; run, replay and demo write the report to <scratch>/report.json unless args
// name one.
Result runKorasim(const Scratch& scratch, const std::vector<std::string>& args);
// korasim <args...> run in the folder `cwd`, exactly as given (no --report added).
Result runKorasimIn(const Scratch& scratch, const std::string& cwd,
                    const std::vector<std::string>& args);
// Copies the example dump pair (NV12 96x64) into <scratch>/<folder> as IMG_<time>_..., its
// output's luma raised by `raise` in a 20x16 patch and its last `cut` bytes cut off (0, 0: the
// device's output as the replay makes it). Returns the input dump's path.
std::string exampleDumpPair(const Scratch& scratch, const std::string& folder,
                            const std::string& time, int raise = 0, size_t cut = 0);
// Writes `session` to session.json and runs it with a device root inside the scratch directory.
Result runSession(const Scratch& scratch, const nlohmann::json& session,
                  const std::vector<std::string>& extra = {});

// The report's step with this index.
const nlohmann::json& step(const Result& result, size_t index);
// Messages of a step's log lines on the online channel.
std::vector<std::string> messages(const nlohmann::json& step);
bool hasMessage(const nlohmann::json& step, const std::string& fragment);

}  // namespace korasimtest
