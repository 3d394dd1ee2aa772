// The command line against the real daemon on a real bus: what it prints, refuses and returns.

#include <gmock/gmock.h>
#include <sys/mount.h>

#include <cstdlib>
#include <sstream>

#include <vexonetwork/utils/json_reader.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

Outcome Ctl(Arguments arguments, const Environment& added = {}) {
    arguments.insert(arguments.begin(), CtlProgram());
    return Run(arguments, added);
}

Arguments Words(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

void ExpectNarrow(const std::string& text) {
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST(VexonetctlUsage, MistakesAreExplainedAndEndWith2) {
    const struct {
        const char* line;
        const char* explanation;
    } kMistakes[] = {
        {"", "subcommand is required"},
        {"gateway", "subcommand is required"},
        {"gatway list", "unknown: gatway"},
        {"gateway list -4 -6", "--ipv4 excludes --ipv6"},
        {"gateway add --gatway 192.0.2.1", "unknown: --gatway"},
        {"gateway add", "IFNAME"},
        {"gateway add eth/0", "slash"},
        {"gateway add a-name-of-16-byt", "1 to 15 characters"},
        {"gateway add eth0 --gateway 192.0.2", "'192.0.2' is no IPv4 address"},
        {"gateway add eth0 --gateway 2001:db8::1", "-6 for IPv6"},
        {"gateway add eth0 -6 --dns fe80::1%eth0", "is no IPv6 address"},
        {"gateway add eth0 --class NULL", "leave --class out"},
        {"gateway add eth0 --priority -1", "first, last, keep"},
        {"gateway add eth0 --priority 99999999999", "first, last, keep"},
        {"gateway slave eth0 maybe", "'maybe' is neither on nor off"},
        {"gateway copy eth0 eth0", "same interface"},
    };
    for (const auto& [line, explanation] : kMistakes) {
        const Outcome outcome = Ctl(Words(line));
        EXPECT_EQ(outcome.status, 2) << line;
        EXPECT_THAT(outcome.err, AllOf(StartsWith("vexonetctl: "), HasSubstr(explanation)));
        EXPECT_THAT(outcome.out, IsEmpty()) << line;
    }
}

TEST(VexonetctlUsage, EveryCommandHasHelpWithAnExample) {
    for (const char* line : {"", "status", "gateway", "gateway list", "gateway show", "gateway add",
                             "gateway del", "gateway slave", "gateway copy", "gateway refresh"}) {
        const Outcome outcome = Ctl(Words(std::string(line) + " --help"));
        EXPECT_EQ(outcome.status, 0) << line;
        EXPECT_THAT(outcome.out, HasSubstr("Example: vexonetctl ")) << line;
        ExpectNarrow(outcome.out);
    }
}

TEST(VexonetctlWithoutDaemon, SaysSoAndEndsWith3) {
    const std::string start = "vexonetd is not running; start it with: systemctl start vexonetd\n";
    for (const char* line : {"gateway list", "gateway add eth0", "gateway refresh", "status"}) {
        const Outcome outcome = Ctl(Words(line));
        EXPECT_EQ(outcome.status, 3) << line;
        EXPECT_EQ(outcome.err, "vexonetctl: " + start) << line;
    }
    const Appliance busAlone;
    EXPECT_THAT(Ctl({"status"}).out,
                HasSubstr("bus:    reachable at unix:path=/run/vexonet/bus\n"));
    WriteFile("/var/run/vexonetd.pid", "1\n");
    EXPECT_THAT(Ctl({"gateway", "list"}).err, HasSubstr("runs as pid 1 but does not serve on"));
    EXPECT_THAT(Ctl({"gateway", "list"}, {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}}).err,
                HasSubstr("runs as pid 1 but the bus unix:path=/nowhere cannot be reached"));
}

TEST(VexonetctlWithoutDaemon, ShowsTheKernelsDefaultRoutes) {
    MakeUplink(0);
    MakeUplink(1);
    const struct {
        const char* route;
        const char* shown;
    } kSteps[] = {
        {"-4 route add unreachable default metric 900", "IPv4 default route: none\n"},
        {"-4 route add default via 192.0.2.1 metric 600",
         "IPv4 default route: via 192.0.2.1 dev wan0\n"},
        {"-4 route add default via 198.51.100.1 metric 50",
         "IPv4 default route: via 198.51.100.1 dev wan1\n"},
        {"-6 route add default via 2001:db8:1::1 metric 2048",
         "IPv6 default route: via 2001:db8:1::1 dev wan1\n"},
        {"-6 route add default dev wan0 metric 100", "IPv6 default route: dev wan0\n"},
    };
    for (const auto& [route, shown] : kSteps) {
        Must(std::string("ip ") + route);
        EXPECT_THAT(Ctl({"status"}).out, HasSubstr(shown));
    }
}

class Vexonetctl : public testing::Test {
  protected:
    void SetUp() override { appliance.StartDaemon(); }

    /// Runs a command that must be done, without a word on stderr.
    std::string Done(const std::string& line) {
        const Outcome outcome = appliance.Ctl(Words(line));
        EXPECT_EQ(outcome.status, 0) << line << "\n" << outcome.err << appliance.Log();
        EXPECT_THAT(outcome.err, IsEmpty()) << line;
        return outcome.out;
    }

    std::string Refused(const std::string& line) {
        const Outcome outcome = appliance.Ctl(Words(line));
        EXPECT_EQ(outcome.status, 1) << line << "\n" << outcome.out;
        EXPECT_THAT(outcome.err, StartsWith("vexonetctl: "));
        return outcome.err;
    }

    Json::Value Parsed(const std::string& text) {
        Json::Value value;
        EXPECT_TRUE(vexonetwork::utils::ParseJson(text, value)) << text;
        return value;
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
              "1   wan1       198.51.100.1              no     unknown\n");
    EXPECT_EQ(Done("gateway add wan1 --priority first"),
              "default route (IPv4): via 198.51.100.1 dev wan1\n");
    EXPECT_EQ(Done("gateway add wan1 --priority last --dns none --class pppoe"),
              "default route (IPv4): via 192.0.2.1 dev wan0\n");
    EXPECT_EQ(Done("gateway show wan1"),
              "interface      wan1\nfamily         IPv4\npriority       1\n"
              "gateway        198.51.100.1\ndns            \nslave          no\n"
              "class          pppoe\ndefault route  no\n");
    EXPECT_EQ(Done("gateway del wan0"), "default route (IPv4): via 198.51.100.1 dev wan1\n");
    EXPECT_EQ(Done("gateway add wan1 --gateway none"),
              "default route (IPv4): via 198.51.100.1 dev wan1\n")
        << "without a candidate the former default route stays";
    EXPECT_EQ(Parsed(Done("gateway show wan1 --json"))["gateway"], "");
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
    const Json::Value list = Parsed(Done("gateway list -4 --json"))["ipv4"];
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[1]["ifname"], "bond0");
    EXPECT_EQ(list[1]["gateway"], "192.0.2.1");
    EXPECT_EQ(list[1]["class"], "ethernet");
}

