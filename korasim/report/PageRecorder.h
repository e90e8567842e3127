// The --html option of run, replay and demo: takes the pictures of every processed request
// while the runner still holds its buffers, and writes the page from the report at the end.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "report/ComparisonPictures.h"
#include "report/PageImages.h"

namespace korasim::html {

class PageRecorder {
  public:
    // Empty paths record nothing. `dataPath` (a child of `replay DIR`) receives the page's data
    // as JSON for the folder's page.
    explicit PageRecorder(std::string path, std::string dataPath = "")
        : m_path(std::move(path)), m_dataPath(std::move(dataPath)) {}
    bool enabled() const { return !m_path.empty() || !m_dataPath.empty(); }
    const std::string& path() const { return m_path; }
    // To be called from the runner's processed-request callback with the request's first input
    // and first output buffer.
    void onProcessed(size_t step, const YuvImage& input, const YuvImage& output);
    // A replay's output beside the device's output dump, from the same callback.
    void onCompared(size_t step, const YuvImage& device, const YuvImage& replay);
    void write(const nlohmann::json& report) const;

  private:
    std::string m_path, m_dataPath;
    std::vector<StepPictures> m_pictures;
    std::optional<ComparisonPictures> m_comparison;
};

}  // namespace korasim::html
