// What vexonetctl tells of elections and events, beside what the kernel and the daemon really do.

#include <gmock/gmock.h>

#include <csignal>

#include <vexo/event_log.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;

class Explain : public testing::Test {
  protected:
    static void Add(const std::string& entry) {
        EXPECT_EQ(Ctl("gateway add " + entry).status, 0) << entry;
    }
    static Json::Value AsJson(const std::string& flag) {
        return Parsed(Ctl("gateway explain --json " + flag).out)[flag == "-4" ? "ipv4" : "ipv6"];
    }
    /// What is foretold must be what an election then does.
    static void ExpectForetold(const std::string& flag) {
        const Json::Value foretold = AsJson(flag);
        EXPECT_EQ(Ctl("gateway refresh " + flag).status, 0);
        const Json::Value after = AsJson(flag);
        EXPECT_EQ(after["elected"], foretold["elected"]) << foretold;
        EXPECT_EQ(after["agree"], true) << after;
    }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
    Appliance appliance;
};

TEST_F(Explain, TellsWhyEachEntryIsTakenOrNot) {
    for (const std::string name : {"down0", "bare0"}) {
        Must("ip link add " + name + " type veth peer name far-" + name);
    }
    Must("ip link set bare0 up");
    appliance.StartDaemon();
    for (const char* entry :
         {"slave0 --gateway 10.7.0.1", "down0 --gateway 10.9.0.1 --class ethernet",
          "bare0 --gateway 10.8.0.1 --class pppoe", "eth8 --gateway 192.0.2.1", "none0",
          "eth9 --class ethernet --gateway 192.0.2.1", "wan0 --gateway 203.0.113.1",
          "wan1 --gateway 10.6.0.1", "lo"}) {
        Add(entry);
    }
    Ctl("gateway slave slave0 on");
    Add("lo --priority last");
    Must("ip route add 10.6.0.0/24 dev wan1");
    EXPECT_EQ(Ctl("gateway explain -4").out,
              "#  INTERFACE  GATEWAY      IPv4 ELECTION\n"
              "0  down0      10.9.0.1     no link: the interface is down\n"
              "1  bare0      10.8.0.1     refused: the interface has no IPv4 address\n"
              "2  eth8       192.0.2.1    no interface\n"
              "3  none0                   no gateway\n"
              "4  eth9       192.0.2.1    no link: no such interface\n"
              "5  wan0       203.0.113.1  refused: no direct route to its gateway\n"
              "6  wan1       10.6.0.1     taken\n"
              "7  slave0     10.7.0.1     not tried: an earlier one is taken\n"
              "8  lo                      not tried: an earlier one is taken\n"
              "elected:   via 10.6.0.1 dev wan1\n"
              "installed: none\n"
              "The list or the network has changed since the last election.\n"
              "To have the elected one: vexonetctl gateway refresh -4\n");
    ExpectForetold("-4");

    Must("ip route replace default via 192.0.2.77");
    WriteFile("/usr/vexo/etc/ha.conf", "running=yes\nheartbeat_if=slave0\n");
    EXPECT_THAT(
        Ctl("gateway explain").out,
        AllOf(HasSubstr("\nSomeone else installed this default route.\nTo have the elected "),
              HasSubstr("\n7  slave0 "), HasSubstr("\nno IPv6 gateways: elections change ")));
    Must("ip -6 route add default dev wan1");
    Add("-6 wan0 --gateway 2001:db8:0::1");
    EXPECT_EQ(AsJson("-6")["command"], "ip -6 route delete default; vexonetctl gateway refresh -6");
}

TEST_F(Explain, ForetellsWhatTheKernelMakesOfAGateway) {
    appliance.StartDaemon();
    for (const char* gateway :
         {"192.0.2.1", "192.0.2.10", "192.0.2.255", "198.51.100.1", "224.0.0.1", "2001:db8::1"}) {
        Add("wan1 --gateway 198.51.100.1");
        appliance.Call("AddGatewayData", std::string(R"({"type": "GTYPE_V4", "ifname": "wan0",)")
                                             + R"( "priority": 0, "gateway": ")" + gateway + "\"}");
        ExpectForetold("-4");
    }
    Add("-6 wan1 --gateway 2001:db8:1::1");
    for (const char* entry :
         {"wan0 --gateway 2001:db8:0::1", "wan0 --gateway 2001:db8:0::10",
          "wan0 --gateway 2001:db8:7::1", "wan0 --gateway ff02::1", "wan0 --gateway none",
          "eth9 --gateway fe80::1", "wan0 --gateway fe80::1", "wan0 --gateway ::"}) {
        Add(std::string("-6 --priority first ") + entry);
        ExpectForetold("-6");
    }
}

