#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace vexobase {

/// The longest file that is read; whoever writes files for these readers refuses longer ones.
inline constexpr std::size_t kMaxFileBytes = 16 << 20;

/// A whole file in memory.
class FileText {
  public:
    FileText() = default;
    FileText(std::unique_ptr<char[]> text, std::size_t length)
        : bytes(std::move(text)), size(length) {}

    std::string_view View() const { return {bytes.get(), size}; }

  private:
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;
};

/// Reads a whole file from one opening; files of /proc, which report no size, too.
/// @return nothing, with errno, when it cannot be read (EFBIG: it has more than kMaxFileBytes)
std::optional<FileText> ReadFileText(const char* path);

}  // namespace vexobase
