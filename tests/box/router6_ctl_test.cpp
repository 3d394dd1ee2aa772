// What the command line refuses of routers and prefixes, and how it says so.

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <tuple>

#include "support/appliance.h"
#include "support/killed_at.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kBroker[] =
    "[conf]\n\ttype=6in4\n\twan=wan1\n\tprefix=2001:db8:8::/48\n\tis_default_gateway=no\n"
    "[addr]\n\tlocal_addr_v4=198.51.100.10\n\tremote_addr_v4=203.0.113.9\n"
    "\tlocal_addr_v6=2001:db8:7::2/64\n[lan]\n\tbr0=2001:db8:8::\n";

class Router6Ctl : public testing::Test {
  protected:
    void SetUp() override {
        WriteFile("/etc/sysconfig/networking/ipv6-wan1", kBroker);
        appliance.StartDaemon();
    }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
    Appliance appliance;
};

TEST_F(Router6Ctl, SaysWhatIsWrongAndWhatToDo) {
    Must("ip link add name b type veth peer name a-long-name");
    Must("ip address add 203.0.113.7/24 dev a-long-name");
    Must("ip address add 10.0.0.7/24 dev b");
    Must("ip link add br0 type bridge");
    Must("ip link add br9 type bridge");
    WriteFile("/etc/sysconfig/networking/ipv6-half", "[conf]\n\twan=half\n[lan]\n\tbr9=::\n");
    WriteFile("/etc/sysconfig/networking/ipv6-local",
              "[conf]\n\twan=local\n\tprefix=fe80::/64\n[addr]\n[lan]\n");
    const std::string broker =
        " --prefix 2001:db8:9::/48 --remote 203.0.113.9 --local 2001:db8::2/64";
    for (const auto& [line, status, explanation] : {
             std::tuple<std::string, int, const char*>{"router6 create 6in5 wan0", 2, "6in5"},
             {"router6 create 6in4 wan0", 2, "--prefix"},
             {"router6 create 6in4 wan0 --prefix 2001:db8::/65 --remote 203.0.113.9 --local ::2/64",
              2, "at most 64 bits"},
             {"router6 create 6in4 wan0 --prefix fe80::/48 --remote 203.0.113.9 --local ::2/64", 2,
              "hosts of a LAN"},
             {"router6 create native lo", 1, "loopback"},
             {"router6 create native ../wan0", 2, "slash"},
             {"router6 create native wan1", 1, "first: vexonetctl router6 destroy wan1"},
             {"router6 create native wan7", 1, "there is no interface wan7"},
             {"router6 create native pppoe", 1, "no PPPoE connection"},
             {"router6 create native b", 1, "first: ip link set b up"},
             {"router6 create native br0", 1,
              "br0 is a LAN of the router of wan1; first: vexonetctl prefix deallocate"
              " 2001:db8:8:: br0"},
             {"router6 create native br9", 1, "br9 is a LAN of the router of half"},
             {"router6 destroy half", 1, "is no whole configuration of a router; mend it"},
             {"router6 create 6to4 b", 1, "10.0.0.7 of b is no public one"},
             {"router6 create 6in4 a-long-name" + broker, 1, "more than 15 characters"},
             {"router6 destroy wan0", 1, "see: vexonetctl router6 list"},
             {"router6 show wan0", 1, "see: vexonetctl router6 list"},
             {"prefix allocate 2001:db8:8::/48 br1", 2, "is no /64"},
             {"prefix allocate 2001:db8:8:0:0:: br1", 1, "prefix deallocate 2001:db8:8:: br0"},
             {"prefix allocate 2001:db8:9:: br1", 1, "no /64 that a router has to give"},
             {"prefix allocate 2001:db8:8:1:: wan1", 1, "wan1 is the WAN of a router"},
             {"prefix allocate 2001:db8:8:1:: lo", 1, "lo is the loopback"},
             {"prefix allocate fe80:: br1", 1, "hosts of a LAN"},
             {"prefix deallocate 2001:db8:8:: br1", 1, "br1 has no prefix 2001:db8:8::"},
         }) {
        const Outcome outcome = Ctl(line);
        EXPECT_EQ(outcome.status, status) << line;
        EXPECT_THAT(outcome.err, HasSubstr(explanation)) << line;
    }
    EXPECT_EQ(ReadFile("/etc/sysconfig/networking/ipv6-wan1"), kBroker);
    EXPECT_FALSE(std::filesystem::exists("/etc/sysconfig/networking/ipv6-wan0"));

    // No kernel here has tunnels: what failed is said, and nothing is left behind.
    const Outcome outcome = Ctl("router6 create 6in4 wan0" + broker);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("Failed to create tunnel device 6in4-wan0"));
    EXPECT_FALSE(std::filesystem::exists("/etc/sysconfig/networking/ipv6-wan0"));
    Must("useradd stranger");
    EXPECT_THAT(CtlAs("stranger", "router6 destroy wan1").err, HasSubstr("only root may change"));
}

TEST_F(Router6Ctl, ShowsWhatIsConfigured) {
    EXPECT_EQ(Ctl("router6 list").out,
              "WAN   TYPE  PREFIX           DEFAULT  LANS\n"
              "wan1  6in4  2001:db8:8::/48  yes      br0\n");
    EXPECT_EQ(Ctl("prefix list").out,
              "PREFIX             WAN   LAN\n"
              "2001:db8:8::/64    wan1  br0\n"
              "2001:db8:8:1::/64  wan1  -\n");
    const Json::Value router = Parsed(Ctl("router6 show wan1 --json").out);
    EXPECT_EQ(router["lans"][0]["prefix"], "2001:db8:8::");
    EXPECT_EQ(Parsed(Ctl("prefix list --json").out)[0]["lan"], "br0");
    for (const char* line : {"router6", "router6 create native", "router6 restore", "prefix list",
                             "prefix allocate", "prefix deallocate"}) {
        EXPECT_THAT(Ctl(line + std::string(" --help")).out,
                    AllOf(HasSubstr("Example: vexonetctl "), Not(ContainsRegex("[^\n]{81}"))));
    }
}

/// The tunnel cannot be made, so that all that was made of it is taken back.
TEST_F(Router6Ctl, RestoringLosesNothingWheneverItIsKilled) {
    std::filesystem::create_directories("/etc/sysconfig/network-scripts");
    std::filesystem::remove("/usr/sbin/ip");
    WriteScript("/usr/sbin/ip",
                "case \"$1 $2\" in\n"
                "'tunnel add') exec /usr/bin/ip link add \"$3\" type veth peer name far6 ;;\n"
                "'tunnel del') exec /usr/bin/ip link del \"$3\" ;;\n"
                "esac\nexec /usr/bin/ip \"$@\"\n");
    const std::string file = "/etc/sysconfig/networking/ipv6-wan1";
    std::string broken = kBroker;
    broken.replace(broken.find("::2/64"), 6, "::2/129");
    WriteFile(file, broken);
    int steps = 1;
    const auto restore = [] {
        ::execl(CtlProgram().c_str(), "vexonetctl", "router6", "restore", nullptr);
    };
    while (KilledAt(steps, restore)) {
        ASSERT_EQ(ReadFile(file), broken) << "before change " << steps;
        vexotest::Run(Words("ip tunnel del 6in4-wan1"));
        ++steps;
    }
    EXPECT_GT(steps, 3);
    EXPECT_EQ(ReadFile(file), broken);
    WriteFile(file, kBroker);
    EXPECT_THAT(Ctl("router6 restore").out, HasSubstr("the router of wan1 is there"));
}

}  // namespace
}  // namespace vexotest
