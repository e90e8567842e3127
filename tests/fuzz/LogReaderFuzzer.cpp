// Fuzzes korasim's log reader, the least trusted input it takes (a log from the field): any bytes
// go through the same input path as `korasim explain` (text in any layout, compressed logs, bug
// report zips), then through the capture's report texts.
//
// Besides the sanitizers: the first byte picks a block size, and the bytes read in those blocks
// must give the same captures and counts as read in one piece; no more unread lines than lines
// with the plugin's tags.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "logread/LogInputs.h"
#include "logread/PluginLog.h"

namespace {

using namespace korasim::logread;

void require(bool condition, const char* what) {
    if (condition)
        return;
    fprintf(stderr, "log reader fuzzer: invariant broken: %s\n", what);
    abort();
}

struct Outcome {
    bool ok = false;
    std::string error;
    std::string captures;
    size_t pluginLines = 0, unread = 0;
};

Outcome readInBlocks(const uint8_t* data, size_t size, size_t block) {
    PluginLogReader reader;
    LogInputs inputs(reader);
    size_t at = 0;
    const ByteSource source = [&](char* buffer, size_t wanted) -> ssize_t {
        const size_t n = std::min({wanted, block, size - at});
        memcpy(buffer, data + at, n);
        at += n;
        return static_cast<ssize_t>(n);
    };
    Outcome o;
    o.ok = inputs.readStream("fuzz", source, &o.error);
    reader.finish();
    for (const auto& c : reader.captures()) {
        o.captures += c.object + " " + std::to_string(c.pid) + " " + describeEnable(c) + " " +
                      describeProcess(c) + " " +
                      toJson(c).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) +
                      "\n";
    }
    o.pluginLines = reader.pluginLines();
    for (const auto& count : inputs.counts()) {
        require(count.unreadLines <= count.tagLines, "more unread lines than tag lines");
        o.unread += count.unreadLines;
        (void)unreadVerdict(count);
    }
    return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const size_t block = 1 + data[0] % 64;
    const Outcome whole = readInBlocks(data + 1, size - 1, size);
    const Outcome pieces = readInBlocks(data + 1, size - 1, block);
    require(whole.ok == pieces.ok, "the block size changed whether the input reads");
    if (whole.ok) {
        require(whole.captures == pieces.captures, "the block size changed the captures");
        require(whole.pluginLines == pieces.pluginLines, "the block size changed the lines");
        require(whole.unread == pieces.unread, "the block size changed the unread lines");
    }
    return 0;
}
