#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <string>

#include <vexobase/unique_fd.h>
#include <vlib/exec.h>
#include <vlib/proc.h>

#include "support/files.h"

namespace {

namespace fs = std::filesystem;

std::string ReadToEnd(FILE* stream) {
    char text[256];
    const std::size_t size = stream == nullptr ? 0 : std::fread(text, 1, sizeof text, stream);
    EXPECT_EQ(VLIBCPclose(stream), 0);
    return {text, size};
}

TEST(Exec, TellsHowTheProgramEnded) {
    EXPECT_EQ(VLIBCExecl(0, "/bin/sh", "-c", "exit 42", nullptr), 42);
    const char* const killed[] = {"-c", "kill -9 $$", nullptr};
    EXPECT_EQ(VLIBCExec("/bin/sh", killed), 128 + SIGKILL);
    EXPECT_EQ(VLIBCExec("/no/such/program", nullptr), 127);
    ::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(VLIBCExec("/bin/true", nullptr), 127) << "no status is no success";
}

TEST(Exec, TheChildStartsClean) {
    const vexobase::UniqueFd inherited(::open("/dev/null", O_RDONLY));
    ::signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    EXPECT_EQ(ReadToEnd(VLIBCPopen("/bin/ls", "r", "/proc/self/fd", nullptr)), "0\n1\n2\n3\n")
        << "3 is the folder that ls reads";
    // The C library keeps signals 32 and 33 for itself and leaves them ignored.
    for (const char* mask : {"^SigBlk:.0{16}$", "^SigIgn:.0{7}[01][08]0{7}$"}) {
        const char* const isEmpty[] = {"-qE", mask, "/proc/self/status", nullptr};
        EXPECT_EQ(VLIBCExec("/bin/grep", isEmpty), 0) << mask;
    }
    for (const char* stream : {"/proc/self/fd/0", "/proc/self/fd/1", "/proc/self/fd/2"}) {
        const char* const isNull[] = {stream, "-ef", "/dev/null", nullptr};
        EXPECT_EQ(VLIBCExec("/usr/bin/test", isNull), 0) << stream;
    }
}

TEST(Exec, PipesMeetNoShellAndLeaveNothing) {
    const int before = vexotest::OpenDescriptors();
    EXPECT_EQ(ReadToEnd(VLIBCPopen("/bin/echo", "r", "a  b", "$HOME;*", "", nullptr)),
              "a  b $HOME;* \n");
    FILE* const writing = VLIBCPopen("/usr/bin/tee", "w", "/tmp/out", nullptr);
    EXPECT_TRUE(writing != nullptr && std::fputs("text", writing) >= 0);
    EXPECT_EQ(VLIBCPclose(writing), 0);
    EXPECT_EQ(vexotest::ReadFile("/tmp/out"), "text");
    EXPECT_EQ(VLIBCPopen("/no/such/program", "r", nullptr), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(vexotest::OpenDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST(Exec, RunsAsTheSavedUser) {
    const char *const lowered[] = {"/tmp/lowered", nullptr}, *const saved[] = {"/tmp/saved",
                                                                               nullptr};
    ::chmod("/tmp", 0777);
    ASSERT_TRUE(::setresgid(1000, 1000, 0) == 0 && ::setresuid(1000, 1000, 0) == 0);
    EXPECT_EQ(VLIBCExec("/bin/touch", lowered), 0);
    EXPECT_EQ(VLIBCExec_S("/bin/touch", saved), 0);
    EXPECT_TRUE(::geteuid() == 1000 && ::getegid() == 1000 && ::seteuid(0) == 0);
    struct stat info {};
    EXPECT_TRUE(::stat(*lowered, &info) == 0 && info.st_uid == 1000);
    EXPECT_TRUE(::stat(*saved, &info) == 0 && info.st_uid == 0 && info.st_gid == 0);
}

TEST(Proc, AZombieIsNotAlive) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_NAME, "a) R (b");
        ::raise(SIGSTOP);
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(child, nullptr, WUNTRACED), child);
    EXPECT_EQ(VLIBCProcAlive(child), 1);
    ::kill(child, SIGCONT);
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
    EXPECT_EQ(VLIBCProcAlive(child), 0);
}

TEST(Proc, ReadsPidFilesAndWritesThemOverWhatOthersPutThere) {
    const char* const texts[] = {"2147483647 \r\n", "\n", "0\n", "-5\n", "12x\n", "2147483648"};
    for (const char* text : texts) {
        vexotest::WriteFile("/tmp/pid", text);
        EXPECT_EQ(VLIBCReadPidFile("/tmp/pid"), text == texts[0] ? INT_MAX : -1) << text;
    }
    ::mkfifo("/tmp/pipe", 0666);
    EXPECT_EQ(VLIBCReadPidFile("/tmp/pipe"), -1) << "nobody holds us up";

    vexotest::WriteFile("/tmp/pids/victim", "precious");
    fs::create_symlink("victim", "/tmp/pids/pid");
    ASSERT_EQ(VLIBCProcPidFileCreate("/tmp/pids/pid"), 0);
    EXPECT_EQ(vexotest::ReadFile("/tmp/pids/victim"), "precious");
    EXPECT_EQ(vexotest::ReadFile("/tmp/pids/pid"), std::to_string(::getpid()) + "\n");
    EXPECT_EQ(VLIBCProcAliveByPidFile("/tmp/pids/pid"), 1);
    EXPECT_EQ(fs::status("/tmp/pids/pid").permissions(), fs::perms{0644});
}

}  // namespace
