#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <vexobase/unique_fd.h>

/// Bytes as a copy whose memory ends where they end, for the address sanitizer.
inline std::vector<std::byte> Copy(const uint8_t* bytes, std::size_t size) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes);
    return {first, first + size};
}

/// What must hold whatever the input is.
inline void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Hands the text behind the first byte to the reader that this byte chooses.
template <typename... Readers>
int Choose(const uint8_t* bytes, std::size_t size, const Readers&... readers) {
    if (size == 0) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    std::size_t left = bytes[0] % sizeof...(readers);
    ((left-- == 0 ? static_cast<void>(readers(text)) : void()), ...);
    return 0;
}

/// A file without a folder, so that a run touches no disk.
class MemoryFile {
  public:
    explicit MemoryFile(const std::string& bytes) : fd(::memfd_create("fuzz", MFD_CLOEXEC)) {
        Require(::write(fd.Get(), bytes.data(), bytes.size())
                == static_cast<ssize_t>(bytes.size()));
    }
    std::string Path() const { return "/proc/self/fd/" + std::to_string(fd.Get()); }

  private:
    vexobase::UniqueFd fd;
};
