// Interface of the platform's metadata helper library ("/odm/lib64/libmetadataHelper.so"), as
// far as the SDSR plugin uses it. The library exports the C symbol "GetInstance" returning its
// factory; the factory belongs to the library and is never deleted by a client.
#pragma once

#include <stdint.h>

#include <memory>

class VoMetadata;

namespace voalgo2 {
struct LuxInfoRecord;
}

namespace metahelper {

class MetaHelper {
  public:
    virtual ~MetaHelper() = default;
    virtual int queryExposureInfo(std::shared_ptr<VoMetadata> meta, void* record) = 0;
    virtual int queryFaceInfo(std::shared_ptr<VoMetadata> meta, void* record) = 0;
    // Fills the 120-byte lux record; 0 on success.
    virtual int queryLuxInfo(std::shared_ptr<VoMetadata> meta, voalgo2::LuxInfoRecord* record) = 0;
    virtual int queryAwbInfo(std::shared_ptr<VoMetadata> meta, void* record) = 0;
};

class MetaHelperFactory {
  public:
    virtual ~MetaHelperFactory() = default;  // two slots precede prepare()
    virtual int prepare() = 0;
    virtual std::shared_ptr<MetaHelper> createMetaHelper() = 0;
};

}  // namespace metahelper

extern "C" typedef metahelper::MetaHelperFactory* (*MetaHelperGetInstanceFn)();
