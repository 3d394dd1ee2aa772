#pragma once

#include <memory>
#include <optional>
#include <string_view>

namespace vlib {

/// A whole file in memory.
class FileText {
  public:
    FileText() = default;
    FileText(std::unique_ptr<char[]> text, size_t length) : bytes(std::move(text)), size(length) {}

    std::string_view View() const { return {bytes.get(), size}; }

  private:
    std::unique_ptr<char[]> bytes;
    size_t size = 0;
};

/// Reads a whole file; files of /proc, which report no size, too.
/// @return nothing, with errno and the platform's error, when it cannot be read or has more than
///         16 MiB
std::optional<FileText> ReadFileText(const char* path);

}  // namespace vlib
