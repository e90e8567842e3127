// Streams a log file through the reader in fixed chunks, so memory stays flat whatever the
// file's size. Only lines that hold the plugin's tag or the framework's tag are parsed: a
// memmem over the chunk finds them, the rest of a field report's lines are skipped unread.
#include <string.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

#include "PluginLog.h"

namespace korasim::logread {
namespace {

struct FileCloser {
    void operator()(FILE* f) const { fclose(f); }
};

const char* find(const char* from, const char* end, const char* needle, size_t size) {
    return static_cast<const char*>(memmem(from, end - from, needle, size));
}

}  // namespace

bool readLogFile(const std::string& path, PluginLogReader& reader, std::string* error) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        *error = path + ": is a directory, not a log file";
        return false;
    }
    std::unique_ptr<FILE, FileCloser> file(fopen(path.c_str(), "rb"));
    if (!file) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    constexpr size_t kChunk = 1 << 20;
    std::vector<char> buffer(kChunk * 2);
    size_t kept = 0;  // bytes of an unfinished line carried over from the last chunk
    bool atEnd = false;
    while (!atEnd) {
        if (kept == buffer.size())
            buffer.resize(buffer.size() * 2);  // a line longer than the buffer
        const size_t got = fread(buffer.data() + kept, 1, buffer.size() - kept, file.get());
        if (got == 0) {
            if (ferror(file.get())) {
                *error = path + ": read error";
                return false;
            }
            atEnd = true;
        }
        const char* begin = buffer.data();
        const char* end = begin + kept + got;
        // Whole lines only, except at the end of the file.
        const char* usable = end;
        if (!atEnd) {
            const char* lastNewline = static_cast<const char*>(memrchr(begin, '\n', end - begin));
            usable = lastNewline ? lastNewline + 1 : begin;
        }
        // The framework's tag is searched for only while a request of the plugin is open (its
        // boost lines are the only ones the reader needs): one scan for the plugin's tag, and
        // a second only over the stretches inside requests.
        const char* pos = begin;
        const char* nextPlugin = find(pos, usable, "SDSR", 4);
        while (pos < usable) {
            const char* limit = nextPlugin ? nextPlugin : usable;
            const char* hit =
                reader.frameworkLinesWanted() ? find(pos, limit, "VoAlgoEngine", 12) : nullptr;
            if (!hit)
                hit = nextPlugin;
            if (!hit)
                break;
            const char* lineStart = hit;
            while (lineStart > pos && lineStart[-1] != '\n')
                --lineStart;
            const char* lineEnd = static_cast<const char*>(memchr(hit, '\n', usable - hit));
            if (!lineEnd)
                lineEnd = usable;
            reader.feedText(std::string_view(lineStart, lineEnd - lineStart));
            pos = lineEnd < usable ? lineEnd + 1 : usable;
            if (nextPlugin && nextPlugin < pos)
                nextPlugin = find(pos, usable, "SDSR", 4);
        }
        kept = static_cast<size_t>(end - usable);
        memmove(buffer.data(), usable, kept);
    }
    reader.finish();
    return true;
}

}  // namespace korasim::logread
