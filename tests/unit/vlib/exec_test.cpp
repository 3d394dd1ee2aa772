#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <vexobase/unique_fd.h>
#include <vlib/exec.h>

#include "support/files.h"
#include "support/syslog_spy.h"

namespace {

std::string ReadToEnd(FILE* stream) {
    std::string text;
    char line[256];
    while (stream != nullptr && std::fgets(line, sizeof line, stream) != nullptr) {
        text += line;
    }
    return text;
}

TEST(Exec, TellsHowTheProgramEnded) {
    EXPECT_EQ(VLIBCExecl(0, "/bin/true", nullptr), 0);
    EXPECT_EQ(VLIBCExecl(VLIB_EXEC_QUIET, "/bin/sh", "-c", "exit 42", nullptr), 42);
    const char* const killed[] = {"-c", "kill -9 $$", nullptr};
    EXPECT_EQ(VLIBCExec("/bin/sh", killed), 128 + SIGKILL);
    EXPECT_EQ(VLIBCExec("/bin/false", nullptr), 1);
    EXPECT_EQ(VLIBCExec("/no/such/program", nullptr), 127);
    EXPECT_EQ(VLIBCExec("true", nullptr), 127);
    EXPECT_EQ(VLIBCExec("/etc/passwd", nullptr), 127);
}

TEST(Exec, ArgumentsMeetNoShell) {
    FILE* const stream = VLIBCPopen("/bin/echo", "r", "a  b", "$HOME;*", "", nullptr);
    EXPECT_EQ(ReadToEnd(stream), "a  b $HOME;* \n");
    EXPECT_EQ(VLIBCPclose(stream), 0);
}

TEST(Exec, TheChildStartsClean) {
    const vexobase::UniqueFd inherited(::open("/dev/null", O_RDONLY));
    ::signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);

    FILE* const descriptors = VLIBCPopen("/bin/ls", "r", "/proc/self/fd", nullptr);
    EXPECT_EQ(ReadToEnd(descriptors), "0\n1\n2\n3\n") << "3 is the folder that ls reads";
    VLIBCPclose(descriptors);
    // The C library keeps signals 32 and 33 for itself and leaves them ignored.
    for (const char* mask : {"^SigBlk:.0{16}$", "^SigIgn:.0{7}[01][08]0{7}$"}) {
        const char* const isEmpty[] = {"-qE", mask, "/proc/self/status", nullptr};
        EXPECT_EQ(VLIBCExec("/bin/grep", isEmpty), 0) << mask;
    }
    for (const char* stream : {"/proc/self/fd/0", "/proc/self/fd/1", "/proc/self/fd/2"}) {
        const char* const isNull[] = {stream, "-ef", "/dev/null", nullptr};
        EXPECT_EQ(VLIBCExec("/usr/bin/test", isNull), 0) << stream;
    }
    const std::string ownGroup = "test $(cut -d' ' -f5 /proc/$$/stat) = $$";
    EXPECT_EQ(VLIBCExecl(VLIB_EXEC_OWN_GROUP, "/bin/sh", "-c", ownGroup.c_str(), nullptr), 0);
    EXPECT_EQ(VLIBCExecl(0, "/bin/sh", "-c", ownGroup.c_str(), nullptr), 1);
    ::sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
    ::signal(SIGUSR1, SIG_DFL);
}

TEST(Exec, WritesToTheProgram) {
    const vexotest::TempFolder folder;
    FILE* const stream = VLIBCPopen("/usr/bin/tee", "w", (folder / "out").c_str(), nullptr);
    ASSERT_NE(stream, nullptr);
    std::fputs("text", stream);
    EXPECT_EQ(VLIBCPclose(stream), 0);
    EXPECT_EQ(vexotest::ReadFile(folder / "out"), "text");
}

TEST(Exec, LeavesNoChildAndNoDescriptor) {
    const int before = vexotest::OpenDescriptors();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(VLIBCPopen("/no/such/program", "r", nullptr), nullptr);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(VLIBCPopen("/bin/true", "rw", nullptr), nullptr);
        EXPECT_EQ(VLIBCExec("/no/such/program", nullptr), 127);
        VLIBCExec("/bin/true", nullptr);
        VLIBCPclose(VLIBCPopen("/bin/cat", "w", nullptr));
    }
    EXPECT_EQ(VLIBCPclose(stdin), -1);
    EXPECT_EQ(vexotest::OpenDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(Exec, NoStatusIsNoSuccess) {
    const vexotest::SyslogSpy log;
    ::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(VLIBCExec("/bin/true", nullptr), 127);
    ::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(log.Lines().size(), 1U);
}

TEST(Exec, RunsAsTheSavedUser) {
    const vexotest::TempFolder folder;
    ::chmod(folder.Path().c_str(), 0777);
    const std::string lowered = folder / "lowered";
    const std::string saved = folder / "saved";
    const auto run = [&] {
        const char* const touchLowered[] = {lowered.c_str(), nullptr};
        const char* const touchSaved[] = {saved.c_str(), nullptr};
        const bool done = ::setresgid(1000, 1000, 0) == 0 && ::setresuid(1000, 1000, 0) == 0
                          && VLIBCExec("/bin/touch", touchLowered) == 0
                          && VLIBCExec_S("/bin/touch", touchSaved) == 0;
        ::_exit(done && ::geteuid() == 1000 && ::getegid() == 1000 && ::seteuid(0) == 0 ? 0 : 1);
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(0), "");
    struct stat info {};
    EXPECT_TRUE(::stat(lowered.c_str(), &info) == 0 && info.st_uid == 1000);
    EXPECT_TRUE(::stat(saved.c_str(), &info) == 0 && info.st_uid == 0 && info.st_gid == 0);
}

}  // namespace