TEST_F(Vexonetctl, TheUnknownIsRefusedBeforeAnythingChanges) {
    Done("gateway add wan0 --gateway 192.0.2.1");
    for (const char* line : {"gateway show eth9", "gateway del eth9", "gateway slave eth9 on",
                             "gateway copy eth9 wan0"}) {
        EXPECT_EQ(Refused(line),
                  "vexonetctl: eth9 is not in the IPv4 list;"
                  " see: vexonetctl gateway list -4\n");
    }
    EXPECT_THAT(Done("gateway list"), HasSubstr("wan0"));

    Done("gateway del wan0");
    const Outcome former = appliance.Ctl(Words("gateway show wan0 --json"));
    EXPECT_EQ(former.status, 1);
    EXPECT_EQ(Parsed(former.out)["exist"], false);
    EXPECT_EQ(Parsed(former.out)["gateway"], "192.0.2.1") << "what was stored last is told";

    const Outcome absent = appliance.Ctl(Words("gateway add eth9 --gateway 192.0.2.9"));
    EXPECT_EQ(absent.status, 0);
    EXPECT_EQ(absent.err,
              "vexonetctl: warning: there is no interface eth9 now;"
              " the entry waits for it\n");
}

TEST_F(Vexonetctl, LongAddressesFoldAndLongClassesWrap) {
    const std::string address = "2001:db8:1111:2222:3333:4444:5555:666";
    const std::string shortClass = "ethernet";
    const std::string longClass = "a-class-of-many-words-none-of-which-fits-into-a-narrow-table";
    for (const char* number : {"0", "1", "2"}) {
        Must(std::string("ip link add long-interface") + number + " type veth peer name peer"
             + number);
        Done(std::string("gateway add long-interface") + number + " -6 -q --gateway " + address
             + number + " --dns " + address + number + " --class "
             + (*number == '2' ? longClass : shortClass));
    }
    for (const char* line : {"gateway list -6", "status"}) {
        const std::string shown = Done(line);
        ExpectNarrow(shown);
        EXPECT_THAT(shown, HasSubstr("long-interface0  " + address + "0  no     ethernet"));
        EXPECT_THAT(shown, HasSubstr("\n" + std::string(20, ' ') + address + "0\n"));
        std::string letters = shown;
        std::erase_if(letters, [](char c) { return c == ' ' || c == '\n'; });
        EXPECT_THAT(letters, HasSubstr(longClass.substr(10))) << "nothing is left out";
    }
    const std::string hostile = R"({"type": "GTYPE_V4", "ifname": "wan0", "priority": 0,)"
                                R"( "class": "\u009b2J"})";
    EXPECT_EQ(appliance.Call("AddGatewayData", hostile), 0);
    EXPECT_THAT(Done("gateway list -4"), AllOf(HasSubstr("2J"), Not(HasSubstr("\xc2\x9b"))));
}

