// The appliance as it is delivered: installed, booted by systemd, confined, and put through what
// happens to appliances.

#include "machine.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace vexotest {
namespace {

using namespace testing;

/// Two uplinks, wan0 first, before and after whatever happens.
class ApplianceWithUplinks : public testing::Test {
  protected:
    void SetUp() override {
        machine.Boot();
        for (const Uplink* uplink : {&wan0, &wan1}) {
            machine.Do("vexonetctl gateway add " + uplink->ifname + " --gateway " + uplink->gateway
                       + " --dns " + uplink->gateway + "53 --class ethernet --priority last");
        }
        lists = machine.Do("vexonetctl gateway list --json");
        ASSERT_THAT(lists, AllOf(HasSubstr("wan0"), HasSubstr("wan1")));
        ExpectTheSame();
    }

    void ExpectTheSame() {
        EXPECT_EQ(machine.Do("vexonetctl gateway list --json"), lists);
        ExpectDefaultRoutes("-4", {RouteOf(wan0)});
    }

    /// The kernel forgets its routes with a reboot; the box's network outlives one.
    static void ForgetRoutes() { Must("ip route flush exact default"); }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
    Machine machine;
    std::string lists;
};

TEST_F(ApplianceWithUplinks, WhateverEndsTheDaemonItIsBackWithItsListsAndRoute) {
    WriteFile("/etc/systemd/system/vexonetd.service.d/soon.conf", "[Service]\nWatchdogSec=2\n");
    machine.Do("systemctl daemon-reload");
    machine.Do("systemctl restart vexonetd");
    for (const auto& [signal, service] :
         {std::pair{"KILL", "vexonetd"}, {"KILL", "vexonet-bus"}, {"STOP", "vexonetd"}}) {
        SCOPED_TRACE(std::string(signal) + " " + service);
        const std::string former = machine.PidOf("vexonetd");
        machine.Do(std::string("systemctl kill --kill-whom=main --signal=") + signal + " "
                   + service);
        ForgetRoutes();
        ASSERT_TRUE(Eventually([&] {
            return machine.PidOf("vexonetd") != former
                   && machine.Try("systemctl is-active vexonetd").status == 0
                   && machine.Try("vexonetctl status").status == 0;
        }));
        ExpectTheSame();
    }
    EXPECT_THAT(machine.Do("journalctl --unit vexonetd"), HasSubstr("Watchdog timeout"));
}

TEST_F(ApplianceWithUplinks, ListsOutliveRebootsAndPowerCuts) {
    machine.Reboot();
    ExpectTheSame();
    ForgetRoutes();
    machine.CutPowerAndBoot();
    ExpectTheSame();
}

TEST_F(ApplianceWithUplinks, HooksOfTheAdministratorRunConfined) {
    const std::string hooks = "/usr/vexo/hooks/net/";
    Must("cp /usr/share/doc/vexonetwork/examples/gateway_config_change/50-note " + hooks
         + "gateway_config_change");
    WriteScript(hooks + "ipv4_change/60-try",
                "mkdir /etc/allowed /usr/denied /root/denied\n"
                "echo 1 >/proc/sys/net/ipv4/conf/$IFNAME/arp_ignore\n"
                "logger -t tried \"$IFNAME $NEW_ADDRESS\" $(ls -d /*/allowed /*/denied)\n"
                "systemd-run --quiet --collect mkdir /usr/outside");
    machine.Do("ip address add 192.0.2.77/24 dev wan0");
    EXPECT_TRUE(Eventually([] { return ::access("/usr/outside", F_OK) == 0; }));
    EXPECT_THAT(machine.Do("journalctl --output=cat -t tried"),
                AllOf(HasSubstr("wan0 192.0.2.77 /etc/allowed"), Not(HasSubstr("denied"))));
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv4/conf/wan0/arp_ignore"), "1\n");

    machine.Do("vexonetctl gateway add wan0 --gateway 192.0.2.2");
    EXPECT_THAT(machine.Do("journalctl --output=cat -t gateway"),
                HasSubstr("ipv4 of wan0: 192.0.2.1 -> 192.0.2.2"));
}

TEST_F(ApplianceWithUplinks, TheConfinedDaemonDoesItsWork) {
    Must("systemd-analyze security --offline=true --threshold=30 --no-pager vexonetd.service");
    WriteFile("/etc/vexoinfo.conf", "dns_mode=auto\n");
    WriteFile("/etc/resolv.conf", "search example.test\n");
    Must("chown nobody:adm /etc/resolv.conf");
    Must("chmod 640 /etc/resolv.conf");
    machine.Do("vexonetctl gateway add wan0 --dns 192.0.2.54");
    EXPECT_EQ(ReadFile("/etc/resolv.conf"),
              "search example.test\nnameserver 192.0.2.54\nnameserver 198.51.100.153\n");
    EXPECT_EQ(Must("stat --format=%U:%G:%a /etc/resolv.conf"), "nobody:adm:640\n");

    SetLink(wan0, false);
    ExpectDefaultRoutes("-4", {RouteOf(wan1)});
    EXPECT_EQ(machine.Try("journalctl --quiet --unit vexonetd --grep (denied|permitted)").out, "");
}

}  // namespace
}  // namespace vexotest
