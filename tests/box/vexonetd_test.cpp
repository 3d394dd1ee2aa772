// The daemon as its supervisor sees it: start, refusals, messages, signals, the end.

#include <gmock/gmock.h>

#include <csignal>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kPidFile[] = "/var/run/vexonetd.pid";

TEST(VexonetdCommandLine, IsAnsweredWithoutServing) {
    EXPECT_THAT(vexotest::Run({DaemonProgram(), "--help"}).out, HasSubstr("--foreground"));
    EXPECT_THAT(vexotest::Run({DaemonProgram(), "--version"}).out, StartsWith("vexonetd "));
    for (const char* wrong : {"--background", "surplus"}) {
        const Outcome outcome = vexotest::Run({DaemonProgram(), wrong});
        EXPECT_EQ(outcome.status, 2) << wrong;
        EXPECT_THAT(outcome.err, HasSubstr(wrong));
    }
}

TEST(VexonetdStart, WithoutABusSaysWhatToDo) {
    const Outcome outcome =
        vexotest::Run({DaemonProgram()}, {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/nowhere"}});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("unix:path=/run/nowhere; does that bus run"));
    EXPECT_THAT(ReadFile(kPidFile), IsEmpty()) << "nobody may be taken for a running daemon";
}

TEST(VexonetdStart, ASecondDaemonGivesWayToTheFirst) {
    WriteFile(kPidFile, "a longer text of a former life\n");
    Appliance appliance;
    appliance.StartDaemon();
    const std::string first = std::to_string(appliance.Daemon().Pid());
    const Outcome second = vexotest::Run({DaemonProgram()});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err, "vexonetd: already running as pid " + first + "\n");
    EXPECT_EQ(ReadFile(kPidFile), first + "\n");

    // Without its file the first one still owns the name on the bus.
    Must("rm /var/run/vexonetd.pid");
    const Outcome third = vexotest::Run({DaemonProgram()});
    EXPECT_EQ(third.status, 1);
    EXPECT_THAT(third.err, HasSubstr("cannot own the name com.vexo.network"));
}

TEST(VexonetdEnd, ASignalEndsItCleanlyAndALostBusWithAFailure) {
    Appliance appliance;
    appliance.StartDaemon();
    EXPECT_EQ(appliance.StopDaemon(SIGINT), 0) << appliance.Log();
    EXPECT_EQ(ReadFile(kPidFile), "");
    appliance.StartDaemon();
    appliance.StopBus();
    EXPECT_EQ(appliance.Daemon().Wait(), 1);
    EXPECT_THAT(appliance.Log(), HasSubstr("the bus unix:path=/run/vexonet/bus went away"));
    EXPECT_EQ(ReadFile(kPidFile), "");
}

}  // namespace
}  // namespace vexotest
