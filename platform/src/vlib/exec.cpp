#include "vlib/exec.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>

#include "spawn.h"
#include "vlib/error.h"

namespace {

constexpr int kNotStarted = 127;
constexpr int kSignalBase = 128;

using Arguments = std::vector<const char*>;

/// Argument 0, the arguments up to their null, and a null.
Arguments Collect(const char* path, va_list list) {
    Arguments arguments{path};
    do {
        arguments.push_back(va_arg(list, const char*));
    } while (arguments.back() != nullptr);
    return arguments;
}

int WaitFor(pid_t pid) {
    const auto status = vlib::Reap(pid);
    if (!status) {
        // The program has ended, but nobody may take it for a success.
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
        VEXO_LOG(LOG_ERR, "No exit status of pid %d: errno %d", static_cast<int>(pid), errno);
        return kNotStarted;
    }
    return WIFSIGNALED(*status) ? kSignalBase + WTERMSIG(*status) : WEXITSTATUS(*status);
}

int Run(int options, const Arguments& arguments) {
    const pid_t pid = vlib::Spawn(options, arguments.data());
    return pid < 0 ? kNotStarted : WaitFor(pid);
}

int RunQuietly(const char* path, const char* const arguments[]) {
    if (path == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return kNotStarted;
    }
    Arguments whole{path};
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
        whole.push_back(*arguments);
    }
    whole.push_back(nullptr);
    return Run(VLIB_EXEC_QUIET, whole);
}

/// The programs behind the streams that VLIBCPopen gave out.
class StreamTable {
  public:
    void Add(FILE* stream, pid_t pid) {
        const std::lock_guard guard(mutex);
        pids[stream] = pid;
    }

    /// @return the pid, or -1 for a stream that is not ours
    pid_t Take(FILE* stream) {
        const std::lock_guard guard(mutex);
        const auto found = pids.extract(stream);
        return found ? found.mapped() : -1;
    }

  private:
    std::mutex mutex;
    std::unordered_map<FILE*, pid_t> pids;
};

StreamTable& Streams() {
    static StreamTable* const table = new StreamTable;  // outlives the streams of other statics
    return *table;
}

struct CloseStream {
    void operator()(FILE* stream) const { std::fclose(stream); }
};
using UniqueFile = std::unique_ptr<FILE, CloseStream>;

FILE* OpenPipeTo(const Arguments& arguments, bool reading) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return nullptr;
    }
    vexobase::UniqueFd ours(ends[reading ? 0 : 1]);
    const vexobase::UniqueFd theirs(ends[reading ? 1 : 0]);
    UniqueFile stream(::fdopen(ours.Get(), reading ? "r" : "w"));
    if (!stream) {
        return nullptr;
    }
    static_cast<void>(ours.Release());
    const int target = reading ? STDOUT_FILENO : STDIN_FILENO;
    const pid_t pid = vlib::Spawn(VLIB_EXEC_QUIET, arguments.data(), {theirs.Get(), target});
    if (pid < 0) {
        return nullptr;
    }
    Streams().Add(stream.get(), pid);
    return stream.release();
}

}  // namespace

extern "C" {

int VLIBCExecl(int options, const char* path, ...) {
    if (path == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return kNotStarted;
    }
    va_list list;
    va_start(list, path);
    const Arguments arguments = Collect(path, list);
    va_end(list);
    return Run(options, arguments);
}

int VLIBCExec(const char* path, const char* const arguments[]) {
    return RunQuietly(path, arguments);
}

int VLIBCExec_S(const char* path, const char* const arguments[]) {
    const vlib::SavedIdentity elevated;
    return RunQuietly(path, arguments);
}

FILE* VLIBCPopen(const char* path, const char* mode, ...) {
    const std::string_view direction(mode == nullptr ? "" : mode);
    if (path == nullptr || (direction != "r" && direction != "w")) {
        errno = EINVAL;
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    va_list list;
    va_start(list, mode);
    const Arguments arguments = Collect(path, list);
    va_end(list);
    return OpenPipeTo(arguments, direction == "r");
}

int VLIBCPclose(FILE* stream) {
    const pid_t pid = Streams().Take(stream);
    if (pid < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    std::fclose(stream);
    return WaitFor(pid);
}
}
