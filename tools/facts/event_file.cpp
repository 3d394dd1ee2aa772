#include "facts/event_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <vexobase/unique_fd.h>

#include "failure.h"

namespace vexonetctl {
namespace {

using Block = std::array<char, 65536>;

/// A line that is longer is damaged anyway.
constexpr std::size_t kMaxLine = 65536;

[[noreturn]] void Fail(const std::string& path) {
    throw Failure(kRefused, "cannot read " + path + ": " + std::strerror(errno));
}

/// Reads at `place`.
/// @return what was read; "" at the end
std::string_view ReadAt(const std::string& path, int fd, Block& block, off_t place,
                        std::size_t most) {
    const ssize_t length = ::pread(fd, block.data(), std::min(most, block.size()), place);
    if (length < 0) {
        Fail(path);
    }
    return {block.data(), std::size_t(length)};
}

/// Where the last `count` lines begin.
off_t StartOfLast(const std::string& path, int fd, off_t size, std::size_t count) {
    Block block;
    std::size_t newlines = 0;
    for (off_t end = size; end > 0;) {
        const off_t start = std::max(off_t{0}, end - off_t(block.size()));
        const auto bytes = ReadAt(path, fd, block, start, std::size_t(end - start));
        for (std::size_t i = bytes.size(); i-- > 0;) {
            const off_t place = start + off_t(i);
            // The newline at the very end begins no line.
            if (bytes[i] == '\n' && place + 1 < size && ++newlines == count) {
                return place + 1;
            }
        }
        end = start;
    }
    return 0;
}

}  // namespace

bool VisitLastLines(const std::string& path, std::size_t count,
                    const std::function<void(const std::string& line)>& visit) {
    const vexobase::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file && errno == ENOENT) {
        return false;
    }
    struct stat info {};
    if (!file || ::fstat(file.Get(), &info) != 0) {
        Fail(path);
    }
    std::string line;
    const auto finish = [&] {
        visit(line);
        line.clear();
    };
    Block block;
    for (off_t place = StartOfLast(path, file.Get(), info.st_size, count); place < info.st_size;) {
        const auto bytes =
            ReadAt(path, file.Get(), block, place, std::size_t(info.st_size - place));
        if (bytes.empty()) {
            break;  // it was cut meanwhile
        }
        for (const char c : bytes) {
            if (c == '\n') {
                finish();
            } else if (line.size() < kMaxLine) {
                line += c;
            }
        }
        place += off_t(bytes.size());
    }
    if (!line.empty()) {
        finish();
    }
    return true;
}

}  // namespace vexonetctl
