#include "cli/TestOutcome.h"

#include <sys/wait.h>

#include <algorithm>
#include <sstream>

#include "common/JsonFile.h"
#include "session/Expect.h"
#include "session/Session.h"

namespace korasim {

namespace {

// What korasim said about the session on stderr ("korasim: ..."), without the prefix and without
// the count of unmet expectations, which the table gives.
std::vector<std::string> korasimLines(const std::string& err) {
    std::vector<std::string> lines;
    std::istringstream in(err);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("korasim: ", 0) != 0 ||
            line.find(" expectation(s) not met") != std::string::npos)
            continue;
        lines.push_back(line.substr(9));
    }
    return lines;
}

struct Expectations {
    bool read = false;    // the session could be read back
    bool stated = false;  // one of its steps has an `expect`
    bool known = false;   // the report could be read back too: `unmet` is complete
    std::vector<std::string> unmet;
};

// Reads the session and the child's report back and checks every expectation, so that each unmet
// one is listed, not only the first the child printed.
Expectations checkExpectations(const SessionRunFiles& files) {
    Expectations e;
    try {
        const Session session = loadSession(files.sessionPath);
        e.stated = std::any_of(session.steps.begin(), session.steps.end(),
                               [](const Step& s) { return !s.expect.is_null(); });
        e.read = true;
        const nlohmann::json report = readJsonFile(files.reportPath);
        for (const Mismatch& m : checkSession(session, report))
            e.unmet.push_back(mismatchText(m));
        e.known = true;
    } catch (const std::exception&) {
        // The child could not run it, or left no report: its own words tell why.
    }
    return e;
}

// What the child printed, for JUnit's system-out: its step lines, the plugin's log (the child
// echoes it with a marker per step) and its messages. The line naming the report goes: the report
// is removed with the scratch folder.
std::string keptOutput(const ChildResult& child, const std::string& reportPath) {
    std::string out;
    std::istringstream in(child.out);
    for (std::string line; std::getline(in, line);) {
        if (line != "report: " + reportPath)
            out += line + "\n";
    }
    return out + child.err;
}

std::string oneLine(const std::vector<std::string>& unmet) {
    if (unmet.size() == 1)
        return unmet.front();
    std::string line = std::to_string(unmet.size()) + " expectations not met";
    for (const auto& u : unmet)
        line += (&u == &unmet.front() ? ": " : "; ") + u;
    return line;
}

}  // namespace

TestCaseResult sessionOutcome(const SessionRunFiles& files, const ChildResult& child) {
    TestCaseResult r;
    r.name = files.name;
    r.seconds = child.seconds;
    r.output = keptOutput(child, files.reportPath);
    r.exitCode = WIFEXITED(child.status)
                     ? WEXITSTATUS(child.status)
                     : 128 + (WIFSIGNALED(child.status) ? WTERMSIG(child.status) : 0);
    const bool exited = WIFEXITED(child.status) && !child.timedOut;
    if (child.timedOut) {
        r.outcome = "error";
        r.problems = {"timed out after " + std::to_string(int(child.seconds)) + " s"};
    } else if (exited && (r.exitCode == 0 || r.exitCode == 3)) {
        const Expectations e = checkExpectations(files);
        r.outcome = r.exitCode == 3 ? "fail" : e.read && !e.stated ? "ran" : "pass";
        if (r.exitCode == 3)
            r.problems = e.known && !e.unmet.empty() ? e.unmet : korasimLines(child.err);
    } else {
        r.outcome = "error";
        r.problems = korasimLines(child.err);
        r.problems.resize(1);  // the first says why; the rest is in the output
    }
    if (!r.problems.empty() && r.problems.front().empty())
        r.problems.front() = "exit " + std::to_string(r.exitCode);
    if (r.outcome == "fail" && r.problems.empty())
        r.problems = {"exit 3"};
    if (r.outcome == "fail")
        r.message = oneLine(r.problems);
    else if (r.outcome == "error")
        r.message = r.problems.front();
    else if (r.outcome == "ran")
        r.message = "ran: no expectation stated";
    return r;
}

}  // namespace korasim
