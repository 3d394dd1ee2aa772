#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <vlib/proc.h>

#include "support/files.h"

namespace {

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
    ::waitpid(child, nullptr, 0);
    EXPECT_EQ(VLIBCProcAlive(child), 0);
    EXPECT_EQ(VLIBCProcAlive(0), 0);
    EXPECT_EQ(VLIBCProcAlive(-1), 0);
}

TEST(Proc, ReadsPidFiles) {
    const vexotest::TempFolder folder;
    const std::string path = folder / "pid";
    EXPECT_EQ(VLIBCReadPidFile(path.c_str()), -1);
    EXPECT_EQ(VLIBCProcAliveByPidFile(path.c_str()), 0);
    for (const auto& [text, pid] :
         std::vector<std::pair<std::string, pid_t>>{{"123\n", 123},
                                                    {"123", 123},
                                                    {"2147483647 \r\n", INT_MAX},
                                                    {"", -1},
                                                    {"\n", -1},
                                                    {"0\n", -1},
                                                    {"-5\n", -1},
                                                    {"12x\n", -1},
                                                    {"2147483648\n", -1},
                                                    {"1 2\n", -1}}) {
        vexotest::WriteFile(path, text);
        EXPECT_EQ(VLIBCReadPidFile(path.c_str()), pid) << text;
    }
    std::filesystem::resize_file(path, uintmax_t{1} << 40);
    EXPECT_EQ(VLIBCReadPidFile(path.c_str()), -1);
    ::mkfifo((folder / "pipe").c_str(), 0666);
    EXPECT_EQ(VLIBCReadPidFile((folder / "pipe").c_str()), -1);
}

TEST(Proc, WritesPidFilesOverWhatOthersPutThere) {
    const vexotest::TempFolder folder;
    const std::string path = folder / "pid";
    vexotest::WriteFile(folder / "victim", "precious");
    std::filesystem::create_symlink("victim", path);
    ASSERT_EQ(VLIBCProcPidFileCreate(path.c_str()), 0);
    EXPECT_EQ(vexotest::ReadFile(folder / "victim"), "precious");
    EXPECT_EQ(vexotest::ReadFile(path), std::to_string(::getpid()) + "\n");
    EXPECT_EQ(VLIBCProcAliveByPidFile(path.c_str()), 1);
    struct stat info {};
    ::lstat(path.c_str(), &info);
    EXPECT_EQ(info.st_mode, S_IFREG | 0644U);

    EXPECT_EQ(VLIBCProcPidFileCreate((folder / "none/pid").c_str()), -1);
    std::filesystem::create_directory(folder / "folder");
    EXPECT_EQ(VLIBCProcPidFileCreate((folder / "folder").c_str()), -1);
    const std::filesystem::directory_iterator entries(folder.Path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 3) << "a temporary file was left";
}

}  // namespace
