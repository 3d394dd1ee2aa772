#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include <vexo/change_hook.h>
#include <vexobase/unique_fd.h>
#include <vexobase/unique_handle.h>

#include "support/files.h"
#include "support/syslog_spy.h"
#include "vexo/hook_runner.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using vexoplatform::RunHooks;
using vexotest::ReadFile;
using vexotest::SyslogSpy;
using namespace std::chrono_literals;

const std::string kFolder = "/usr/vexo/hooks/net/demo/";
const std::string kOut = "/tmp/hook-out";

void WriteHook(const std::string& path, const std::string& body, mode_t mode = 0755) {
    vexotest::WriteFile(path, "#!/bin/sh\n" + body + "\n");
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
}

std::string AppendName() {
    return "echo ${0##*/} >> " + kOut;
}

TEST(Hooks, RunInByteOrderOfTheirNames) {
    for (const char* name : {"a", "B", "10-x", "2-x", ".hidden"}) {
        WriteHook(kFolder + name, AppendName());
    }
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(ReadFile(kOut), ".hidden\n10-x\n2-x\nB\na\n");
}

TEST(Hooks, GetTheirKeysAndNothingElseOfTheDaemon) {
    ::setenv("SECRET", "of the daemon", 1);
    const vexobase::UniqueFd open(::fcntl(STDERR_FILENO, F_DUPFD, 60));
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    WriteHook(kFolder + "show",
              "streams=$(readlink /proc/$$/fd/[0-2])\n"
              "{ tr '\\0' '\\n' < /proc/$$/environ\n"
              "echo $streams\n"
              "ls /proc/$$/fd | grep 60\n"
              "sed -En 's/^(SigBlk|SigIgn).*(.{7})/\\1 \\2/p' /proc/self/status\n"
              "[ $(ps -o pgid= -p $$) = $$ ] && echo own group; } > "
                  + kOut);
    EXPECT_EQ(RunHooks("net", "demo", {{"IFNAME", "eth0"}, {"DNS", "1.1.1.1\n;rm $(x)"}}), 0);
    EXPECT_EQ(ReadFile(kOut),
              "DNS=1.1.1.1\n;rm $(x)\nIFNAME=eth0\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\n"
              "/dev/null /dev/null /dev/null\nSigBlk 0000000\nSigIgn 0000000\nown group\n");
}

TEST(Hooks, AreSkippedWhenNotRootsAlone) {
    WriteHook(kFolder + "anyone", AppendName(), 0757);
    WriteHook(kFolder + "group", AppendName(), 0775);
    WriteHook(kFolder + "foreign", AppendName());
    ASSERT_EQ(::chown((kFolder + "foreign").c_str(), 65534, 65534), 0);
    WriteHook(kFolder + "note", AppendName(), 0644);
    WriteHook(kFolder + "folder/inner", AppendName());
    ASSERT_EQ(::symlink("good", (kFolder + "link").c_str()), 0);
    WriteHook(kFolder + "good", AppendName());
    const SyslogSpy log;
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(ReadFile(kOut), "good\n");
    const auto skipped = [](const std::string& name, const std::string& why) {
        return "Hook [" + kFolder + name + "] is skipped: " + why;
    };
    EXPECT_THAT(log.Messages(), UnorderedElementsAre(skipped("anyone", "it is not root's alone"),
                                                     skipped("group", "it is not root's alone"),
                                                     skipped("foreign", "it is not root's alone"),
                                                     skipped("link", "it is no regular file")));
}

TEST(Hooks, OfAFolderThatOthersMayWriteAreSkipped) {
    WriteHook(kFolder + "good", AppendName());
    for (const std::string folder : {"", "/net", "/net/demo"}) {
        const std::string path = "/usr/vexo/hooks" + folder;
        ASSERT_EQ(::chmod(path.c_str(), 0777), 0);
        const SyslogSpy log;
        EXPECT_EQ(RunHooks("net", "demo", {}), 0);
        EXPECT_THAT(log.Messages(),
                    ElementsAre("Hook folder [" + path + "] is skipped: it is not root's alone"));
        ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    }
    EXPECT_EQ(ReadFile(kOut), "");
}

