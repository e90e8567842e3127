#include <sys/time.h>
#include <time.h>

#include "HostState.h"
#include "VoLog.h"

namespace korahost {
namespace detail {

HostState& state() {
    // Never destroyed: plugins may log from their static destructors after ours would have run.
    static HostState* instance = new HostState();
    return *instance;
}

int64_t nowUs() {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    return int64_t(tv.tv_sec) * 1000000 + tv.tv_usec;
}

int64_t realtimeUs() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return int64_t(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

}  // namespace detail

using detail::state;

void setPerfLockCreationFails(bool fails) {
    std::lock_guard<std::mutex> guard(state().lock);
    state().perfCreationFails = fails;
}

std::vector<PerfEvent> takePerfEvents() {
    std::lock_guard<std::mutex> guard(state().lock);
    return std::move(state().perfEvents);
}

int livePerfLocks() {
    std::lock_guard<std::mutex> guard(state().lock);
    return state().livePerfLocks;
}

void setControllerFlag(const std::string& algoName, int flag) {
    std::lock_guard<std::mutex> guard(state().lock);
    state().controllerFlags[algoName] = flag;
}

void clearControllerFlags() {
    std::lock_guard<std::mutex> guard(state().lock);
    state().controllerFlags.clear();
}

std::vector<ExifWriterLog> takeExifWriters() {
    std::lock_guard<std::mutex> guard(state().lock);
    return std::move(state().exifWriters);
}

std::vector<ExifRecord> publishedExif(uint64_t requestKey) {
    std::lock_guard<std::mutex> guard(state().lock);
    auto it = state().publishedExif.find(requestKey);
    return it == state().publishedExif.end() ? std::vector<ExifRecord>{} : it->second;
}

void clearPublishedExif() {
    std::lock_guard<std::mutex> guard(state().lock);
    state().publishedExif.clear();
}

std::vector<DfxReport> takeDfxReports() {
    std::lock_guard<std::mutex> guard(state().lock);
    return std::move(state().dfxReports);
}

void setMetadataWriteRecording(bool enabled) {
    state().recordMetadataWrites = enabled;
}

std::vector<MetadataWrite> takeMetadataWrites() {
    std::lock_guard<std::mutex> guard(state().lock);
    return std::move(state().metadataWrites);
}

void resetObservations() {
    std::lock_guard<std::mutex> guard(state().lock);
    auto& s = state();
    s.logs.clear();
    s.encryptCatchResult = 0;
    s.perfCreationFails = false;
    s.perfEvents.clear();
    s.controllerFlags.clear();
    s.exifWriters.clear();
    s.publishedExif.clear();
    s.dfxReports.clear();
    s.metadataWrites.clear();
}

}  // namespace korahost
