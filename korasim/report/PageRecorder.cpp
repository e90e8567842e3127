#include "report/PageRecorder.h"

#include "report/Page.h"

namespace korasim::html {

void PageRecorder::onProcessed(size_t step, const YuvImage& input, const YuvImage& output) {
    if (enabled())
        m_pictures.push_back(takePictures(step, input, output));
}

void PageRecorder::write(const nlohmann::json& report) const {
    if (enabled())
        writeRunPage(report, m_pictures, m_path);
}

}  // namespace korasim::html
