// Hooks as the platform runs them: which, with what, for how long, and what is told of them.

#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <vexo/change_hook.h>
#include <vexo/hook_limits.h>
#include <vexobase/hook_folder.h>
#include <vexobase/unique_fd.h>
#include <vexonetsdk/sdk_s.h>
#include <vlib/plugin.h>

#include "facts/hook_reports.h"
#include "support/appliance.h"
#include "support/syslog_spy.h"
#include "vexo/hooks/hook_end.h"
#include "vexo/hooks/hook_runner.h"

namespace {

namespace fs = std::filesystem;
using namespace testing;
using vexonetsdk::sdk_s::VLIBPluginAction_S;
using vexoplatform::RunHooks;
using namespace vexotest;
using namespace std::chrono_literals;

const std::string kFolder = "/usr/vexo/hooks/net/demo/";
const std::string kOut = "/tmp/hook-out";
const std::string kAppendName = "echo ${0##*/} >> " + kOut;
const std::string kShow = "tr '\\0' '\\n' < /proc/$$/environ > " + kOut;

class Hooks : public testing::Test {
  protected:
    SyslogSpy log;
};
using HookLimits = Hooks;
using PluginSession = Hooks;

TEST_F(Hooks, RunInByteOrderUnlessNotRootsAlone) {
    for (const std::string name :
         {"a", "B", "10-x", "2-x", ".hidden", "foreign", "folder/inner", "anyone", "group"}) {
        WriteScript(kFolder + name, kAppendName);
    }
    fs::permissions(kFolder + "anyone", fs::perms{0757});
    fs::permissions(kFolder + "group", fs::perms{0775});
    Must("chown nobody " + kFolder + "foreign");
    fs::create_symlink("a", kFolder + "link");
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(ReadFile(kOut), ".hidden\n10-x\n2-x\nB\na\n");
    const std::string hook = "Hook [" + kFolder;
    EXPECT_THAT(log.Messages(), ElementsAre(hook + "anyone] is skipped: it is not root's alone",
                                            hook + "foreign] is skipped: it is not root's alone",
                                            hook + "group] is skipped: it is not root's alone",
                                            hook + "link] is skipped: it is no regular file"));
}

TEST_F(Hooks, RunOnlyWhereEveryFolderAboveIsRootsAlone) {
    WriteScript(kFolder + "a", kAppendName);
    const auto expectSkipped = [this](const std::string& folder, const std::string& why) {
        EXPECT_EQ(RunHooks("net", "demo", {}), 0);
        EXPECT_EQ(log.Messages().back(), "Hook folder [" + folder + "] is skipped: " + why);
        EXPECT_EQ(ReadFile(kOut), "") << folder;
    };
    for (const std::string path : {"/", "/usr", "/usr/vexo", "/usr/vexo/hooks",
                                   "/usr/vexo/hooks/net", "/usr/vexo/hooks/net/demo"}) {
        ASSERT_EQ(::chmod(path.c_str(), 0777), 0);
        expectSkipped(path, "it is not root's alone");
        ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
        ASSERT_EQ(::chown(path.c_str(), 65534, 0), 0);
        expectSkipped(path, "it is not root's alone");
        ASSERT_EQ(::chown(path.c_str(), 0, 0), 0);
    }
    for (const std::string path : {"/usr/vexo", "/usr/vexo/hooks/net"}) {
        Must("mv " + path + " /opt/moved");
        Must("ln -s /opt/moved " + path);
        expectSkipped(path, "it is a link or no folder");
        Must("rm " + path);
        Must("mv /opt/moved " + path);
    }
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(ReadFile(kOut), "a\n");
}

TEST_F(Hooks, AreLookedAtAgainAfterTheOnesBefore) {
    WriteScript(kFolder + "1", "ln -sf /bin/false " + kFolder + "2\n" + kAppendName);
    WriteScript(kFolder + "2", kAppendName);
    WriteScript(kFolder + "3", "chmod 777 /usr/vexo\n" + kAppendName);
    WriteScript(kFolder + "4", kAppendName);
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(ReadFile(kOut), "1\n3\n");
    EXPECT_THAT(log.Messages(),
                ElementsAre("Hook [" + kFolder + "2] is skipped: it is no regular file",
                            "Hook folder [/usr/vexo] is skipped: it is not root's alone"));
}

/// The next report of root's that waits.
std::string NextReport(const vexobase::UniqueFd& reports) {
    std::string text;
    for (pollfd event{reports.Get(), POLLIN, 0}; text.empty() && ::poll(&event, 1, 0) == 1;) {
        text = vexonetctl::TakeHookReport(reports).value_or("");
    }
    return text;
}

void ExpectNobodyIsHeard() {
    const pid_t nobody = ::fork();
    if (nobody == 0) {
        const bool isNobody = ::setresuid(65534, 65534, 65534) == 0;
        vexoplatform::SendHookReport("net/demo", "/tmp/forged", {{"FORGED", "yes"}}, {});
        ::_exit(isNobody && !vexonetctl::OpenHookReports() ? errno : 0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(nobody, &status, 0), nobody);
    EXPECT_EQ(WEXITSTATUS(status), EPERM) << "only root may listen";
}

TEST_F(Hooks, ThatFailAreToldAndDoNotStopTheOthers) {
    const std::string kLeaveGroup = "'setpgrp(0, getpgrp(getppid())); sleep 1000'";
    ::setpgid(0, 0);  // a group that the hook can see and join
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const vexobase::UniqueFd reports = vexonetctl::OpenHookReports();
    ExpectNobodyIsHeard();
    const int before = OpenDescriptors();
    WriteScript(kFolder + "1", "exit 3");
    WriteScript(kFolder + "2", "kill -SEGV $$");
    WriteScript(kFolder + "3", "sleep 1000 & echo $! > " + kOut + "; exec perl -e " + kLeaveGroup);
    WriteScript(kFolder + "4", kAppendName);
    // Control characters take most room in a report.
    const std::string full(4000, '\x01');
    EXPECT_EQ(RunHooks("net", "demo", {{"A", full}, {"B", std::string(9999, '\xff')}}, 1s), -1);
    for (const char* end : {"\"status\":3", "\"signal\":11", "\"killed\":true"}) {
        const std::string report = NextReport(reports);
        EXPECT_THAT(report, AllOf(HasSubstr(end), HasSubstr("\"truncated\":true")));
    }
    EXPECT_THAT(log.Messages(), ElementsAre("Hook [" + kFolder + "1] failed with status 3",
                                            "Hook [" + kFolder + "2] was ended by signal 11",
                                            "Hook [" + kFolder + "3] was killed after 1000 ms"));
    EXPECT_THAT(ReadFile(kOut), EndsWith("\n4\n"));
    int status = 0;
    const pid_t sleeper = std::stoi(ReadFile(kOut));
    ASSERT_EQ(::waitpid(sleeper, &status, 0), sleeper);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "its group is killed too";
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(HookLimits, AllHooksOfARequestShareItsTime) {
    WriteScript(kFolder + "1", "exec sleep 1000");
    WriteScript(kFolder + "2", kAppendName);
    WriteScript("/usr/vexo/hooks/net/quick/1", kAppendName);
    const auto runQuick = [] { EXPECT_EQ(RunHooks("net", "quick", {}), 0); };
    VEXOHookRequestBegin(100);
    VEXOHookRequestBegin(1'000'000);
    EXPECT_EQ(RunHooks("net", "demo", {}), -1);
    VEXOHookRequestEnd();
    EXPECT_EQ(RunHooks("net", "demo", {{"STAGE", "after"}}), -1);
    std::thread(runQuick).join();
    VEXOHookRequestEnd();
    runQuick();
    VEXOHookRequestBegin(1'000'000);
    runQuick();
    VEXOHookRequestEnd();
    EXPECT_EQ(ReadFile(kOut), "1\n1\n1\n");
    const std::string why = ", as all hooks of a request have 100 ms together";
    EXPECT_THAT(log.Messages(),
                ElementsAre(AllOf(StartsWith("Hook [" + kFolder + "1] was killed after 1"),
                                  EndsWith(" ms" + why)),
                            "1 hooks of [net/demo] are left out" + why,
                            "2 hooks of [net/demo] of stage after are left out" + why));
}

std::atomic<int> signs = 0;

TEST_F(HookLimits, WhoeverWaitsForAHookOfARequestTellsOfProgress) {
    ASSERT_EQ(::mkfifo("/tmp/gate", 0600), 0);
    WriteScript(kFolder + "1", "read line < /tmp/gate");
    WriteScript(kFolder + "2", "sleep 0.1");
    VEXOHookWatch(
        [] {
            if (++signs == 5) {
                std::ofstream("/tmp/gate") << "enough\n" << std::flush;
            }
        },
        10);
    VEXOHookRequestBegin(60'000);
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    VEXOHookRequestEnd();
    EXPECT_GE(signs, 5);
    signs = 10;
    fs::remove(kFolder + "1");
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(signs, 10) << "no request, and nobody's loop is held up";
}

TEST_F(HookLimits, AStopKillsThoseThatRunAndBeginsNone) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    WriteScript(kFolder + "1", "sleep 1000 & echo $! > " + kOut + "; exec sleep 1000");
    WriteScript(kFolder + "2", "touch /tmp/begun");
    const int before = OpenDescriptors();
    std::thread hooks([] { EXPECT_EQ(RunHooks("net", "demo", {}), -1); });
    EXPECT_TRUE(Eventually([] { return ReadFile(kOut).ends_with('\n'); }));
    VEXOHookStop(500);
    VEXOHookStop(1'000'000);
    hooks.join();
    EXPECT_EQ(VEXONetGatewayConfigChangeHook(5, "ipv4", "eth0", "", ""), 0) << "nobody to be told";
    EXPECT_EQ(RunHooks("net", "demo", {{"STAGE", "after"}}), -1);
    EXPECT_FALSE(fs::exists("/tmp/begun"));
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(AllOf(StartsWith("Hook [" + kFolder + "1] was killed after "),
                          EndsWith(" ms, as this process ends")),
                    "1 hooks of [net/demo] are left out, as this process ends",
                    "2 hooks of [net/demo] of stage after are left out, as this process ends"));
    const pid_t sleeper = std::stoi(ReadFile(kOut));
    EXPECT_EQ(::waitpid(sleeper, nullptr, 0), sleeper) << "its group is killed too";
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(Hooks, GetTheirKeysAndNothingElseOfTheDaemon) {
    WriteScript(kFolder + "show", kShow);
    EXPECT_EQ(RunHooks("net", "demo", {{"IFNAME", "eth0"}, {"DNS", "1.1.1.1\n;rm $(x)"}}), 0);
    EXPECT_EQ(ReadFile(kOut),
              "DNS=1.1.1.1\n;rm $(x)\nIFNAME=eth0\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\n");
    EXPECT_EQ(RunHooks("net", "demo", {{"DNS", std::string(1 << 20, 'x')}}), -1);
    EXPECT_EQ(log.Messages().back(),
              "Hook [" + kFolder + "show] cannot be started: Argument list too long");
    const std::string most = "DNS=1," + std::string((1 << 17) - 7, 'x');
    EXPECT_EQ(RunHooks("net", "demo", {{"DNS", most.substr(4) + ",2"}}), 0);
    EXPECT_TRUE(ReadFile(kOut) == most + "\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\n");
    EXPECT_EQ(log.Messages().back(), "Hooks of [net/demo] get only the beginning of DNS");
    fs::remove(kOut);
    for (const std::string name : {"", "..", "demo/"}) {
        EXPECT_EQ(RunHooks("net", name, {}), -1) << name;
    }
    for (const std::string key : {"", "1A", "A=B", "A B", "A\n"}) {
        EXPECT_EQ(RunHooks("net", "demo", {{key, "value"}}), -1) << key;
    }
    EXPECT_EQ(RunHooks("net", "demo", {{"A", std::string("b\0c", 3)}}), -1);
    EXPECT_FALSE(fs::exists(kOut));
}

TEST_F(Hooks, TellTheNameServersThatChange) {
    WriteScript("/usr/vexo/hooks/net/dns_config_change/show", kShow + "; exit 1");
    char first[] = "192.0.2.53", second[] = "2001:db8::53";
    char* servers[] = {first, second};
    const VLIBSZLIST list{2, 2, servers};
    EXPECT_EQ(VEXONetDnsConfigChangeHook(5, "eth0", &list), -1) << "the hook failed";
    EXPECT_EQ(ReadFile(kOut),
              "DNS=192.0.2.53 2001:db8::53\nIFNAME=eth0\n"
              "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nSTAGE=after\n");
}

TEST_F(PluginSession, RunsWithTheLastArgumentsAndTellsOfFailures) {
    VLIBPLUGIN* session = VLIBPluginSDKInit("net", "demo");
    VLIBPluginSetArg(session, "A", "former");
    VLIBPluginSetArg(session, "A", "x;y $(z)");
    VLIBPluginSetBlocking(session, 1);
    fs::create_directories(kFolder);
    EXPECT_FALSE(vexobase::MayHaveHooks("net", "demo"));
    EXPECT_EQ(VLIBPluginAction_S(session), 0) << "nobody listens";
    WriteScript(kFolder + "show", "echo \"$A $B\" >> " + kOut + "; exit $B");
    EXPECT_TRUE(vexobase::MayHaveHooks("net", "demo"));
    for (const auto& [status, result] : {std::pair{"0", 0}, {"7", -1}}) {
        VLIBPluginSetArg(session, "B", status);
        EXPECT_EQ(VLIBPluginAction_S(session), result);
    }
    EXPECT_EQ(ReadFile(kOut), "x;y $(z) 0\nx;y $(z) 7\n");
    EXPECT_EQ(VLIBPluginSetArg(session, "A=B", "value"), -1);
    EXPECT_EQ(VLIBPluginSDKInit("net", ".."), nullptr);
    VLIBPluginExit(session);
}

TEST_F(PluginSession, GoesOnWithoutItsCaller) {
    ASSERT_EQ(::mkfifo("/tmp/gate", 0600), 0);
    WriteScript(kFolder + "show", "read line < /tmp/gate; echo $A $line >> " + kOut + "; exit 3");
    VLIBPLUGIN* session = VLIBPluginSDKInit("net", "demo");
    VLIBPluginSetArg(session, "A", "kept");
    EXPECT_EQ(VLIBPluginAction_S(session), 0);
    VLIBPluginSetArg(session, "A", "changed");
    VLIBPluginExit(session);
    std::ofstream("/tmp/gate") << "late\n" << std::flush;
    EXPECT_TRUE(Eventually([&] { return !log.Messages().empty(); }));
    EXPECT_EQ(log.Messages()[0], "Hook [/usr/vexo/hooks/net/demo/show] failed with status 3");
    EXPECT_EQ(ReadFile(kOut), "kept late\n");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

}  // namespace
