// Jobs for a system manager whose bus hangs.

#include <gmock/gmock.h>
#include <signal.h>

#include <filesystem>

#include "support/appliance.h"
#include "support/files.h"
#include "support/syslog_spy.h"
#include "vexo/interfaces/dhcp_client.h"

namespace vexotest {
namespace {

using namespace testing;
namespace fs = std::filesystem;
using namespace vexoplatform;

TEST(UnitJobs, KeepNobodyWaitingForABusThatHangs) {
    fs::create_directories("/run/systemd/system");
    fs::create_directories("/run/dbus");
    const Process bus(Words("dbus-daemon --session --nofork --nopidfile "
                            "--address=unix:path=/run/dbus/system_bus_socket"),
                      "/tmp/bus.log");
    ASSERT_TRUE(Eventually([] { return fs::exists("/run/dbus/system_bus_socket"); }));
    bus.Signal(SIGSTOP);
    const SyslogSpy log;
    std::vector<Matcher<std::string>> failures;
    for (int i = 0; i < 63; ++i) {
        const std::string ifname = "eth" + std::to_string(i);
        EXPECT_EQ(RestartDhcpClient(ifname), 0);
        failures.push_back(StartsWith("The system manager failed to RestartUnit [dhclient4@"
                                      + ifname + ".service]: "));
    }
    EXPECT_TRUE(DhcpClientRuns("eth7")) << "it is about to";
    EXPECT_EQ(StopDhcpClient("eth7"), 0);
    failures.push_back(
        StartsWith("The system manager failed to StopUnit [dhclient4@eth7.service]: "));
    EXPECT_FALSE(DhcpClientRuns("eth7"));
    EXPECT_EQ(StartDhcp6Client("eth7", kDhcp6Addresses), -1);
    EXPECT_THAT(log.Messages(), ElementsAre("The system manager is not told to StartUnit "
                                            "[dhclient6@eth7-na.service]: too many others wait"))
        << "nobody has waited for a job to fail";

    bus.Signal(SIGCONT);
    EXPECT_TRUE(Eventually([&] { return log.Messages().size() == failures.size() + 1; }));
    auto told = log.Messages();
    told.erase(told.begin());
    EXPECT_THAT(told, ElementsAreArray(failures)) << "in their order; there is no manager";

    // The test ends while this one is under way.
    bus.Signal(SIGSTOP);
    EXPECT_EQ(RestartDhcpClient("eth0"), 0);
}

}  // namespace
}  // namespace vexotest
