#include <unistd.h>

#include <vexobase/log.h>
#include <vexobase/same_file.h>
#include <vexonetwork/utils/lock.h>
#include <vlib/exec.h>
#include <vlib/file.h>

namespace vexonetwork::utils {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

void Wait(milliseconds pause) {
    const auto whole = std::chrono::duration_cast<seconds>(pause);
    ::sleep(static_cast<unsigned>(whole.count()));
    ::usleep(static_cast<useconds_t>(std::chrono::microseconds(pause - whole).count()));
}

}  // namespace

FileLock::FileLock(const std::string& lockPath, bool exclusiveLock)
    : exclusive(exclusiveLock), path(lockPath) {}

bool FileLock::Lock() {
    return Lock(seconds(1), 30);
}

bool FileLock::Lock(milliseconds pause, int tries) {
    if (!createParentDir()) {
        Tell("create parent dir of", tries);
        return false;
    }
    int descriptor = -1;
    for (int i = 0; i < tries && VLIBCFileLockByFile(path.c_str(), exclusive, &descriptor) != 1;
         ++i) {
        Wait(pause);
    }
    if (descriptor < 0) {
        Tell("get file lock of", tries);
        return false;
    }
    fd = descriptor;
    return true;
}

void FileLock::Tell(const char* what, int tries) const {
    if (tries > 1) {
        VEXO_LOG(LOG_ERR, "Failed to %s [%s]", what, path.c_str());
    }
}

bool FileLock::Unlock() {
    const bool deleted =
        fd >= 0 && vexobase::NamesOpenFile(path.c_str(), fd) && ::unlink(path.c_str()) == 0;
    const bool released = VLIBCFileUnlockByFile(fd) == 1;
    if (released) {
        fd = -1;
    }
    if (!released || !deleted) {
        VEXO_LOG(LOG_ERR, "Failed to release file lock of [%s]", path.c_str());
        return false;
    }
    return true;
}

bool FileLock::createParentDir() {
    const auto slash = path.rfind('/');
    if (slash == path.npos || slash == 0) {
        return true;
    }
    const std::string dir = path.substr(0, slash);
    if (VLIBCFileCheckDir(dir.c_str()) == 1) {
        return true;
    }
    const char* const arguments[] = {"-p", dir.c_str(), nullptr};
    return VLIBCExec("/bin/mkdir", arguments) == 0;
}

}  // namespace vexonetwork::utils
