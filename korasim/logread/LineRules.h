// How the plugin's log messages read: which step of isEnabled or processRequest a message
// belongs to, and the values it carries. The bookkeeping of objects and captures is in
// PluginLogReader.cpp.
#pragma once

#include <cstring>
#include <string>

#include "PluginLog.h"

namespace korasim::logread {

inline bool starts(const std::string& s, const char* prefix) {
    return s.compare(0, strlen(prefix), prefix) == 0;
}
inline bool has(const std::string& s, const char* part) {
    return s.find(part) != std::string::npos;
}
inline bool isAddress(const std::string& s) {
    if (s == "(nil)" || s == "0x0")
        return true;
    if (s.size() < 3 || !starts(s, "0x"))
        return false;
    return s.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
}
inline std::string after(const std::string& s, const char* marker) {
    const size_t at = s.find(marker);
    return at == std::string::npos ? std::string() : s.substr(at + strlen(marker));
}

// isEnabled steps in the plugin's order (stage numbers only need to grow along a decision).
enum EnableStage {
    kPreAnchor = 1,
    kMemory = 2,
    kTemperatures = 3,
    kProbeLine = 4,
    kMemoryRefusal = 5,
    kVersion = 6,
    kModels = 7,
    kVersionRefusal = 8,
    kTags = 9,
    kSmartAE = 10,
    kScene = 11,
    kCount = 12,
    kTagWrite = 13,
    kFinal = 14,
};

// processRequest steps in the plugin's order.
enum ProcessStage {
    kBind = 1,
    kBoost = 2,
    kRequest = 3,
    kImageName = 4,
    kFormat = 5,
    kCopyCheck = 6,
    kLibraryVersion = 7,
    kVersionCopy = 8,
    kInitRecord = 9,
    kInit = 10,
    kRun = 11,
    kUnit = 12,
    kFinish = 13,
    kDebugInfo = 14,
    kRelease = 15,
};

// A request between its boost and the boost's release: framework lines may be the plugin's.
inline bool isOpen(int processStage) {
    return processStage >= kBoost && processStage < kRelease;
}

// Lines that one decision or one request prints at most once: a second one starts the next
// capture even when no step went backwards (a refusal whose own line the gates hid).
unsigned onceBit(const std::string& message);

// The rules that read one message.
struct LineRules {
    // The enable step of a message, 0 when it is not an isEnabled line.
    static int enableStage(const std::string& m, bool processOpen);
    // The request step of a message, 0 when it is not a processRequest line.
    static int processStage(const std::string& m);
    static void enable(EnableFacts& e, const std::string& m);
    static void process(ProcessFacts& p, const std::string& m);
};

}  // namespace korasim::logread
