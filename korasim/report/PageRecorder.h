// The --html option of run, replay and demo: takes the pictures of every processed request
// while the runner still holds its buffers, and writes the page from the report at the end.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "report/PageImages.h"

namespace korasim::html {

class PageRecorder {
  public:
    // An empty path records nothing.
    explicit PageRecorder(std::string path) : m_path(std::move(path)) {}
    bool enabled() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }
    // To be called from the runner's processed-request callback with the request's first input
    // and first output buffer.
    void onProcessed(size_t step, const YuvImage& input, const YuvImage& output);
    void write(const nlohmann::json& report) const;

  private:
    std::string m_path;
    std::vector<StepPictures> m_pictures;
};

}  // namespace korasim::html
