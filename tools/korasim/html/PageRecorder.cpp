#include "PageRecorder.h"

#include "Page.h"

namespace korasim::html {

void PageRecorder::onProcessed(const ProcessedRequest& r) {
    if (!enabled() || r.inputs.empty() || r.outputs.empty())
        return;
    m_pictures.push_back(takePictures(r.stepIndex, *r.inputs.front(), *r.outputs.front()));
}

void PageRecorder::write(const nlohmann::json& report) const {
    if (enabled())
        writeRunPage(report, m_pictures, m_path);
}

}  // namespace korasim::html
