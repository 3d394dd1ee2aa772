#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <vexobase/unique_fd.h>

namespace vexonetwork::network {

/// Files in a folder where others may write, as /tmp: neither a link nor a pipe that somebody has
/// put there leads anywhere.

/// @return the whole of a regular file of this user's own, of at most 64 MiB, or nothing with errno
std::optional<std::string> ReadPlainFile(const std::string& path);

/// Opens a file of this user's own for writing and empties it. A link, a pipe, another user's file
/// and one with several names are removed first, another user's folder is renamed; a folder of this
/// user's own and a device are a failure.
/// @return an empty descriptor with errno on failure
vexobase::UniqueFd OpenPlainFile(const std::string& path);

/// @return whether all bytes were written; errno says why not
bool WriteAll(const vexobase::UniqueFd& fd, std::string_view bytes);

}  // namespace vexonetwork::network
