// The command line against the real daemon on a real bus: what it prints, refuses and returns.

#include <gmock/gmock.h>

#include <utility>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kBeyondTheLine[] = "[^\n]{81}";

TEST(VexonetctlUsage, MistakesAreExplainedAndEndWith2) {
    const std::pair<const char*, const char*> kMistakes[] = {
        {"gatway list", "unknown: gatway"},
        {"gateway add --gatway 192.0.2.1", "unknown: --gatway"},
        {"gateway add eth/0", "slash"},
        {"gateway add a-name-of-16-byt", "1 to 15 characters"},
        {"gateway add eth0 --gateway 2001:db8::1", "-6 for IPv6"},
        {"gateway add eth0 --class NULL", "leave --class out"},
        {"gateway add eth0 --priority 99999999999", "first, last, keep"},
        {"gateway slave eth0 maybe", "'maybe' is neither on nor off"},
    };
    for (const auto& [line, explanation] : kMistakes) {
        const Outcome outcome = Ctl(line);
        EXPECT_EQ(outcome.status, 2) << line;
        EXPECT_THAT(outcome.err, AllOf(StartsWith("vexonetctl: "), HasSubstr(explanation)));
        EXPECT_THAT(outcome.out, IsEmpty()) << line;
    }
}

TEST(VexonetctlUsage, EveryCommandHasHelpWithAnExample) {
    for (const char* line :
         {"", "status", "gateway", "gateway list", "gateway show", "gateway add", "gateway del",
          "gateway slave", "gateway copy", "gateway refresh", "gateway explain", "conflict",
          "conflict enable", "conflict status", "monitor", "events"}) {
        const Outcome outcome = Ctl(std::string(line) + " --help");
        EXPECT_THAT(outcome.out,
                    AllOf(HasSubstr("Example: vexonetctl "), Not(ContainsRegex(kBeyondTheLine))));
    }
}

TEST(VexonetctlWithoutDaemon, SaysSoAndEndsWith3) {
    for (const char* line : {"gateway list", "gateway add eth0", "status"}) {
        const Outcome outcome = Ctl(line);
        EXPECT_EQ(outcome.status, 3) << line;
        EXPECT_THAT(outcome.err, StartsWith("vexonetctl: vexonetd is not running; ")) << line;
    }
    const Appliance busAlone;
    WriteFile("/var/run/vexonetd.pid", "1\n");
    EXPECT_THAT(Ctl("gateway list").err, HasSubstr("runs as pid 1 but does not serve on"));
    EXPECT_THAT(Ctl("gateway list", {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}}).err,
                HasSubstr("runs as pid 1 but the bus unix:path=/nowhere cannot be reached"));
}

class Vexonetctl : public testing::Test {
  protected:
    void SetUp() override { appliance.StartDaemon(); }

    /// Runs a command that must be done, without a word on stderr.
    std::string Done(const std::string& line) {
        const Outcome outcome = Ctl(line);
        EXPECT_EQ(outcome.status, 0) << line << "\n" << outcome.err << appliance.Log();
        EXPECT_THAT(outcome.err, IsEmpty()) << line;
        return outcome.out;
    }

    std::string Refused(const std::string& line) {
        const Outcome outcome = Ctl(line);
        EXPECT_EQ(outcome.status, 1) << line << "\n" << outcome.out;
        return outcome.err;
    }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
    Appliance appliance;
};

TEST_F(Vexonetctl, AnUplinkIsAddedShownMovedAndRemoved) {
    EXPECT_EQ(Done("gateway add wan0 --gateway 192.0.2.1 --dns 192.0.2.53 --class ethernet"),
              "default route (IPv4): via 192.0.2.1 dev wan0\n");
    EXPECT_EQ(Done("gateway add wan1 --gateway 198.51.100.1 --quiet"), "");
    EXPECT_EQ(Done("gateway list -4"),
              "IPv4 default route: via 192.0.2.1 dev wan0\n"
              "#   INTERFACE  GATEWAY       DNS         SLAVE  CLASS\n"
              "0*  wan0       192.0.2.1     192.0.2.53  no     ethernet\n"
              "1   wan1       198.51.100.1              no     ethernet\n");
    EXPECT_EQ(Done("gateway add wan1 --priority first"),
              "default route (IPv4): via 198.51.100.1 dev wan1\n");
    EXPECT_EQ(Done("gateway add wan1 --priority last --dns none --class pppoe"),
              "default route (IPv4): via 192.0.2.1 dev wan0\n");
    EXPECT_EQ(Done("gateway show wan1"),
              "interface      wan1\nfamily         IPv4\npriority       1\n"
              "gateway        198.51.100.1\ndns            \nslave          no\n"
              "class          pppoe\ndefault route  no\n");
    EXPECT_EQ(Done("gateway del wan0"), "default route (IPv4): via 198.51.100.1 dev wan1\n");
    EXPECT_EQ(Ctl("status", {{"DBUS_SESSION_BUS_ADDRESS", ""}}).status, 0) << "the usual bus";
    EXPECT_EQ(vexotest::Run({"sh", "-c", "'" + CtlProgram() + "' status >/dev/full"}).status, 1);
}

