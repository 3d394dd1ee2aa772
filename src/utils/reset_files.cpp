#include <glob.h>
#include <libgen.h>

#include <cstdio>
#include <string>

#include <vexobase/log.h>
#include <vexonetwork/utils/reset_files.h>
#include <vlib/exec.h>
#include <vlib/file.h>

#include "utils/sz_containers.h"

namespace vexonetwork::utils {

namespace {

long CountMatches(const char* pattern) {
    glob_t matches{};
    const int error = ::glob(pattern, GLOB_NOSORT, nullptr, &matches);
    const auto count = static_cast<long>(matches.gl_pathc);
    ::globfree(&matches);
    if (error != 0) {
        VEXO_LOG(LOG_ERR, "glob error on path %s", pattern);
        return -1;
    }
    return count;
}

void RemoveTree(const char* path) {
    const char* const arguments[] = {"-rf", path, nullptr};
    if (VLIBCExec("/bin/rm", arguments) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to remove [%s]", path);
    }
}

void CopyTree(const char* source, const char* target) {
    std::string copy = target;
    const char* const arguments[] = {"-rf", source, ::dirname(copy.data()), nullptr};
    if (VLIBCExec("/bin/cp", arguments) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to copy [%s] to [%s]", source, target);
    }
}

}  // namespace

void RemoveFile(const char* path) {
    if (VLIBCFileExist(path) == 1 && std::remove(path) != 0) {
        VEXO_LOG(LOG_ERR, "remove file %s failed", path);
    }
}

void RemoveFiles(const char* dir, const char* pattern) {
    UniqueSzList names(VLIBCSzListAlloc(512));
    if (!names) {
        VEXO_LOG(LOG_ERR, "Alloc plist failed");
        return;
    }
    if (VLIBCFileEnumDir(dir, pattern, names.Address(), 2) < 0) {
        VEXO_LOG(LOG_ERR, "VLIBCFileEnumDir %s/%s failed", dir, pattern);
        return;
    }
    for (int i = 0; i < names->count; ++i) {
        RemoveFile((std::string(dir) + "/" + VLIBCSzListGet(names.Get(), i)).c_str());
    }
}

void ResetFiles(const char* source, const char* target) {
    if (CountMatches(target) > 0) {
        RemoveTree(target);
    }
    if (CountMatches(source) >= 1) {
        CopyTree(source, target);
    }
}

}  // namespace vexonetwork::utils
