#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace vexonetctl {

/// Hands the last lines of a file, without their newlines, to `visit`, from the earliest to the
/// last. Reads only as much of the file as holds them, one line at a time; what exceeds a line's
/// most is left out of it.
/// @return false when there is no such file; a Failure when it cannot be read
bool VisitLastLines(const std::string& path, std::size_t count,
                    const std::function<void(const std::string& line)>& visit);

}  // namespace vexonetctl
