#include "support/appliance.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include <vexo/change_hook.h>
#include <vexo/dns.h>
#include <vexo/hook_report.h>
#include <vexobase/unique_fd.h>
#include <vexonetsdk/sdk_s.h>
#include <vlib/plugin.h>

#include "support/syslog_spy.h"
#include "vexo/hook_end.h"
#include "vexo/hook_runner.h"

namespace {

namespace fs = std::filesystem;
using namespace testing;
using vexonetsdk::sdk_s::VLIBPluginAction_S;
using vexoplatform::RunHooks;
using vexotest::Eventually;
using vexotest::ReadFile;
using vexotest::SyslogSpy;
using vexotest::WriteFile;
using vexotest::WriteScript;
using namespace std::chrono_literals;

constexpr char kResolv[] = "/etc/resolv.conf";
constexpr char kResolv4[] = "/etc/iproute2/config/resolv4.conf";
constexpr char kResolv6[] = "/etc/iproute2/config/resolv6.conf";

TEST(DnsUpdate, ReplacesTheServersInPlace) {
    const struct {
        const char *before, *v4, *v6, *after;
    } cases[] = {
        {"search lan\nnameserver 9.9.9.9\noptions rotate\nnameserver 8.8.8.8\n# end\n",
         "nameserver 192.0.2.1\nnameserver 192.0.2.2\n",
         "nameserver 2001:db8::1\nnameserver 192.0.2.1\n",
         "search lan\nnameserver 192.0.2.1\nnameserver 192.0.2.2\nnameserver 2001:db8::1\n"
         "options rotate\n# end\n"},
        {"nameserver\t9.9.9.9 \r\n#nameserver 9.9.9.9\nnameservers x\n nameserver 1.2.3.4\r\n",
         "junk\nnameserver \n", "nameserver\t2001:db8::1  \r\n",
         "nameserver 2001:db8::1\n#nameserver 9.9.9.9\nnameservers x\n nameserver 1.2.3.4\r\n"},
        {"search lan", "nameserver 192.0.2.1", "", "search lan\nnameserver 192.0.2.1\n"},
    };
    for (const auto& [before, v4, v6, after] : cases) {
        WriteFile(kResolv, before);
        WriteFile(kResolv4, v4);
        WriteFile(kResolv6, v6);
        EXPECT_EQ(VEXONetDNSUpdate_S(), 0);
        EXPECT_EQ(ReadFile(kResolv), after) << before;
    }
}

TEST(DnsUpdate, KeepsALinkAndSaysWhatFails) {
    fs::remove(kResolv);
    fs::create_symlink("../run/resolved/stub.conf", kResolv);
    WriteFile(kResolv4, "nameserver 192.0.2.1\n");
    const SyslogSpy log;
    EXPECT_EQ(VEXONetDNSUpdate_S(), -1) << "there is no folder for it";
    EXPECT_TRUE(log.Has("dns", "Failed to write [/etc/resolv.conf]: No such file or directory"));
    fs::create_directory("/run/resolved");
    EXPECT_EQ(VEXONetDNSUpdate_S(), 0);
    EXPECT_EQ(ReadFile("/run/resolved/stub.conf"), "nameserver 192.0.2.1\n");
    EXPECT_TRUE(fs::is_symlink(kResolv));

    fs::create_directories(kResolv6);
    EXPECT_EQ(VEXONetDNSUpdate_S(), -1) << "a server file cannot be read";
}

const std::string kFolder = "/usr/vexo/hooks/net/demo/";
const std::string kOut = "/tmp/hook-out";
const std::string kAppendName = "echo ${0##*/} >> " + kOut;
const std::string kShow = "tr '\\0' '\\n' < /proc/$$/environ > " + kOut;

TEST(Hooks, RunInByteOrderUnlessNotRootsAlone) {
    for (const std::string name :
         {"a", "B", "10-x", "2-x", ".hidden", "foreign", "folder/inner", "anyone", "group"}) {
        WriteScript(kFolder + name, kAppendName);
    }
    fs::permissions(kFolder + "anyone", fs::perms{0757});
    fs::permissions(kFolder + "group", fs::perms{0775});
    ASSERT_EQ(::chown((kFolder + "foreign").c_str(), 65534, 65534), 0);
    ASSERT_EQ(::symlink("a", (kFolder + "link").c_str()), 0);
    const SyslogSpy log;
    EXPECT_EQ(RunHooks("net", "demo", {}), 0);
    EXPECT_EQ(ReadFile(kOut), ".hidden\n10-x\n2-x\nB\na\n");
    const std::string hook = "Hook [" + kFolder;
    EXPECT_THAT(log.Messages(), ElementsAre(hook + "anyone] is skipped: it is not root's alone",
                                            hook + "foreign] is skipped: it is not root's alone",
                                            hook + "group] is skipped: it is not root's alone",
                                            hook + "link] is skipped: it is no regular file"));
    for (const std::string folder : {"", "/net", "/net/demo"}) {
        const std::string path = "/usr/vexo/hooks" + folder;
        ASSERT_TRUE(::chmod(path.c_str(), 0777) == 0 && RunHooks("net", "demo", {}) == 0);
        EXPECT_EQ(log.Messages().back(),
                  "Hook folder [" + path + "] is skipped: it is not root's alone");
        ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    }
}

/// The next report of root's that waits.
std::string NextReport(const vexobase::UniqueFd& reports) {
    char text[VEXO_HOOK_REPORT_MAX] = "";
    pollfd event{reports.Get(), POLLIN, 0};
    while (*text == '\0' && ::poll(&event, 1, 0) == 1) {
        VEXOHookReportRead(reports.Get(), text, sizeof text);
    }
    return text;
}

void ExpectNobodyIsHeard() {
    const pid_t nobody = ::fork();
    if (nobody == 0) {
        const bool isNobody = ::setresuid(65534, 65534, 65534) == 0;
        vexoplatform::SendHookReport("net/demo", "/tmp/forged", {{"FORGED", "yes"}}, {}, 1s);
        ::_exit(isNobody && VEXOHookReportOpen() < 0 ? errno : 0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(nobody, &status, 0), nobody);
    EXPECT_EQ(WEXITSTATUS(status), EPERM) << "only root may listen";
}

TEST(Hooks, ThatFailAreToldAndDoNotStopTheOthers) {
    const std::string kLeaveGroup = "'setpgrp(0, getpgrp(getppid())); sleep 1000'";
    ::setpgid(0, 0);  // a group that the hook can see and join
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const vexobase::UniqueFd reports(VEXOHookReportOpen());
    ExpectNobodyIsHeard();
    const int before = vexotest::OpenDescriptors();
    WriteScript(kFolder + "1", "exit 3");
    WriteScript(kFolder + "2", "kill -SEGV $$");
    WriteScript(kFolder + "3", "sleep 1000 & echo $! > " + kOut + "; exec perl -e " + kLeaveGroup);
    WriteScript(kFolder + "4", kAppendName);
    const SyslogSpy log;
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
    EXPECT_EQ(vexotest::OpenDescriptors(), before);
}

TEST(Hooks, GetTheirKeysAndNothingElseOfTheDaemon) {
    WriteScript(kFolder + "show", kShow);
    EXPECT_EQ(RunHooks("net", "demo", {{"IFNAME", "eth0"}, {"DNS", "1.1.1.1\n;rm $(x)"}}), 0);
    EXPECT_EQ(ReadFile(kOut),
              "DNS=1.1.1.1\n;rm $(x)\nIFNAME=eth0\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\n");
    const SyslogSpy log;
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

TEST(Hooks, TellTheNameServersThatChange) {
    WriteScript("/usr/vexo/hooks/net/dns_config_change/show", kShow + "; exit 1");
    char first[] = "192.0.2.53";
    char second[] = "2001:db8::53";
    char* servers[] = {first, second};
    const VLIBSZLIST list{2, 2, servers};
    EXPECT_EQ(VEXONetDnsConfigChangeHook(5, "eth0", &list), -1) << "the hook failed";
    EXPECT_EQ(ReadFile(kOut),
              "DNS=192.0.2.53 2001:db8::53\nIFNAME=eth0\n"
              "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nSTAGE=after\n");
}

/// A hook that writes its arguments, then does `further`.
void WriteListener(const std::string& further) {
    WriteScript(kFolder + "show", "echo \"$A $B\" >> " + kOut + "\n" + further);
}

TEST(PluginSession, RunsWithTheLastArgumentsAndTellsOfFailures) {
    VLIBPLUGIN* session = VLIBPluginSDKInit("net", "demo");
    VLIBPluginSetArg(session, "A", "former");
    VLIBPluginSetArg(session, "A", "x;y $(z)");
    VLIBPluginSetBlocking(session, 1);
    fs::create_directories(kFolder);
    EXPECT_EQ(VLIBPluginIsHeard("net", "demo"), 0);
    EXPECT_EQ(VLIBPluginAction_S(session), 0) << "nobody listens";
    WriteListener("exit $B");
    EXPECT_EQ(VLIBPluginIsHeard("net", "demo"), 1);
    for (const auto& [status, result] : {std::pair{"0", 0}, {"7", -1}}) {
        VLIBPluginSetArg(session, "B", status);
        EXPECT_EQ(VLIBPluginAction_S(session), result);
    }
    EXPECT_EQ(ReadFile(kOut), "x;y $(z) 0\nx;y $(z) 7\n");
    EXPECT_EQ(VLIBPluginSetArg(session, "A=B", "value"), -1);
    EXPECT_EQ(VLIBPluginSDKInit("net", ".."), nullptr);
    VLIBPluginExit(session);
}

TEST(PluginSession, GoesOnWithoutItsCaller) {
    ASSERT_EQ(::mkfifo("/tmp/gate", 0600), 0);
    WriteListener("read line < /tmp/gate; echo $A $line >> " + kOut + "; exit 3");
    const SyslogSpy log;
    VLIBPLUGIN* session = VLIBPluginSDKInit("net", "demo");
    VLIBPluginSetArg(session, "A", "kept");
    EXPECT_EQ(VLIBPluginAction_S(session), 0);
    VLIBPluginSetArg(session, "A", "changed");
    VLIBPluginExit(session);
    std::ofstream("/tmp/gate") << "late\n" << std::flush;
    EXPECT_TRUE(Eventually([&] { return !log.Messages().empty(); }));
    EXPECT_EQ(log.Messages()[0], "Hook [/usr/vexo/hooks/net/demo/show] failed with status 3");
    EXPECT_EQ(ReadFile(kOut), "kept \nkept late\n");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

}  // namespace
