#pragma once

#include <utility>

namespace vexobase {

/// Sole owner of a file descriptor; closes it when it dies. -1 means none.
class UniqueFd {
  public:
    explicit UniqueFd(int descriptor = -1) noexcept : fd(descriptor) {}
    UniqueFd(UniqueFd&& other) noexcept : fd(other.Release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    ~UniqueFd() { Reset(); }

    explicit operator bool() const noexcept { return fd >= 0; }
    int Get() const noexcept { return fd; }

    /// Gives the descriptor to the caller, who closes it.
    [[nodiscard]] int Release() noexcept { return std::exchange(fd, -1); }

    /// Closes what is held and takes `descriptor` instead. errno is left as it was.
    void Reset(int descriptor = -1) noexcept;

  private:
    int fd;
};

}  // namespace vexobase
