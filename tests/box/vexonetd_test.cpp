// The daemon as its supervisor sees it: start, refusals, messages, signals, the end.

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kPidFile[] = "/var/run/vexonetd.pid";

TEST(VexonetdCommandLine, IsAnsweredWithoutServing) {
    EXPECT_THAT(vexotest::Run({DaemonProgram(), "--help"}).out, HasSubstr("--foreground"));
    EXPECT_THAT(vexotest::Run({DaemonProgram(), "--version"}).out,
                testing::StartsWith("vexonetd "));
    for (const char* wrong : {"--background", "surplus"}) {
        const Outcome outcome = vexotest::Run({DaemonProgram(), wrong});
        EXPECT_EQ(outcome.status, 2) << wrong;
        EXPECT_THAT(outcome.err, HasSubstr(wrong));
    }
    EXPECT_THAT(ReadFile(kPidFile), IsEmpty());
}

TEST(VexonetdStart, WithoutABusSaysWhatToDo) {
    const Outcome outcome =
        vexotest::Run({DaemonProgram()}, {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/nowhere"}});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("unix:path=/run/nowhere; does that bus run"));
    EXPECT_THAT(outcome.err, HasSubstr("DBUS_SESSION_BUS_ADDRESS"));
    EXPECT_THAT(ReadFile(kPidFile), IsEmpty()) << "nobody may be taken for a running daemon";
}

TEST(VexonetdStart, ServesOnTheAppliancesBusWhenNoneIsNamed) {
    Appliance appliance;
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    appliance.StartDaemon();
    EXPECT_EQ(appliance.StopDaemon(), 0);
}

TEST(VexonetdStart, ASecondDaemonNamesTheFirst) {
    Appliance appliance;
    appliance.StartDaemon();
    const std::string first = std::to_string(appliance.Daemon().Pid());
    const Outcome second = vexotest::Run({DaemonProgram()});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err, "vexonetd: already running as pid " + first + "\n");
    EXPECT_EQ(ReadFile(kPidFile), first + "\n");
}

TEST(VexonetdStart, ANameThatHasAnOwnerIsAFailure) {
    Appliance appliance;
    appliance.StartDaemon();
    // Without its file the first daemon no longer keeps a second one from starting.
    Must("rm /var/run/vexonetd.pid");
    const Outcome second = vexotest::Run({DaemonProgram()});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, HasSubstr("cannot own the name com.vexo.network"));
}

TEST(VexonetdStart, LeftoversOfAKilledDaemonAreRemoved) {
    const std::string folder = "/etc/iproute2/config/";
    const std::string leftover = folder + "gateway_database.tmp.aB3xYz";
    const Arguments foreign = {folder + "mine.tmp.aB3xYz", folder + "resolv4.conf.tmp.long-name",
                               folder + "resolv4.conf"};
    for (const std::string& path : foreign) {
        WriteFile(path, "kept");
    }
    WriteFile(leftover, "half");
    Appliance appliance;
    appliance.StartDaemon();
    EXPECT_EQ(vexotest::Run({"test", "-e", leftover}).status, 1);
    for (const std::string& path : foreign) {
        EXPECT_EQ(ReadFile(path), "kept") << path;
    }
}

class VexonetdEnd : public testing::TestWithParam<int> {};

TEST_P(VexonetdEnd, BySignalIsCleanAndLeavesRoomForTheNext) {
    Appliance appliance;
    for (int run = 0; run < 2; ++run) {
        appliance.StartDaemon();
        EXPECT_EQ(appliance.StopDaemon(GetParam()), 0) << appliance.Log();
        EXPECT_EQ(ReadFile(kPidFile), "");
        EXPECT_EQ(appliance.Call("RefreshGateway", R"({"type": "ALL"})"), -1);
    }
}

INSTANTIATE_TEST_SUITE_P(Signals, VexonetdEnd, testing::Values(SIGTERM, SIGINT));

TEST(VexonetdEnd, ALostBusEndsItWithAFailure) {
    Appliance appliance;
    appliance.StartDaemon();
    appliance.StopBus();
    EXPECT_EQ(appliance.Daemon().Wait(), 1);
    EXPECT_THAT(appliance.Log(), HasSubstr("the bus unix:path=/run/vexonet/bus went away"));
    EXPECT_EQ(ReadFile(kPidFile), "");
}

/// What a supervisor hears on its socket.
class Supervisor {
  public:
    Supervisor() : fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        std::strncpy(name.sun_path, path.c_str(), sizeof name.sun_path - 1);
        EXPECT_EQ(::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    }

    std::string Next() {
        pollfd ready{fd.Get(), POLLIN, 0};
        std::array<char, 256> text{};
        if (::poll(&ready, 1, 20'000) != 1
            || ::recv(fd.Get(), text.data(), text.size() - 1, 0) < 0) {
            return "nothing";
        }
        return text.data();
    }

    const std::string path = "/tmp/supervisor";

  private:
    vexobase::UniqueFd fd;
};

TEST(VexonetdSupervision, IsToldOfReadinessLifeAndEnd) {
    Appliance appliance;
    Supervisor supervisor;
    Process daemon({DaemonProgram()}, "/tmp/daemon.log",
                   {{"NOTIFY_SOCKET", supervisor.path}, {"WATCHDOG_USEC", "100000"}});
    EXPECT_EQ(supervisor.Next(), "READY=1");
    EXPECT_EQ(appliance.Call("RefreshGateway", R"({"type": "GTYPE_V6"})"), 0);
    EXPECT_EQ(supervisor.Next(), "WATCHDOG=1");
    EXPECT_EQ(supervisor.Next(), "WATCHDOG=1");
    daemon.Signal(SIGTERM);
    std::string message = supervisor.Next();
    while (message == "WATCHDOG=1") {
        message = supervisor.Next();
    }
    EXPECT_EQ(message, "STOPPING=1");
    EXPECT_EQ(daemon.Wait(), 0);
}

}  // namespace
}  // namespace vexotest