/// `vexonetctl monitor` in the background.
class Monitor {
  public:
    explicit Monitor(const Arguments& options = {})
        : process(Command(options), folder / "out", folder / "err", {}) {
        // It listens to the hooks last.
        const std::string socket = " 2 +" + std::to_string(process.Pid()) + " +00800000 ";
        EXPECT_TRUE(Eventually(
            [&] { return Value(ReadFile("/proc/net/netlink"), ContainsRegex(socket)); }));
    }
    bool Tells(const std::string& pattern) {
        return Eventually([&] { return Value(ReadFile(folder / "out"), ContainsRegex(pattern)); });
    }
    void ExpectEnd(int signal) {
        process.Signal(signal);
        EXPECT_EQ(process.Wait(), 0);
        EXPECT_EQ(ReadFile(folder / "err"), "");
    }

  private:
    static Arguments Command(Arguments options) {
        options.insert(options.begin(), {CtlProgram(), "monitor"});
        return options;
    }

    TempFolder folder;
    Process process;
};

TEST(MonitorCommand, TellsWhatHappensInTheKernelAndToHooks) {
    const Uplink wan0 = MakeUplink(0);
    WriteScript("/usr/vexo/hooks/net/gateway_config_change/10-fail", "exit 3");
    Appliance appliance;
    appliance.StartDaemon();
    Monitor text;
    Monitor json({"--json"});
    Must("ip addr add 10.9.0.2/24 dev wan0");
    EXPECT_EQ(Ctl("gateway add wan0 --gateway 192.0.2.1").status, 0);
    Must("ip link del wan0");
    EXPECT_TRUE(text.Tells("[0-9]  address  wan0 10\\.9\\.0\\.2/24 added\n"));
    EXPECT_TRUE(
        text.Tells("[0-9]  hook     net/gateway_config_change 10-fail status 3 after [0-9]+ ms"
                   " IFNAME=wan0 [^\n]*STAGE=after\n"));
    EXPECT_TRUE(text.Tells("[0-9]  route    default via 192\\.0\\.2\\.1 dev wan0 added\n"));
    EXPECT_TRUE(text.Tells("[0-9]  link     wan0 removed\n"));
    EXPECT_TRUE(
        json.Tells("\"hook\":\"net/gateway_config_change\"[^\n]*\"kind\":\"hook\",\"status\":3"));
    EXPECT_TRUE(json.Tells("\"exists\":false,\"ifname\":\"wan0\"[^\n]*\"kind\":\"link\""));
    text.ExpectEnd(SIGINT);
    json.ExpectEnd(SIGTERM);
}

TEST(MonitorCommand, EndsWithItsReaderAndSaysWhatItMayNotHear) {
    TempFolder folder;
    // It complains of the hooks once it listens to the kernel.
    Process pipeline({"bash", "-c",
                      "setpriv --bounding-set=-net_admin --inh-caps=-net_admin '" + CtlProgram()
                          + "' monitor | head -n 1; echo ${PIPESTATUS[0]}"},
                     folder / "out", folder / "err", {});
    EXPECT_TRUE(Eventually([&] {
        return ReadFile(folder / "err")
               == "vexonetctl: kernel events only: only root may hear what becomes of hooks\n";
    }));
    Must("ip link set lo down");
    EXPECT_EQ(pipeline.Wait(), 0);
    EXPECT_THAT(ReadFile(folder / "out"), ContainsRegex("^[^\n]*  link     lo down\n0\n$"));
}

TEST(EventsCommand, ShowsTheLastEntriesAndPassesOverDamage) {
    const std::string log = "/var/log/vexo/events.jsonl";
    EXPECT_EQ(Ctl("events").out, "no events yet\n");
    for (int i = 0; i < 2000; ++i) {
        VEXOLogSet1(3, 1, i, "", "\x1b[2J", "", "", "", "", "");
    }
    VEXOLogSet1(2, 1, 293606161, "192.0.2.1", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:1", "", "", "", "",
                "");
    WriteFile(
        log,
        ReadFile(log) + std::string(100'000, '[') + "\n[]\n{\"event\": 1}\n"
            + R"({"event":293606178,"level":1,"time":"2026-11-21T23:30:00.5Z","arguments":["LAN 1"]})"
            + "\n{\"event\": 293606179, \"le");
    const Outcome last = Ctl("events -n 6", {{"TZ", "UTC-2"}});
    EXPECT_THAT(last.out,
                testing::MatchesRegex(
                    "TIME                 LEVEL    EVENT\n"
                    "20.................  warning  default gateway changed from 192.0.2.1 to\n"
                    "                              2001:db8:aaaa:bbbb:cccc:dddd:eeee:1\n"
                    "2026-11-22 01:30:00  info     link of LAN 1 is up\n"));
    EXPECT_EQ(last.err, "vexonetctl: 4 damaged lines of " + log + " are left out\n");
    EXPECT_THAT(Ctl("events -n 1500").out, HasSubstr("error    event 506 [] [?[2J]\n"));
    EXPECT_THAT(Ctl("events --json -n 3").out, HasSubstr("\"event\":293606178"));
}

}  // namespace
}  // namespace vexotest
