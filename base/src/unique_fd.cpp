#include "vexobase/unique_fd.h"

#include <unistd.h>

#include <cerrno>

namespace vexobase {

void UniqueFd::Reset(int descriptor) noexcept {
    if (fd >= 0) {
        const int saved = errno;
        ::close(fd);
        errno = saved;
    }
    fd = descriptor;
}

}  // namespace vexobase
