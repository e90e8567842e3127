#include "report/Page.h"

#include <openssl/evp.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "PageAssets.h"
#include "trace/ExplainTrace.h"
#include "trace/RunTrace.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim::html {

std::string base64(const std::vector<uint8_t>& bytes) {
    std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), bytes.data(),
                                  static_cast<int>(bytes.size()));
    out.resize(static_cast<size_t>(n));
    return out;
}

namespace {

// JSON placed inside <script type="application/json">: "</" must not end the element early.
std::string scriptSafe(const json& data) {
    const std::string text = data.dump(-1, ' ', false, json::error_handler_t::replace);
    std::string out;
    out.reserve(text.size() + 64);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '<' && i + 1 < text.size() && (text[i + 1] == '/' || text[i + 1] == '!'))
            out += "\\u003c";
        else
            out += text[i];
    }
    return out;
}

std::string escapeHtml(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '&':
                out += "&amp;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

void writeFile(const fs::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out)
        throw std::runtime_error("html page: cannot write " + path.string());
}

void writePage(const std::string& path, const std::string& title, const json& data) {
    const fs::path parent = fs::path(path).parent_path();
    std::error_code ec;
    if (!parent.empty())
        fs::create_directories(parent, ec);
    std::string page;
    const std::string payload = scriptSafe(data);
    page.reserve(payload.size() + 64 * 1024);
    page += "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n<title>";
    page += escapeHtml(title);
    page += "</title>\n<style>\n";
    page += kPageCss;
    page += "</style></head>\n<body>\n<div id=\"page-status\" data-state=\"loading\"></div>\n";
    page += "<main id=\"app\"><noscript>This page needs JavaScript.</noscript></main>\n";
    page += "<script id=\"korasim-data\" type=\"application/json\">";
    page += payload;
    page += "</script>\n<script>\n";
    page += kPageJs;
    page += "</script>\n</body></html>\n";
    writeFile(path, page);
}

}  // namespace

void writeRunPage(const json& report, const std::vector<StepPictures>& pictures,
                  const std::string& path, size_t embedLimit) {
    size_t total = 0;
    for (const auto& p : pictures) {
        total += p.inputPreview.size() + p.outputPreview.size() + p.inputCrop.size() +
                 p.outputCrop.size();
    }
    const bool beside = total / 3 * 4 > embedLimit;
    const fs::path pagePath(path);
    const fs::path filesDir = pagePath.parent_path() / (pagePath.filename().string() + ".files");
    if (beside) {
        std::error_code ec;
        fs::create_directories(filesDir, ec);
        if (ec)
            throw std::runtime_error("html page: cannot create " + filesDir.string());
    }
    // Each picture becomes a data URI, or a file beside the page named by a relative URL.
    auto picture = [&](const std::vector<uint8_t>& png, const std::string& name) -> json {
        if (png.empty())
            return nullptr;
        if (!beside)
            return "data:image/png;base64," + base64(png);
        writeFile(filesDir / name, std::string(png.begin(), png.end()));
        return filesDir.filename().string() + "/" + name;
    };
    json images = json::object();
    for (const auto& p : pictures) {
        const std::string prefix = "step" + std::to_string(p.step) + "-";
        images[std::to_string(p.step)] = {
            {"frame", {p.frameWidth, p.frameHeight}},
            {"scale", p.previewScale},
            {"crop", {p.crop.x, p.crop.y, p.crop.width, p.crop.height}},
            {"inputPreview", picture(p.inputPreview, prefix + "input-preview.png")},
            {"outputPreview", picture(p.outputPreview, prefix + "output-preview.png")},
            {"inputCrop", picture(p.inputCrop, prefix + "input-crop.png")},
            {"outputCrop", picture(p.outputCrop, prefix + "output-crop.png")}};
    }
    const json data = {{"kind", "run"},
                       {"report", report},
                       {"pictures", images},
                       {"trace", trace::runTrace(report)}};
    writePage(path, "korasim: " + report.value("session", std::string("run")), data);
}

void writeExplainPage(const json& explain, const std::string& path) {
    writePage(
        path, "korasim explain",
        json{{"kind", "explain"}, {"explain", explain}, {"trace", trace::explainTrace(explain)}});
}

}  // namespace korasim::html
