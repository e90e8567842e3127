#include "report/PageRecorder.h"

#include <fstream>
#include <stdexcept>

#include "report/Page.h"

namespace korasim::html {

void PageRecorder::onProcessed(size_t step, const YuvImage& input, const YuvImage& output) {
    if (enabled())
        m_pictures.push_back(takePictures(step, input, output));
}

void PageRecorder::onCompared(size_t step, const YuvImage& device, const YuvImage& replay) {
    if (enabled())
        m_comparison = takeComparisonPictures(step, device, replay);
}

void PageRecorder::write(const nlohmann::json& report) const {
    const ComparisonPictures* comparison = m_comparison ? &*m_comparison : nullptr;
    if (!m_path.empty())
        writeRunPage(report, m_pictures, m_path, kEmbedLimitBytes, comparison);
    if (!m_dataPath.empty()) {
        std::ofstream out(m_dataPath, std::ios::binary);
        out << runPageData(report, m_pictures, comparison).dump();
        out.close();
        if (!out)
            throw std::runtime_error("cannot write " + m_dataPath);
    }
}

}  // namespace korasim::html
