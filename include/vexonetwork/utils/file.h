#pragma once

#include <string>

namespace vexonetwork::utils {

/// Makes a folder of mode 0755 unless it is there; the folders above it are not made.
/// @param mode  only named in the message of a failure
/// @return 0 or -1
int CheckAndMakeDir(const std::string& dir, unsigned int mode);

/// The whole file; "" when it cannot be read, or has more than 16 MiB. A pipe that stands in its
/// place is not waited for.
std::string FileToStr(const std::string& path);

/// Writes a value and a newline to a kernel setting below /proc/sys.
/// @return whether the file could be opened; a value that the kernel refuses is not told
bool SetProcEntry(const std::string& path, const std::string& value);

/// Copies the IPv6 keys that one interface's ifcfg file has to another's, quotes included; its
/// other keys stay. A key with an empty value is not there.
/// @return 0, or -1 at the first key that cannot be written
int CopyIfcfgIPv6Attrs(const std::string& fromIf, const std::string& toIf);

}  // namespace vexonetwork::utils