TEST_F(Vexonetctl, StatusTellsEverythingAsTextAndAsJson) {
    Done("gateway add wan0 --gateway 192.0.2.1 --class ethernet");
    Done("gateway add wan1 -6 --gateway :: --class ethernet");
    const std::string pid = std::to_string(appliance.Daemon().Pid());
    EXPECT_THAT(Done("status"),
                AllOf(StartsWith("daemon: running, pid " + pid + "\nbus:    reachable at unix:"),
                      HasSubstr("\n0*  wan0 "), HasSubstr("IPv6 default route: dev wan1\n"),
                      HasSubstr("\n0*  wan1 ")));
    const Json::Value root = Parsed(Done("status --json"));
    EXPECT_EQ(root["daemon"]["pid"].asInt(), appliance.Daemon().Pid());
    EXPECT_EQ(root["daemon"]["serving"], true);
    EXPECT_EQ(root["bus"]["reachable"], true);
    EXPECT_EQ(root["ipv4"]["default_route"]["gateway"], "192.0.2.1");
    EXPECT_EQ(root["ipv4"]["gateways"][0]["default_route"], true);
    EXPECT_EQ(root["ipv6"]["default_route"]["ifname"], "wan1");

    EXPECT_EQ(appliance.StopDaemon(), 0);
    const Outcome after = appliance.Ctl({"status", "--json"});
    EXPECT_EQ(after.status, 3);
    EXPECT_EQ(Parsed(after.out)["daemon"]["running"], false);
    EXPECT_EQ(Parsed(after.out)["ipv4"]["default_route"]["ifname"], "wan0");
}

TEST_F(Vexonetctl, AChangeThatWillNotLastIsRefused) {
    Done("gateway add wan0 --gateway 192.0.2.1");
    Done("gateway add wan1 --gateway 198.51.100.1");
    constexpr char kFolder[] = "/etc/iproute2/config";
    ASSERT_EQ(::mount(kFolder, kFolder, nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(::mount(nullptr, kFolder, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    for (const char* line : {"gateway add wan0 --gateway 192.0.2.7", "gateway slave wan0 on",
                             "gateway copy wan0 wan2", "gateway del wan1"}) {
        EXPECT_THAT(Refused(line), AllOf(HasSubstr("/etc/iproute2/config/gateway_v4_priority"),
                                         HasSubstr("journalctl -u vexonetd")));
    }
}

TEST_F(Vexonetctl, TalksToTheAppliancesBusWhenNoneIsNamed) {
    EXPECT_EQ(
        vexotest::Run({"env", "-u", "DBUS_SESSION_BUS_ADDRESS", CtlProgram(), "gateway", "list"})
            .status,
        0);
    EXPECT_EQ(Ctl({"gateway", "list"}, {{"DBUS_SESSION_BUS_ADDRESS", ""}}).status, 0);
    EXPECT_EQ(
        vexotest::Run({"sh", "-c", "exec \"$0\" gateway list >/dev/full", CtlProgram()}).status, 1)
        << "output that is lost is no success";
}

TEST(VexonetctlRights, MembersOfTheGroupMayLookAndNotChange) {
    Must("groupadd vexonet");
    Must("useradd --groups vexonet member");
    Must("useradd stranger");
    Appliance appliance;
    appliance.StartDaemon();
    // The build folder may stand where only its owner comes.
    const std::string build = CtlProgram().substr(0, CtlProgram().rfind("/bin/"));
    ASSERT_EQ(::mount(build.c_str(), "/mnt", nullptr, MS_BIND, nullptr), 0);
    const auto as = [](const std::string& user, const char* verb) {
        return vexotest::Run({"setpriv", "--reuid=" + user, "--regid=" + user, "--init-groups",
                              "/mnt/bin/vexonetctl", "gateway", verb},
                             {{"LD_LIBRARY_PATH", "/mnt/lib"}});
    };
    EXPECT_EQ(as("member", "list").err, "");
    EXPECT_EQ(as("member", "refresh").status, 1);
    const Outcome refused = as("stranger", "list");
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.err, HasSubstr("group vexonet"));
}

}  // namespace
}  // namespace vexotest
