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

// Where the page's pictures go: data URIs in the page, or files in <page>.files/ beside it,
// named by relative URL.
class PicturePlacer {
  public:
    PicturePlacer() = default;
    explicit PicturePlacer(const fs::path& pagePath)
        : m_dir(pagePath.parent_path() / (pagePath.filename().string() + ".files")) {
        std::error_code ec;
        fs::create_directories(m_dir, ec);
        if (ec)
            throw std::runtime_error("html page: cannot create " + m_dir.string());
    }
    json operator()(const std::vector<uint8_t>& png, const std::string& name) const {
        if (png.empty())
            return nullptr;
        if (m_dir.empty())
            return "data:image/png;base64," + base64(png);
        writeFile(m_dir / name, std::string(png.begin(), png.end()));
        return m_dir.filename().string() + "/" + name;
    }
    const fs::path& dir() const { return m_dir; }

  private:
    fs::path m_dir;  // empty: data URIs
};

json stepPicturesJson(const StepPictures& p, const std::string& prefix,
                      const PicturePlacer& place) {
    return {{"frame", {p.frameWidth, p.frameHeight}},
            {"scale", p.previewScale},
            {"crop", {p.crop.x, p.crop.y, p.crop.width, p.crop.height}},
            {"inputPreview", place(p.inputPreview, prefix + "input-preview.png")},
            {"outputPreview", place(p.outputPreview, prefix + "output-preview.png")},
            {"inputCrop", place(p.inputCrop, prefix + "input-crop.png")},
            {"outputCrop", place(p.outputCrop, prefix + "output-crop.png")}};
}

size_t pngBytes(const std::vector<StepPictures>& pictures, const ComparisonPictures* comparison) {
    size_t total = 0;
    auto add = [&total](const StepPictures& p) {
        total += p.inputPreview.size() + p.outputPreview.size() + p.inputCrop.size() +
                 p.outputCrop.size();
    };
    for (const auto& p : pictures)
        add(p);
    if (comparison) {
        add(comparison->views);
        total += comparison->differencePreview.size() + comparison->differenceCrop.size();
    }
    return total;
}

json runData(const json& report, const std::vector<StepPictures>& pictures,
             const ComparisonPictures* comparison, const PicturePlacer& place) {
    json images = json::object();
    for (const auto& p : pictures)
        images[std::to_string(p.step)] =
            stepPicturesJson(p, "step" + std::to_string(p.step) + "-", place);
    json data = {{"kind", "run"},
                 {"report", report},
                 {"pictures", images},
                 {"trace", trace::runTrace(report)}};
    if (comparison) {
        json c = stepPicturesJson(comparison->views, "compare-", place);
        c["differencePreview"] = place(comparison->differencePreview, "compare-difference.png");
        c["differenceCrop"] = place(comparison->differenceCrop, "compare-difference-crop.png");
        data["comparisonPictures"] = c;
    }
    return data;
}

// The bytes of a data URI's base64 text.
std::string decodeBase64(const std::string& text) {
    std::string out(text.size() / 4 * 3 + 3, '\0');
    const int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                                  reinterpret_cast<const unsigned char*>(text.data()),
                                  static_cast<int>(text.size()));
    if (n < 0)
        throw std::runtime_error("html page: a picture is not base64");
    size_t padding = 0;
    for (size_t i = text.size(); i > 0 && text[i - 1] == '=' && padding < 2; --i)
        ++padding;
    out.resize(static_cast<size_t>(n) - padding);
    return out;
}

const std::string kPngUri = "data:image/png;base64,";

// Total length of the data URIs below `node`.
size_t dataUriBytes(const json& node) {
    if (node.is_string()) {
        const std::string& s = node.get_ref<const std::string&>();
        return s.rfind(kPngUri, 0) == 0 ? s.size() : 0;
    }
    size_t total = 0;
    if (node.is_structured())
        for (const auto& child : node)
            total += dataUriBytes(child);
    return total;
}

// Writes each data URI below `node` into a file of `dir` named after its place in the data and
// puts the file's relative URL in its stead.
void movePicturesBeside(json& node, const fs::path& dir, const std::string& name) {
    if (node.is_string()) {
        const std::string& s = node.get_ref<const std::string&>();
        if (s.rfind(kPngUri, 0) != 0)
            return;
        writeFile(dir / (name + ".png"), decodeBase64(s.substr(kPngUri.size())));
        node = dir.filename().string() + "/" + name + ".png";
    } else if (node.is_object()) {
        for (auto& [key, child] : node.items())
            movePicturesBeside(child, dir, name + "-" + key);
    } else if (node.is_array()) {
        for (size_t i = 0; i < node.size(); ++i)
            movePicturesBeside(node[i], dir, name + "-" + std::to_string(i));
    }
}

}  // namespace

void writeRunPage(const json& report, const std::vector<StepPictures>& pictures,
                  const std::string& path, size_t embedLimit,
                  const ComparisonPictures* comparison) {
    const bool beside = pngBytes(pictures, comparison) / 3 * 4 > embedLimit;
    const PicturePlacer place = beside ? PicturePlacer(fs::path(path)) : PicturePlacer();
    writePage(path, "korasim: " + report.value("session", std::string("run")),
              runData(report, pictures, comparison, place));
}

json runPageData(const json& report, const std::vector<StepPictures>& pictures,
                 const ComparisonPictures* comparison) {
    return runData(report, pictures, comparison, PicturePlacer());
}

void writeReplayFolderPage(const json& folder, json replays, const std::string& path,
                           size_t embedLimit) {
    if (dataUriBytes(replays) > embedLimit) {
        const PicturePlacer beside{fs::path(path)};
        for (size_t i = 0; i < replays.size(); ++i)
            movePicturesBeside(replays[i], beside.dir(), "dump" + std::to_string(i + 1));
    }
    writePage(path, "korasim replay " + folder.value("folder", std::string()),
              {{"kind", "replayFolder"}, {"folder", folder}, {"replays", replays}});
}

void writeExplainPage(const json& explain, const std::string& path) {
    writePage(
        path, "korasim explain",
        json{{"kind", "explain"}, {"explain", explain}, {"trace", trace::explainTrace(explain)}});
}

}  // namespace korasim::html