TEST(Hooks, ThatFailAreToldAndDoNotStopTheOthers) {
    WriteHook(kFolder + "1", "exit 3");
    WriteHook(kFolder + "2", "kill -SEGV $$");
    vexotest::WriteFile(kFolder + "3", "no program\n");
    ASSERT_EQ(::chmod((kFolder + "3").c_str(), 0755), 0);
    WriteHook(kFolder + "4", AppendName());
    const SyslogSpy log;
    EXPECT_EQ(RunHooks("net", "demo", {}), -1);
    EXPECT_EQ(ReadFile(kOut), "4\n");
    EXPECT_THAT(log.Messages(),
                ElementsAre("Hook [" + kFolder + "1] failed with status 3",
                            "Hook [" + kFolder + "2] was ended by signal 11",
                            "Hook [" + kFolder + "3] cannot be started: Exec format error"));
}

TEST(Hooks, ThatTakeTooLongAreKilledWithTheirGroup) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    WriteHook(kFolder + "1", "sleep 1000 & echo $! > " + kOut + "; wait");
    WriteHook(kFolder + "2", AppendName());
    const SyslogSpy log;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(RunHooks("net", "demo", {}, 300ms), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
    EXPECT_THAT(log.Messages(), ElementsAre("Hook [" + kFolder + "1] was killed after 300 ms"));
    const std::string out = ReadFile(kOut);
    EXPECT_THAT(out, testing::EndsWith("2\n"));
    int status = 0;
    const pid_t sleeper = std::stoi(out);
    ASSERT_EQ(::waitpid(sleeper, &status, 0), sleeper);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

TEST(Hooks, LeaveNothingBehind) {
    WriteHook(kFolder + "1", "exit 0");
    const int before = vexotest::OpenDescriptors();
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(vexotest::OpenDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST(Hooks, NeedAFolderNameAndSoundKeys) {
    WriteHook(kFolder + "1", AppendName());
    EXPECT_EQ(RunHooks("net", "absent", {}), 0);
    for (const std::string name : {"", ".", "..", "demo/", "../net/demo"}) {
        EXPECT_EQ(RunHooks("net", name, {}), -1) << name;
    }
    for (const std::string key : {"", "1A", "A=B", "A B", "A\n"}) {
        EXPECT_EQ(RunHooks("net", "demo", {{key, "value"}}), -1) << key;
    }
    EXPECT_EQ(RunHooks("net", "demo", {{"A", std::string("b\0c", 3)}}), -1);
    EXPECT_EQ(ReadFile(kOut), "");
}

TEST(ChangeHooks, TellWhatChanges) {
    const std::string show = "tr '\\0' '\\n' < /proc/$$/environ | grep -v ^PATH >> " + kOut;
    WriteHook("/usr/vexo/hooks/net/gateway_config_change/show", show);
    WriteHook("/usr/vexo/hooks/net/dns_config_change/show", show);
    EXPECT_EQ(VEXONetGatewayConfigChangeHook(HOOK_STAGE_BEFORE, "ipv4", "eth0", "", "192.0.2.1"),
              0);
    EXPECT_EQ(ReadFile(kOut),
              "IFNAME=eth0\nNEW_GATEWAY=192.0.2.1\nOLD_GATEWAY=\nPROTOCOL=ipv4\nSTAGE=before\n");
    ::unlink(kOut.c_str());

    vexobase::UniqueHandle<VLIBSZLIST, VLIBCSzListFree> servers(VLIBCSzListAlloc(4));
    VLIBCSzListPush(servers.Address(), "192.0.2.53");
    VLIBCSzListPush(servers.Address(), "2001:db8::53");
    EXPECT_EQ(VEXONetDnsConfigChangeHook(HOOK_STAGE_AFTER, "eth0", servers.Get()), 0);
    EXPECT_EQ(ReadFile(kOut), "DNS=192.0.2.53 2001:db8::53\nIFNAME=eth0\nSTAGE=after\n");
    ::unlink(kOut.c_str());

    EXPECT_EQ(VEXONetDnsConfigChangeHook(6, "eth0", nullptr), -1);
    EXPECT_EQ(ReadFile(kOut), "");
    WriteHook("/usr/vexo/hooks/net/dns_config_change/fail", "exit 1");
    EXPECT_EQ(VEXONetDnsConfigChangeHook(HOOK_STAGE_AFTER, nullptr, nullptr), -1);
    EXPECT_EQ(ReadFile(kOut), "DNS=\nIFNAME=\nSTAGE=after\n");
}

}  // namespace
