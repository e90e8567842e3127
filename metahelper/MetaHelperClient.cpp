// Client of the platform's metadata helper library. The plugin does not link against the
// library: it is loaded at run time and, once loaded, kept for the life of the process. While it
// cannot be loaded, every request for a helper tries again. The client logs nothing; a missing
// helper shows only as an empty handle.
#include "MetaHelperClient.h"

#include <dlfcn.h>

#include "devicePath.h"

namespace metahelper {

namespace {
const char* const kMetaHelperLibrary = "/odm/lib64/libmetadataHelper.so";
}

MetaHelperClient& MetaHelperClient::getInstance() {
    static MetaHelperClient gMetaHelperClient;
    return gMetaHelperClient;
}

MetaHelperClient::MetaHelperClient() : m_handle(nullptr), m_factory(nullptr), m_loaded(0) {
    load();
}

MetaHelperClient::~MetaHelperClient() {
    // The factory belongs to the library; only the library handle is released.
    if (m_handle != nullptr) {
        dlclose(m_handle);
        m_handle = nullptr;
    }
    m_loaded = 0;
}

void MetaHelperClient::load() {
    void* handle = dlopen(voalgo2::devicePath(kMetaHelperLibrary).c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (handle == nullptr)
        return;

    // A library without the factory entry is treated like one whose factory is null.
    auto getFactory = reinterpret_cast<MetaHelperGetInstanceFn>(dlsym(handle, "GetInstance"));
    MetaHelperFactory* factory = nullptr;
    if (getFactory != nullptr) {
        try {
            factory = getFactory();
            if (factory != nullptr)
                factory->prepare();
        } catch (...) {
            factory = nullptr;
        }
    }
    if (factory == nullptr) {
        dlclose(handle);
        return;
    }
    m_handle = handle;
    m_factory = factory;
    m_loaded = 1;
}

std::shared_ptr<MetaHelper> MetaHelperClient::getMetaHelper() {
    if (m_loaded <= 0) {
        if (m_handle != nullptr) {
            dlclose(m_handle);
            m_handle = nullptr;
        }
        load();
    }
    if (m_factory == nullptr)
        return nullptr;
    try {
        return m_factory->createMetaHelper();
    } catch (...) {
        return nullptr;
    }
}

}  // namespace metahelper
