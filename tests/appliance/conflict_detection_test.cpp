// The detection of address conflicts as an administrator has it: switched on, confined, off again.

#include <gmock/gmock.h>

#include "machine.h"

namespace vexotest {
namespace {

using namespace testing;

TEST(ConflictDetection, IsSwitchedOnTellsAndIsSwitchedOff) {
    const Uplink wan0 = MakeUplink(0);
    Machine machine;
    machine.Boot();
    Must(
        "systemd-analyze security --offline=true --threshold=20 --no-pager "
        "ip-conflict-detect.service");
    WriteScript("/usr/vexo/hooks/net/ip_conflict/10-note",
                "logger -t noted $IFNAME $ADDRESS $(mkdir /usr/denied && echo escaped)");
    const auto status = [&] { return machine.Do("vexonetctl conflict status"); };
    EXPECT_THAT(status(), HasSubstr("off\nservice:   not running"));
    machine.Do("vexonetctl conflict enable");
    machine.Reboot();
    EXPECT_THAT(status(), HasSubstr("on\nservice:   running"));

    Must("ip -n isp-wan0 address add 192.0.2.10/32 dev far");
    vexotest::Run(Words("ip netns exec isp-wan0 ping -c1 -W1 -I 192.0.2.10 192.0.2.77"));
    const auto noted = [&] { return machine.Do("journalctl --output=cat -t noted"); };
    EXPECT_TRUE(Eventually([&] { return noted() == "wan0 192.0.2.10"; })) << noted();
    EXPECT_THAT(status(), HasSubstr("  wan0       192.0.2.10  "));

    // Some ask services with this signal to read their files again; these two end by it.
    machine.Do("systemctl kill --signal=HUP ip-conflict-detect vexonetd");
    for (const std::string unit : {"ip-conflict-detect", "vexonetd"}) {
        const std::string restarts = "systemctl show -P NRestarts " + unit;
        EXPECT_TRUE(Eventually([&] { return machine.Do(restarts) == "1"; })) << unit;
    }

    machine.Do("systemctl stop ip-conflict-detect");
    EXPECT_EQ(machine.Try("vexonetctl conflict status").status, 3);
    machine.Do("vexonetctl conflict disable");
    machine.Reboot();
    EXPECT_THAT(status(), HasSubstr("off\nservice:   not running"));
}

}  // namespace
}  // namespace vexotest
