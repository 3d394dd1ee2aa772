#include "vexoservice/supervisor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>

namespace vexoservice {
namespace {

/// "/PATH" or "@ABSTRACT".
/// @return 0, or -1 with errno
int Send(std::string_view socketName, std::string_view state) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketName.size() < 2 || socketName.size() >= sizeof address.sun_path
        || (socketName.front() != '/' && socketName.front() != '@')) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    socketName.copy(address.sun_path, socketName.size());
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const vexobase::UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const std::size_t length = offsetof(sockaddr_un, sun_path) + socketName.size();
    const ssize_t sent =
        ::sendto(fd.Get(), state.data(), state.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(length));
    return sent < 0 ? -1 : 0;
}

}  // namespace

bool TellSupervisor(const char* state) {
    const char* socketName = std::getenv("NOTIFY_SOCKET");
    if (socketName == nullptr || Send(socketName, state) == 0) {
        return true;
    }
    if (errno == EAGAIN) {
        return false;
    }
    VEXO_LOG(LOG_ERR, "Failed to tell the supervisor %s: %s", state, std::strerror(errno));
    return true;
}

std::optional<std::chrono::microseconds> WatchdogInterval() {
    std::uint64_t asked = 0;
    const int result = ::sd_watchdog_enabled(0, &asked);
    if (result < 0) {
        VEXO_LOG(LOG_ERR, "Failed to read the watchdog interval: %s", std::strerror(-result));
    }
    return result > 0 ? std::optional(std::chrono::microseconds(asked / 2)) : std::nullopt;
}

}  // namespace vexoservice
