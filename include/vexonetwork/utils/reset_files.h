#pragma once

namespace vexonetwork::utils {

/// Removes a file or an empty folder if it is there.
void RemoveFile(const char* path);

/// Removes the files of a folder that match a pattern, in the sense of VLIBCFileEnumDir.
void RemoveFiles(const char* dir, const char* pattern);

/// Puts a pristine copy back: removes `target` and copies `source`, when it exists, into the folder
/// that `target` stands in. Failures are logged and do not stop the rest.
void ResetFiles(const char* source, const char* target);

}  // namespace vexonetwork::utils
