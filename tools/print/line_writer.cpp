#include "print/line_writer.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

#include "failure.h"

namespace vexonetctl {

LineWriter::LineWriter(int stopDescriptor) : stop(stopDescriptor) {
    // A reader who goes is told by the result of writing, too.
    std::signal(SIGPIPE, SIG_IGN);
}

bool LineWriter::Write(const std::string& line) {
    const std::string text = line + "\n";
    for (std::string_view left = text; !left.empty();) {
        pollfd events[] = {{STDOUT_FILENO, POLLOUT, 0}, {stop, POLLIN, 0}};
        if (::poll(events, 2, -1) < 0 && errno != EINTR) {
            return false;
        }
        if (events[1].revents != 0) {
            return false;
        }
        const ssize_t written = ::write(STDOUT_FILENO, left.data(), left.size());
        if (written < 0 && errno == EPIPE) {
            return false;
        }
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            throw Failure(kRefused,
                          std::string("the output could not be written: ") + std::strerror(errno));
        }
        left.remove_prefix(written < 0 ? 0 : std::size_t(written));
    }
    return true;
}

}  // namespace vexonetctl
