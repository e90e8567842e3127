// What `korasim explain` reads: log files, folders of them, standard input, gzip'ed logs and bug
// report zips. The kind of an input is told by its first bytes, never by its name; archives are
// read as streams through libarchive, so nothing is unpacked to disk and memory stays flat.
#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LineScanner.h"
#include "PluginLog.h"

namespace korasim::logread {

// Fills `buffer` with up to `size` bytes; 0 at the end, -1 on an error (errno set).
using ByteSource = std::function<ssize_t(char* buffer, size_t size)>;

class LogInputs {
  public:
    explicit LogInputs(PluginLogReader& reader) : m_reader(reader) {}
    // Called after each block read, so that a live reader can print what is complete.
    void onProgress(std::function<void()> progress) { m_progress = std::move(progress); }

    // One LOG argument: a file, a folder (every file in it, by name), or "-" for standard input.
    // False, with the reason in `error`, when it cannot be read.
    bool read(const std::string& path, std::string* error);
    // Bytes from anywhere, told apart by content: text, a compressed log or a bug report zip.
    bool readStream(const std::string& name, const ByteSource& source, std::string* error);

    // Per input read (archives: per entry), in the order read.
    const std::deque<SourceCount>& counts() const { return m_counts; }
    // The year of the first bug report's dumpstate header, for stamps printed without one.
    std::optional<int> year() const { return m_year; }

  private:
    bool readFile(const std::string& path, std::string* error);
    bool readFolder(const std::string& path, std::string* error);
    bool readText(const std::string& name, const ByteSource& source, std::string* error);
    bool readArchive(const std::string& name, const ByteSource& source, bool zip,
                     std::string* error);
    SourceCount& newCount(const std::string& name);
    void noteYear(const LineScanner& scanner);
    void progress() {
        if (m_progress)
            m_progress();
    }

    PluginLogReader& m_reader;
    std::function<void()> m_progress;
    std::deque<SourceCount> m_counts;  // a deque: scanners keep references
    std::optional<int> m_year;
    SeenLines m_seen;
};

// The message for an input whose lines with the plugin's tags mostly (or all) failed to read:
// it names the input, how many such lines it held and the first one. Empty when it read well.
std::string unreadVerdict(const SourceCount& count);

}  // namespace korasim::logread
