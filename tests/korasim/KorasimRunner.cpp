#include "KorasimRunner.h"

#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "common/TextFile.h"

namespace fs = std::filesystem;

namespace korasimtest {

namespace {

std::string quote(const std::string& s) {
    std::string q = "'";
    for (char c : s)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

}  // namespace

Scratch::Scratch() {
    char pattern[] = "/tmp/korasim-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        throw std::runtime_error("mkdtemp failed");
    m_dir = pattern;
}

Scratch::~Scratch() {
    std::error_code ignored;
    fs::remove_all(m_dir, ignored);
}

void Scratch::write(const std::string& name, const std::string& content) const {
    std::ofstream out(path(name), std::ios::binary);
    out << content;
}

Result runShell(const Scratch& scratch, std::string command) {
    command += " >" + quote(scratch.path("stdout")) + " 2>" + quote(scratch.path("stderr"));
    const int status = system(command.c_str());
    Result r;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = korasim::readTextFile(scratch.path("stdout"));
    r.err = korasim::readTextFile(scratch.path("stderr"));
    return r;
}

Result runKorasimIn(const Scratch& scratch, const std::string& cwd,
                    const std::vector<std::string>& args) {
    std::string command = "cd " + quote(cwd) + " && " + quote(KORASIM_BINARY);
    for (const auto& a : args)
        command += " " + quote(a);
    return runShell(scratch, command);
}

std::string exampleDumpPair(const Scratch& scratch, const std::string& folder,
                            const std::string& time, int raise, size_t cut) {
    const std::string from =
        std::string(KORASIM_EXAMPLES) + "/dumps/IMG_20240101_120000_SDSR_96x64_zoom10x_";
    const std::string to = scratch.path(folder) + "/IMG_" + time + "_SDSR_96x64_zoom10x_";
    fs::create_directories(scratch.path(folder));
    fs::copy_file(from + "input.NV12", to + "input.NV12");
    std::string output = korasim::readTextFile(from + "output.NV12");
    // A light 20x16 patch in the luma: the kind of local difference a changed library makes.
    for (int y = 20; y < 36; ++y) {
        for (int x = 40; x < 60; ++x) {
            const int v = static_cast<unsigned char>(output[size_t(y) * 96 + x]) + raise;
            output[size_t(y) * 96 + x] = static_cast<char>(v > 255 ? 255 : v);
        }
    }
    output.resize(output.size() - cut);
    std::ofstream(to + "output.NV12", std::ios::binary) << output;
    return to + "input.NV12";
}

Result runKorasim(const Scratch& scratch, const std::vector<std::string>& args) {
    std::string command = quote(KORASIM_BINARY);
    bool hasReport = false;
    for (const auto& a : args) {
        command += " " + quote(a);
        hasReport = hasReport || a == "--report";
    }
    const std::string report = scratch.path("report.json");
    fs::remove(report);
    // Only the commands that run a session write a report.
    const bool runsSession =
        !args.empty() && (args[0] == "run" || args[0] == "replay" || args[0] == "demo");
    if (!hasReport && runsSession)
        command += " --report " + quote(report);
    Result r = runShell(scratch, command);
    if (fs::exists(report))
        r.report = nlohmann::json::parse(korasim::readTextFile(report));
    return r;
}

Result runSession(const Scratch& scratch, const nlohmann::json& session,
                  const std::vector<std::string>& extra) {
    scratch.write("session.json", session.dump(2));
    std::vector<std::string> args = {"run", scratch.path("session.json"), "--root",
                                     scratch.path("device")};
    args.insert(args.end(), extra.begin(), extra.end());
    return runKorasim(scratch, args);
}

const nlohmann::json& step(const Result& result, size_t index) {
    return result.report.at("steps").at(index);
}

std::vector<std::string> messages(const nlohmann::json& s) {
    std::vector<std::string> out;
    for (const auto& line : s.at("log")) {
        if (line.at("channel") == "online")
            out.push_back(line.at("message"));
    }
    return out;
}

bool hasMessage(const nlohmann::json& s, const std::string& fragment) {
    for (const auto& m : messages(s)) {
        if (m.find(fragment) != std::string::npos)
            return true;
    }
    return false;
}

}  // namespace korasimtest
