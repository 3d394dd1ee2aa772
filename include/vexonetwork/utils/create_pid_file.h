#pragma once

#include <string>

namespace vexonetwork::utils {

/// Makes this process the only one of its kind: locks the file (fcntl(2) write lock, without
/// waiting) and writes the pid and a newline to it. While another process holds the lock its pid
/// stays in the file.
///
/// The lock lasts as long as the process, but is dropped when this process closes any other
/// descriptor of the same file: the holder must not read its own pid file.
///
/// @return the open, locked descriptor, or -1
int CreatePidFile(const std::string& path);

}  // namespace vexonetwork::utils
