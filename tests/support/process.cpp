#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>
#include <sstream>
#include <utility>

#include <vexobase/unique_fd.h>

#include "support/files.h"

extern char** environ;

namespace vexotest {
namespace {

using vexobase::UniqueFd;

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Merged(const Environment& added) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text(*entry);
        if (!added.contains(text.substr(0, text.find('=')))) {
            merged.push_back(text);
        }
    }
    for (const auto& [name, value] : added) {
        merged.push_back(name + "=" + value);
    }
    return merged;
}

pid_t Spawn(Arguments command, const std::string& out, const std::string& err,
            const Environment& added) {
    constexpr int kAppend = O_WRONLY | O_CREAT | O_APPEND;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), kAppend, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), kAppend, 0600);
    std::vector<std::string> environment = Merged(added);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, command[0].c_str(), &actions, nullptr,
                                   Pointers(command).data(), Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(error, 0) << command[0] << " cannot be started";
    return error == 0 ? pid : -1;
}

int StatusOf(int raw) {
    return WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : WEXITSTATUS(raw);
}

}  // namespace

Process::Process(const Arguments& command, const std::string& output, const Environment& added)
    : Process(command, output, output, added) {}

Process::Process(const Arguments& command, const std::string& out, const std::string& err,
                 const Environment& added)
    : pid(Spawn(command, out, err, added)) {}

Process::Process(Process&& other) noexcept : pid(std::exchange(other.pid, -1)) {}

Process& Process::operator=(Process&& other) noexcept {
    std::swap(pid, other.pid);
    return *this;
}

Process::~Process() {
    if (pid > 0) {
        Signal(SIGKILL);
        Wait();
    }
}

void Process::Signal(int number) const {
    if (pid > 0) {
        ::kill(pid, number);
    }
}

int Process::Wait(Milliseconds deadline) {
    if (pid <= 0) {
        return -1;
    }
    const UniqueFd handle(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    pollfd ended{handle.Get(), POLLIN, 0};
    if (::poll(&ended, 1, static_cast<int>(deadline.count())) != 1) {
        return -1;
    }
    int raw = 0;
    ::waitpid(std::exchange(pid, -1), &raw, 0);
    return StatusOf(raw);
}

Outcome Run(const Arguments& command, const Environment& added) {
    const TempFolder folder;
    const std::string out = folder / "out";
    const std::string err = folder / "err";
    Process process(command, out, err, added);
    const int status = process.Wait(std::chrono::minutes(1));
    return {status, ReadFile(out), ReadFile(err)};
}

Arguments Words(const std::string& commandLine) {
    std::istringstream words(commandLine);
    return {std::istream_iterator<std::string>(words), {}};
}

std::string Must(const std::string& commandLine) {
    return Must(Words(commandLine));
}

std::string Must(const Arguments& command) {
    const Outcome outcome = Run(command);
    EXPECT_EQ(outcome.status, 0) << testing::PrintToString(command) << "\n"
                                 << outcome.out << outcome.err;
    return outcome.out;
}

}  // namespace vexotest
