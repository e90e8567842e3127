// The kora EXIF manager's per-request writer: records key/value pairs for one module and
// publishes them under the request key on commit(). Records of a writer that is destroyed
// without commit() are dropped.
#pragma once

#include <stdint.h>

#include <string>
#include <utility>
#include <vector>

namespace VoExifMgr {

class VoExifIntf {
  public:
    VoExifIntf(const std::string& moduleName, uint64_t requestKey);
    ~VoExifIntf();
    VoExifIntf(const VoExifIntf&) = delete;
    VoExifIntf& operator=(const VoExifIntf&) = delete;

    // Supported for int and std::string. Returns 0.
    template <typename T>
    int update(const std::string& key, const T& value);
    // Publishes the records; 0 on success, non-zero when already committed.
    int commit();

  private:
    struct Record {
        std::string key;
        std::string value;
        bool isInt;
    };
    std::string m_module;
    uint64_t m_requestKey;
    std::vector<Record> m_records;
    bool m_committed;
};

template <>
int VoExifIntf::update<int>(const std::string& key, const int& value);
template <>
int VoExifIntf::update<std::string>(const std::string& key, const std::string& value);

}  // namespace VoExifMgr
