// Compressed logs and bug report zips, read through libarchive as streams: each entry is
// inflated block by block into the line scanner, nothing is written to disk, and an entry that
// inflates to a gigabyte costs no more memory than a small one. The same code reads a file and
// standard input (the zip's local headers are read in order; no seeking).
#include <archive.h>
#include <archive_entry.h>
#include <string.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "LogInputs.h"

namespace korasim::logread {
namespace {

// A pipe's capacity; larger reads gain nothing measurable on files.
constexpr size_t kArchiveBlock = 1 << 16;

// Blocks are not zeroed: only the bytes read are touched.
struct Feed {
    const ByteSource* source;
    std::unique_ptr<char[]> block;
};

la_ssize_t readCallback(struct archive* a, void* data, const void** buffer) {
    auto* feed = static_cast<Feed*>(data);
    const ssize_t got = (*feed->source)(feed->block.get(), kArchiveBlock);
    if (got < 0) {
        archive_set_error(a, errno, "%s", strerror(errno));
        return -1;
    }
    *buffer = feed->block.get();
    return got;
}

struct ArchiveFree {
    void operator()(struct archive* a) const { archive_read_free(a); }
};

// What a bug report zip's entry is to explain.
enum class Entry {
    kSkip,
    kMainEntry,   // "main_entry.txt": the name of the bug report's text
    kReportText,  // the bug report's text: its logcat sections are read
    kMaybeText,   // a top-level text: read when it opens with a dumpstate header
    kLogdFile,    // "FS/data/misc/logd/logcat*": logd's own copy of the log
};

Entry kindOf(const std::string& path, const std::string& mainName) {
    if (path == "main_entry.txt")
        return Entry::kMainEntry;
    if (path.compare(0, 24, "FS/data/misc/logd/logcat") == 0)
        return Entry::kLogdFile;
    const bool topLevelText = path.find('/') == std::string::npos && path.size() > 4 &&
                              path.compare(path.size() - 4, 4, ".txt") == 0;
    if (!topLevelText)
        return Entry::kSkip;
    if (path == mainName || path.compare(0, 10, "bugreport-") == 0)
        return Entry::kReportText;
    return Entry::kMaybeText;
}

std::string archiveError(const std::string& name, struct archive* a) {
    const char* why = archive_error_string(a);
    return name + ": " + (why ? why : "unreadable archive");
}

}  // namespace

// Reads the current entry into a scanner; `first` holds bytes of it read already.
static bool scanEntry(struct archive* a, LineScanner& scanner, char* block, size_t first,
                      const std::function<void()>& progress) {
    if (first > 0)
        scanner.push(block, first);
    for (;;) {
        const la_ssize_t got = archive_read_data(a, block, kArchiveBlock);
        if (got < 0)
            return false;
        if (got == 0)
            break;
        scanner.push(block, static_cast<size_t>(got));
        progress();
    }
    scanner.finish();
    progress();
    return true;
}

bool LogInputs::readArchive(const std::string& name, const ByteSource& source, bool zip,
                            std::string* error) {
    std::unique_ptr<struct archive, ArchiveFree> a(archive_read_new());
    if (zip) {
        archive_read_support_format_zip(a.get());
    } else {
        archive_read_support_filter_all(a.get());
        archive_read_support_format_raw(a.get());
    }
    Feed feed{&source, std::unique_ptr<char[]>(new char[kArchiveBlock])};
    if (archive_read_open(a.get(), &feed, nullptr, readCallback, nullptr) != ARCHIVE_OK) {
        *error = archiveError(name, a.get());
        return false;
    }
    const std::function<void()> onBlock = [this] { progress(); };
    const std::unique_ptr<char[]> block(new char[kArchiveBlock]);
    std::string mainName;
    bool anyRead = false;
    struct archive_entry* entry = nullptr;
    for (;;) {
        const int status = archive_read_next_header(a.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status < ARCHIVE_WARN) {
            *error = archiveError(name, a.get());
            return false;
        }
        const char* entryPath = archive_entry_pathname(entry);
        const std::string path = entryPath ? entryPath : "";
        const Entry kind = zip ? kindOf(path, mainName) : Entry::kLogdFile;
        if (kind == Entry::kSkip)
            continue;  // libarchive skips the entry's data at the next header
        size_t first = 0;
        if (kind == Entry::kMainEntry || kind == Entry::kMaybeText) {
            // The head of the entry, however the archive hands it over.
            for (la_ssize_t got = 1; got > 0 && first < 4096; first += static_cast<size_t>(got)) {
                got = archive_read_data(a.get(), block.get() + first, 4096 - first);
                if (got < 0) {
                    *error = archiveError(name + ":" + path, a.get());
                    return false;
                }
            }
            const std::string head(block.get(), first);
            if (kind == Entry::kMainEntry) {
                mainName = head.substr(0, head.find_first_of("\r\n"));
                continue;
            }
            if (head.find("== dumpstate: ") == std::string::npos)
                continue;
        }
        m_seen.nextPart();
        LineScanner scanner(m_reader, newCount(zip ? name + ":" + path : name),
                            zip ? &m_seen : nullptr);
        if (!scanEntry(a.get(), scanner, block.get(), first, onBlock)) {
            *error = archiveError(zip ? name + ":" + path : name, a.get());
            return false;
        }
        noteYear(scanner);
        anyRead = true;
    }
    if (zip && !anyRead) {
        *error = name +
                 ": a zip without a bug report's text (main_entry.txt, bugreport-*.txt, a "
                 "dumpstate header) or FS/data/misc/logd/logcat files";
        return false;
    }
    return true;
}

}  // namespace korasim::logread
