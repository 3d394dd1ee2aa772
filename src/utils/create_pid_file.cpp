#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/create_pid_file.h>

namespace vexonetwork::utils {

namespace {

bool LockWhole(int fd) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return ::fcntl(fd, F_SETLK, &lock) == 0;
}

bool WritePid(int fd) {
    const std::string text = std::to_string(::getpid()) + "\n";
    return ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

}  // namespace

int CreatePidFile(const std::string& path) {
    vexobase::UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!fd) {
        VEXO_LOG_AT(37, LOG_ERR, "Could not open PID file [%s]", path.c_str());
        return -1;
    }
    if (!LockWhole(fd.Get())) {
        VEXO_LOG_AT(54, LOG_ERR, "Unable to lock PID file [%s]", path.c_str());
        return -1;
    }
    if (::ftruncate(fd.Get(), 0) != 0) {
        VEXO_LOG_AT(63, LOG_ERR, "Could not truncate PID file [%s]", path.c_str());
        return -1;
    }
    if (!WritePid(fd.Get())) {
        VEXO_LOG_AT(73, LOG_ERR, "Writing to PID file [%s]", path.c_str());
        return -1;
    }
    return fd.Release();
}

}  // namespace vexonetwork::utils
