// Announcements: plug-in sessions, hook objects and the hooks of the link.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <vexonetsdk/base_hook.h>
#include <vexonetsdk/sdk_s.h>
#include <vlib/plugin.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"

namespace {

using vexonetsdk::sdk_s::VLIBPluginAction_S;
using vexotest::ReadFile;

const std::string kOut = "/tmp/out";

/// A hook that writes its arguments, then does `further`.
void WriteHook(const std::string& event, const std::string& further = "") {
    vexotest::WriteScript("/usr/vexo/hooks/net/" + event + "/show",
                          "echo \"$A $B $IFNAME\" >> " + kOut + "\n" + further);
}

TEST(Plugin, RunsWithTheLastArgumentsAndTellsOfFailures) {
    VLIBPLUGIN* session = VLIBPluginSDKInit("net", "demo");
    VLIBPluginSetArg(session, "A", "former");
    VLIBPluginSetArg(session, "A", "x;y $(z)");
    VLIBPluginSetBlocking(session, 1);
    EXPECT_EQ(VLIBPluginIsHeard("net", "demo"), 0);
    std::filesystem::create_directories("/usr/vexo/hooks/net/demo");
    EXPECT_EQ(VLIBPluginIsHeard("net", "demo"), 0);
    EXPECT_EQ(VLIBPluginAction_S(session), 0) << "nobody listens";
    WriteHook("demo", "exit $B");
    EXPECT_EQ(VLIBPluginIsHeard("net", "demo"), 1);
    for (const auto& [status, result] : {std::pair{"0", 0}, {"7", -1}}) {
        VLIBPluginSetArg(session, "B", status);
        EXPECT_EQ(VLIBPluginAction_S(session), result);
    }
    EXPECT_EQ(ReadFile(kOut), "x;y $(z) 0 \nx;y $(z) 7 \n");
    EXPECT_EQ(VLIBPluginSetArg(session, "A=B", "value"), -1);
    EXPECT_EQ(VLIBPluginSDKInit("net", ".."), nullptr);
    VLIBPluginExit(session);
}

TEST(Plugin, GoesOnWithoutItsCaller) {
    ASSERT_EQ(::mkfifo("/tmp/gate", 0600), 0);
    WriteHook("demo", "read line < /tmp/gate; echo $A $line >> " + kOut + "; exit 3");
    const vexotest::SyslogSpy log;
    VLIBPLUGIN* session = VLIBPluginSDKInit("net", "demo");
    VLIBPluginSetArg(session, "A", "kept");
    EXPECT_EQ(VLIBPluginAction_S(session), 0);
    VLIBPluginSetArg(session, "A", "changed");
    VLIBPluginExit(session);
    std::ofstream("/tmp/gate") << "late\n" << std::flush;
    EXPECT_TRUE(vexotest::Eventually([&] { return !log.Messages().empty(); }));
    EXPECT_EQ(log.Messages()[0], "Hook [/usr/vexo/hooks/net/demo/show] failed with status 3");
    EXPECT_EQ(ReadFile(kOut), "kept  \nkept late\n");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST(Hooks, AreRunWhenTheyAreValid) {
    struct DemoHook : vexonetsdk::hook::BaseHook {
        DemoHook() : BaseHook("net", "demo") {}
        bool IsValid() const override { return !GetEnv("A").empty(); }
    } hook;
    WriteHook("demo");
    EXPECT_EQ(hook.ExecHook(), -1);
    EXPECT_EQ(ReadFile(kOut), "");
}

}  // namespace