TEST_F(Vexonetctl, SlavesAndCopiesCountFromTheNextElection) {
    Done("gateway add wan0 --gateway 192.0.2.1 --class ethernet");
    Done("gateway add wan1 --gateway 198.51.100.1");
    EXPECT_EQ(Done("gateway slave wan0 on"),
              "wan0 is a slave now (IPv4); to elect anew: vexonetctl gateway refresh -4\n");
    EXPECT_EQ(Done("gateway refresh"),
              "default route (IPv4): via 198.51.100.1 dev wan1\ndefault route (IPv6): none\n");
    Done("gateway slave wan0 off");
    EXPECT_EQ(Done("gateway copy wan0 bond0 --delete-source -q"), "");
    EXPECT_THAT(Done("gateway list -4"),
                AllOf(HasSubstr("\n1   bond0      192.0.2.1  "), Not(HasSubstr("wan0"))));
}

TEST_F(Vexonetctl, TheUnknownIsRefusedBeforeAnythingChanges) {
    Done("gateway add wan0 --gateway 192.0.2.1");
    for (const char* line : {"gateway show eth9", "gateway del eth9", "gateway slave eth9 on",
                             "gateway copy eth9 wan0"}) {
        EXPECT_THAT(Refused(line), StartsWith("vexonetctl: eth9 is not in the IPv4 list; see: "));
    }
    Done("gateway del wan0");
    const Outcome former = Ctl("gateway show wan0 --json");
    EXPECT_EQ(former.status, 1);
    EXPECT_EQ(Parsed(former.out)["gateway"], "192.0.2.1") << "what was stored last is told";

    EXPECT_THAT(Ctl("gateway add eth9 --gateway 192.0.2.9").err,
                HasSubstr("warning: there is no interface eth9 now"));
    EXPECT_THAT(Done("gateway list"), HasSubstr("eth9"));
}

TEST_F(Vexonetctl, TextsOfOthersDoNotReachTheTerminalAsTheyAre) {
    const std::string hostile = R"({"type": "GTYPE_V4", "ifname": "wan0", "priority": 0,)"
                                R"( "class": "\u009b2J"})";
    EXPECT_EQ(appliance.Call("AddGatewayData", hostile), 0);
    for (const char* line : {"gateway list", "gateway show wan0", "gateway list --json"}) {
        EXPECT_THAT(Done(line), AllOf(HasSubstr("2J"), Not(HasSubstr("\xc2\x9b"))));
    }
}

TEST_F(Vexonetctl, StatusTellsEverythingAsTextAndAsJson) {
    Done("gateway add wan0 --gateway 192.0.2.1 --class ethernet");
    Done("gateway add wan1 -6 --gateway ::");
    const std::string pid = std::to_string(appliance.Daemon().Pid());
    EXPECT_THAT(Done("status"),
                AllOf(StartsWith("daemon: running, pid " + pid + "\nbus:    reachable at unix:"),
                      HasSubstr("\n0*  wan0 "), HasSubstr("\n0*  wan1 ")));
    const Json::Value root = Parsed(Done("status --json"));
    EXPECT_EQ(root["daemon"]["pid"].asInt(), appliance.Daemon().Pid());
    EXPECT_EQ(root["ipv4"]["gateways"][0]["default_route"], true);

    EXPECT_EQ(appliance.StopDaemon(), 0);
    const Outcome after = Ctl("status --json");
    EXPECT_EQ(after.status, 3);
    EXPECT_EQ(Parsed(after.out)["ipv4"]["default_route"]["ifname"], "wan0");
}

TEST_F(Vexonetctl, AChangeThatWillNotLastIsRefused) {
    Done("gateway add wan0 --gateway 192.0.2.1");
    Done("gateway add wan1 --gateway 198.51.100.1");
    Must("mount --bind -o ro /etc/iproute2/config /etc/iproute2/config");
    for (const char* line : {"gateway add wan0 --gateway 192.0.2.7", "gateway slave wan0 on",
                             "gateway copy wan0 wan2", "gateway del wan1"}) {
        EXPECT_THAT(Refused(line), AllOf(HasSubstr("/etc/iproute2/config/gateway_v4_priority"),
                                         HasSubstr("journalctl -u vexonetd")));
    }
}

}  // namespace
}  // namespace vexotest
