#include "LogInputs.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <vector>

namespace fs = std::filesystem;

namespace korasim::logread {
namespace {

// A pipe's capacity; larger reads gain nothing measurable on files.
constexpr size_t kReadBlock = 1 << 16;

// A read() that returns what is there: on a pipe a block is handed on as soon as it arrives,
// which is what makes `adb logcat | korasim explain -` live.
ByteSource fdSource(int fd) {
    return [fd](char* buffer, size_t size) {
        for (;;) {
            const ssize_t got = ::read(fd, buffer, size);
            if (got >= 0 || errno != EINTR)
                return got;
        }
    };
}

// The first bytes of a stream, read ahead to tell its kind, then handed back before the rest.
class Peeked {
  public:
    explicit Peeked(const ByteSource& source) : m_source(source) {}
    // Reads until `size` bytes are there or the stream ends; false on a read error.
    bool fill(size_t size) {
        char buffer[16];
        while (m_head.size() < size) {
            const ssize_t got = m_source(buffer, size - m_head.size());
            if (got < 0)
                return false;
            if (got == 0)
                break;
            m_head.append(buffer, got);
        }
        return true;
    }
    const std::string& head() const { return m_head; }
    ByteSource source() {
        return [this](char* buffer, size_t size) -> ssize_t {
            if (m_given < m_head.size()) {
                const size_t n = std::min(size, m_head.size() - m_given);
                memcpy(buffer, m_head.data() + m_given, n);
                m_given += n;
                return static_cast<ssize_t>(n);
            }
            return m_source(buffer, size);
        };
    }

  private:
    const ByteSource& m_source;
    std::string m_head;
    size_t m_given = 0;
};

bool startsWith(const std::string& s, const char* magic, size_t size) {
    return s.size() >= size && memcmp(s.data(), magic, size) == 0;
}

// gzip, bzip2, xz and zstd: one compressed log.
bool isCompressed(const std::string& head) {
    return startsWith(head, "\x1f\x8b", 2) || startsWith(head, "BZh", 3) ||
           startsWith(head,
                      "\xfd"
                      "7zXZ",
                      5) ||
           startsWith(head, "\x28\xb5\x2f\xfd", 4);
}

}  // namespace

SourceCount& LogInputs::newCount(const std::string& name) {
    m_counts.push_back(SourceCount{});
    m_counts.back().name = name;
    m_reader.beginSource(name);
    return m_counts.back();
}

void LogInputs::noteYear(const LineScanner& scanner) {
    if (!m_year && scanner.year())
        m_year = scanner.year();
}

bool LogInputs::read(const std::string& path, std::string* error) {
    if (path == "-")
        return readStream("-", fdSource(STDIN_FILENO), error);
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    return S_ISDIR(st.st_mode) ? readFolder(path, error) : readFile(path, error);
}

bool LogInputs::readFile(const std::string& path, std::string* error) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    const bool ok = readStream(path, fdSource(fd), error);
    close(fd);
    return ok;
}

bool LogInputs::readFolder(const std::string& path, std::string* error) {
    std::vector<std::string> files;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec))
            files.push_back(it->path().string());
    }
    if (ec) {
        *error = path + ": " + ec.message();
        return false;
    }
    if (files.empty()) {
        *error = path + ": a folder without files";
        return false;
    }
    std::sort(files.begin(), files.end());
    for (const auto& f : files) {
        if (!readFile(f, error))
            return false;
    }
    return true;
}

bool LogInputs::readStream(const std::string& name, const ByteSource& source, std::string* error) {
    Peeked peeked(source);
    if (!peeked.fill(6)) {
        *error = name + ": " + strerror(errno);
        return false;
    }
    if (startsWith(peeked.head(), "PK\x03\x04", 4))
        return readArchive(name, peeked.source(), true, error);
    if (isCompressed(peeked.head()))
        return readArchive(name, peeked.source(), false, error);
    return readText(name, peeked.source(), error);
}

bool LogInputs::readText(const std::string& name, const ByteSource& source, std::string* error) {
    LineScanner scanner(m_reader, newCount(name));
    // Not zeroed: only the bytes read are touched, so a short input costs no megabyte of pages.
    const std::unique_ptr<char[]> block(new char[kReadBlock]);
    for (;;) {
        const ssize_t got = source(block.get(), kReadBlock);
        if (got < 0) {
            *error = name + ": " + strerror(errno);
            return false;
        }
        if (got == 0)
            break;
        scanner.push(block.get(), static_cast<size_t>(got));
        progress();
    }
    scanner.finish();
    noteYear(scanner);
    progress();
    return true;
}

std::string unreadVerdict(const SourceCount& count) {
    if (count.unreadLines == 0 || (count.tagLines - count.unreadLines) * 2 >= count.tagLines)
        return std::string();
    return count.name + ": " + std::to_string(count.unreadLines) + " of " +
           std::to_string(count.tagLines) +
           " lines with the plugin's tags are in no logcat layout korasim reads; the first: " +
           count.firstUnread;
}

}  // namespace korasim::logread
