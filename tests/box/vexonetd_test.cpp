// The daemon as its supervisor sees it: start, refusals, messages, signals, the end.

#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

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

TEST(VexonetdStart, WithoutAThreadEndsWithAMessage) {
    Appliance appliance;
    // No stack of such a size can be had.
    const Outcome outcome = vexotest::Run({"prlimit", "--stack=100000000000000", DaemonProgram()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("Resource temporarily unavailable"));
    EXPECT_THAT(ReadFile(kPidFile), IsEmpty());
}

TEST(VexonetdEnd, ASignalEndsItCleanlyAndALostBusWithAFailure) {
    Appliance appliance;
    for (const int signal : {SIGINT, SIGHUP, SIGTERM}) {
        appliance.StartDaemon();
        EXPECT_EQ(appliance.StopDaemon(signal), 0) << appliance.Log();
        EXPECT_EQ(ReadFile(kPidFile), "");
    }
    appliance.StartDaemon();
    appliance.StopBus();
    EXPECT_EQ(appliance.Daemon().Wait(), 1);
    EXPECT_THAT(appliance.Log(), HasSubstr("the bus unix:path=/run/vexonet/bus went away"));
    EXPECT_EQ(ReadFile(kPidFile), "");
}

TEST(VexonetdEnd, MayBeAskedForBeforeTheStartIsOver) {
    Appliance appliance;
    appliance.Bus().Signal(SIGSTOP);
    const TempFolder folder;
    Process daemon({DaemonProgram(), "--foreground"}, folder / "log");
    const auto threads = [&] { return "/proc/" + std::to_string(daemon.Pid()) + "/status"; };
    // The scanners are at work, the bus does not answer.
    ASSERT_TRUE(Eventually([&] { return Count(ReadFile(threads()), "Threads:\t5") == 1; }));
    daemon.Signal(SIGTERM);
    daemon.Signal(SIGHUP);
    appliance.Bus().Signal(SIGCONT);
    EXPECT_EQ(daemon.Wait(), 0);
    EXPECT_THAT(ReadFile(folder / "log"), HasSubstr("Ending on signal"));
    EXPECT_EQ(ReadFile(kPidFile), "");
}

/// Hooks that hang, three in one folder.
class HangingHooks : public Test {
  protected:
    static void Hang(const std::string& event) {
        for (const char* name : {"1", "2", "3"}) {
            WriteScript("/usr/vexo/hooks/net/" + event + "/" + name,
                        "echo $0 >> /tmp/begun\nread line < /tmp/gate");
        }
    }

    /// A request whose hooks hang, on a thread that waits for the answer.
    std::jthread Ask() {
        Hang("gateway_config_change");
        return std::jthread([this] {
            appliance.Call("AddGatewayData", R"({"type": "GTYPE_V4", "ifname": "wan0",
                                                 "priority": 0, "gateway": "192.0.2.77"})");
        });
    }

    static bool HasOneBegun() { return Count(ReadFile("/tmp/begun"), "\n") == 1; }

    void SetUp() override { Must("mkfifo /tmp/gate"); }

    Uplink wan0 = MakeUplink(0);
    Appliance appliance;
};

TEST_F(HangingHooks, OfARequestDoNotHoldUpTheEnd) {
    appliance.StartDaemon();
    const std::jthread request = Ask();
    ASSERT_TRUE(Eventually(HasOneBegun));
    appliance.Daemon().Signal(SIGTERM);
    appliance.Daemon().Signal(SIGTERM);
    EXPECT_EQ(appliance.Daemon().Wait(), 0);
    EXPECT_TRUE(HasOneBegun()) << "no further one";
    const std::string leftOut = " hooks of [net/gateway_config_change]";
    EXPECT_THAT(appliance.Log(),
                AllOf(HasSubstr("2" + leftOut + " of stage before are left out, as this process"),
                      HasSubstr("3" + leftOut + " of stage after are left out, as this process")));
    EXPECT_EQ(ReadFile(kPidFile), "");
    EXPECT_THAT(ReadFile("/etc/iproute2/config/gateway_database"), HasSubstr("192.0.2.77"))
        << "the change itself is made";
}

TEST_F(HangingHooks, OfAnEventDoNotHoldUpTheEnd) {
    Hang("ipv4_change");
    appliance.StartDaemon();
    Must("ip address add 192.0.2.99/24 dev wan0");
    ASSERT_TRUE(Eventually(HasOneBegun));
    EXPECT_EQ(appliance.StopDaemon(), 0);
    EXPECT_TRUE(HasOneBegun());
}

TEST_F(HangingHooks, OfARequestAreTimeThatTheSupervisorHearsOf) {
    ::setenv("WATCHDOG_USEC", "200000", 1);
    appliance.StartDaemon();
    const std::jthread request = Ask();
    ASSERT_TRUE(Eventually(HasOneBegun));
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(appliance.IsTold("WATCHDOG=1")) << "the loop does not turn";
    }
    EXPECT_TRUE(HasOneBegun());
    EXPECT_EQ(appliance.StopDaemon(), 0);
}

TEST(VexonetdEnd, ThatHangsInARequestIsCutShort) {
    Appliance appliance;
    const Uplink wan0 = MakeUplink(0);
    Must("ip route add default via 192.0.2.1");
    appliance.StartDaemon();
    Must("rm /sbin/ip");
    WriteScript("/sbin/ip", "touch /tmp/hanging\nexec sleep 1000");
    const std::jthread request([&appliance] {
        appliance.Call("AddGatewayData", R"({"type": "GTYPE_V4", "ifname": "wan0", "priority": 0,
                                             "gateway": "192.0.2.77"})");
    });
    ASSERT_TRUE(Eventually([] { return ::access("/tmp/hanging", F_OK) == 0; }));
    appliance.Daemon().Signal(SIGTERM);
    EXPECT_EQ(appliance.Daemon().Wait(std::chrono::minutes(1)), 1);
    EXPECT_THAT(appliance.Log(), HasSubstr("The end hangs in a request or a module"));
}

/// Sends until the queue takes no more.
void Fill(const std::string& path) {
    const vexobase::UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    while (::sendto(fd.Get(), "x", 1, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&name),
                    sizeof name)
           == 1) {
    }
    EXPECT_EQ(errno, EAGAIN);
}

TEST(VexonetdSupervision, ASupervisorWhoDoesNotListenStopsNothing) {
    Appliance appliance;
    Fill(appliance.NotifySocket());
    const TempFolder folder;
    Process daemon({DaemonProgram(), "--foreground"}, folder / "log",
                   {{"NOTIFY_SOCKET", appliance.NotifySocket()}, {"WATCHDOG_USEC", "20000"}});
    EXPECT_TRUE(Eventually([&] { return appliance.Call("RefreshGateway", "{}") == 0; }))
        << ReadFile(folder / "log");
    EXPECT_TRUE(appliance.IsTold("READY=1")) << "once it listens";
    daemon.Signal(SIGTERM);
    EXPECT_EQ(daemon.Wait(), 0);
}

}  // namespace
}  // namespace vexotest
