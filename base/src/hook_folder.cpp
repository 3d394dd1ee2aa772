#include <dirent.h>
#include <limits.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

#include <vexobase/hook_folder.h>
#include <vexobase/unique_handle.h>

namespace vexobase {

namespace {

void CloseFolder(DIR* folder) {
    ::closedir(folder);
}
using Folder = UniqueHandle<DIR, CloseFolder>;

}  // namespace

bool MayHaveHooks(const char* category, const char* name) {
    // On the stack: this is asked for every address event.
    constexpr std::size_t kNameSize = NAME_MAX + 1;
    char path[sizeof kHookFolder + 2 * kNameSize];
    std::snprintf(path, sizeof path, "%s/%s/%s", kHookFolder, category, name);
    const Folder folder(::opendir(path));
    if (!folder) {
        return errno != ENOENT;
    }
    errno = 0;
    while (const dirent* entry = ::readdir(folder.Get())) {
        const std::string_view found(entry->d_name);
        if (found != "." && found != "..") {
            return true;
        }
    }
    return errno != 0;
}

}  // namespace vexobase
