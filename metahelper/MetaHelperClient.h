// Process-wide client of the metadata helper library: loads it at run time, keeps it loaded for
// the life of the process, and hands out helper objects.
#pragma once

#include <memory>

#include "MetaHelper.h"

namespace metahelper {

class MetaHelperClient {
  public:
    // The one client of the process, created on first use and destroyed at process exit.
    static MetaHelperClient& getInstance();

    MetaHelperClient();
    ~MetaHelperClient();
    MetaHelperClient(const MetaHelperClient&) = delete;
    MetaHelperClient& operator=(const MetaHelperClient&) = delete;

    // A helper from the library's factory; empty while the library cannot be loaded (every call
    // then retries the load).
    std::shared_ptr<MetaHelper> getMetaHelper();

  private:
    void load();

    void* m_handle;
    MetaHelperFactory* m_factory;
    int m_loaded;
};

}  // namespace metahelper
