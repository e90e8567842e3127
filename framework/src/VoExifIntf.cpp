// EXIF writer on the host: records are published under the request key on commit; every writer
// is logged at destruction, committed or not, so host programs can show what was dropped.
#include "VoExifIntf.h"

#include "HostState.h"

namespace VoExifMgr {

VoExifIntf::VoExifIntf(const std::string& moduleName, uint64_t requestKey)
    : m_module(moduleName), m_requestKey(requestKey), m_committed(false) {}

VoExifIntf::~VoExifIntf() {
    // A destructor must not throw: a writer whose log cannot be stored (an allocation failed)
    // is left out of the observations.
    try {
        korahost::ExifWriterLog log{m_module, m_requestKey, m_committed, {}};
        for (const auto& record : m_records) {
            log.records.push_back(korahost::ExifRecord{record.key, record.value, record.isInt});
        }
        auto& s = korahost::detail::state();
        std::lock_guard<std::mutex> guard(s.lock);
        s.exifWriters.push_back(std::move(log));
    } catch (...) {
    }
}

template <>
int VoExifIntf::update<int>(const std::string& key, const int& value) {
    m_records.push_back(Record{key, std::to_string(value), true});
    return 0;
}

template <>
int VoExifIntf::update<std::string>(const std::string& key, const std::string& value) {
    m_records.push_back(Record{key, value, false});
    return 0;
}

int VoExifIntf::commit() {
    if (m_committed)
        return -1;
    m_committed = true;
    auto& s = korahost::detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    auto& published = s.publishedExif[m_requestKey];
    for (const auto& record : m_records) {
        published.push_back(korahost::ExifRecord{record.key, record.value, record.isInt});
    }
    return 0;
}

}  // namespace VoExifMgr
