#include "network/piped_program.h"

#include <charconv>
#include <csignal>
#include <string_view>

#include <vexobase/file_text.h>

namespace vexonetwork::network {

void EndProgram::operator()(FILE* stream) const {
    // Its number is not given away before its end is taken.
    if (pid > 0 && ::kill(-pid, SIGKILL) != 0) {
        ::kill(pid, SIGKILL);
    }
    VLIBCPclose(stream);
}

pid_t NewestChild() {
    const auto children = vexobase::ReadFileText("/proc/thread-self/children");
    std::string_view text = children ? children->View() : "";
    // Each number is followed by a blank.
    text.remove_suffix(text.empty() ? 0 : 1);
    text.remove_prefix(text.rfind(' ') + 1);
    pid_t newest = -1;
    std::from_chars(text.data(), text.data() + text.size(), newest);
    return newest;
}

PipedProgram Piped(FILE* stream, pid_t before) {
    const pid_t newest = stream != nullptr ? NewestChild() : before;
    return PipedProgram(stream, {newest != before ? newest : -1});
}

}  // namespace vexonetwork::network
