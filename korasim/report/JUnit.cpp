#include "report/JUnit.h"

#include <libxml/xmlwriter.h>
#include <stdio.h>

#include <memory>

namespace korasim {

namespace {

struct WriterCloser {
    void operator()(xmlTextWriter* w) const { xmlFreeTextWriter(w); }
};

const xmlChar* x(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}

// XML 1.0 allows no control characters but tab, newline and carriage return; session output
// may hold any bytes.
std::string xmlSafe(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (unsigned char c : text)
        out += (c < 0x20 && c != '\t' && c != '\n' && c != '\r') ? '?' : static_cast<char>(c);
    return out;
}

}  // namespace

bool writeJUnit(const std::string& path, const std::vector<TestCaseResult>& results,
                std::string* error) {
    std::unique_ptr<xmlTextWriter, WriterCloser> writer(xmlNewTextWriterFilename(path.c_str(), 0));
    if (!writer) {
        if (error)
            *error = "cannot write " + path;
        return false;
    }
    xmlTextWriter* w = writer.get();
    size_t failures = 0, errors = 0;
    double seconds = 0;
    for (const auto& r : results) {
        failures += r.outcome == "fail";
        errors += r.outcome == "error";
        seconds += r.seconds;
    }
    auto attr = [w](const char* name, const std::string& value) {
        return xmlTextWriterWriteAttribute(w, x(name), x(xmlSafe(value).c_str())) >= 0;
    };
    char number[32];
    auto secondsText = [&number](double s) {
        snprintf(number, sizeof(number), "%.3f", s);
        return std::string(number);
    };
    bool ok = xmlTextWriterSetIndent(w, 1) >= 0 &&
              xmlTextWriterStartDocument(w, nullptr, "UTF-8", nullptr) >= 0;
    ok = ok && xmlTextWriterStartElement(w, x("testsuites")) >= 0;
    ok = ok && xmlTextWriterStartElement(w, x("testsuite")) >= 0 && attr("name", "korasim") &&
         attr("tests", std::to_string(results.size())) &&
         attr("failures", std::to_string(failures)) && attr("errors", std::to_string(errors)) &&
         attr("time", secondsText(seconds));
    for (const auto& r : results) {
        ok = ok && xmlTextWriterStartElement(w, x("testcase")) >= 0 &&
             attr("classname", "korasim") && attr("name", r.name) &&
             attr("time", secondsText(r.seconds));
        ok = ok && xmlTextWriterStartElement(w, x("properties")) >= 0 &&
             xmlTextWriterStartElement(w, x("property")) >= 0 && attr("name", "outcome") &&
             attr("value", r.outcome) && xmlTextWriterEndElement(w) >= 0 &&
             xmlTextWriterEndElement(w) >= 0;
        if (r.outcome == "fail" || r.outcome == "error") {
            std::string body;
            for (const auto& problem : r.problems)
                body += problem + "\n";
            ok = ok &&
                 xmlTextWriterStartElement(w, x(r.outcome == "fail" ? "failure" : "error")) >= 0 &&
                 attr("message", r.message) && attr("type", "exit " + std::to_string(r.exitCode)) &&
                 xmlTextWriterWriteString(w, x(xmlSafe(body).c_str())) >= 0 &&
                 xmlTextWriterEndElement(w) >= 0;
        }
        ok = ok && xmlTextWriterWriteElement(w, x("system-out"), x(xmlSafe(r.output).c_str())) >= 0;
        ok = ok && xmlTextWriterEndElement(w) >= 0;
    }
    ok = ok && xmlTextWriterEndDocument(w) >= 0;
    writer.reset();  // flushes and closes the file
    if (!ok && error)
        *error = "cannot write " + path;
    return ok;
}

}  // namespace korasim
