#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>

#include <vexonetwork/emitter/net_link_flag.h>
#include <vexonetwork/emitter/network_event_emitter.h>

#include "support/appliance.h"
#include "unit/network/fake_module.h"

// The kernel's own events, handled on this thread; hooks are run for real and write down what they
// were told; a fake route module writes down what it was asked.

namespace vexotest {
namespace {

using namespace std::chrono_literals;
using namespace testing;
using Lines = std::vector<std::string>;

constexpr char kHookLog[] = "/tmp/hooks.log";

/// Has the hook append its name and environment to the log.
void InstallHook(const std::string& name) {
    const std::string path = "/usr/vexo/hooks/net/" + name + "/write-down";
    WriteScript(path, "echo " + name + " $(env | grep -Ev '^(PATH|PWD|OLDPWD|SHLVL|_)=' | sort) >>"
                          + kHookLog);
}

/// A pair of ports, both up.
void MakePort(const std::string& ifname, const std::string& far) {
    Must("ip link add " + ifname + " type veth peer name " + far);
    for (const std::string& each : {ifname, far}) {
        WriteFile("/proc/sys/net/ipv6/conf/" + each + "/disable_ipv6", "1");
        Must("ip link set " + each + " up");
    }
}

class Emitter : public FakeModules {
  protected:
    Emitter() {
        for (const char* name : {"link_up", "link_down", "ipv4_change", "ipv6_change", "ipv6_add",
                                 "ipv6_delete", "gateway_change"}) {
            InstallHook(name);
        }
        answer = [](Json::Value& reply) {
            reply["exist"] = requests.back().find("ifname=wan0 ") != std::string::npos;
            return 0;
        };
        Add<MODULE_ROUTE>();
        requests.clear();
    }

    void HandleEverything() {
        while (emitter.PollOnce(0ms)) {
        }
    }

    /// What the hooks whose name begins so wrote since the last call, of one interface.
    Lines Hooks(const std::string& name, const std::string& ifname) {
        Lines lines;
        std::istringstream text(ReadFile(kHookLog));
        ::unlink(kHookLog);
        for (std::string line; std::getline(text, line);) {
            if (line.starts_with(name)
                && (line + " ").find(" IFNAME=" + ifname + " ") != line.npos) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    static Lines Elections() {
        Lines elections;
        std::ranges::copy_if(requests, std::back_inserter(elections), [](const std::string& one) {
            return one.find("REFRESH_GATEWAY") != one.npos;
        });
        requests.clear();
        return elections;
    }

    vexonetwork::NetworkEventEmitter emitter;
};

TEST_F(Emitter, BeginsWithWhatIsThere) {
    MakePort("wan0", "far0");
    Must("ip address add 192.0.2.10/24 dev wan0");
    Must("ip link add idle type veth peer name idler");
    ASSERT_TRUE(Eventually([] { return ReadFile("/sys/class/net/wan0/operstate") == "up\n"; }));
    emitter.Initialize();
    EXPECT_EQ(emitter.InitInterface(), 0);
    EXPECT_THAT(Hooks("", "wan0"), ElementsAre("ipv4_change IFNAME=wan0 IS_LINK=true "
                                               "NEW_ADDRESS=192.0.2.10 ORIGIN_ADDRESS=none "
                                               "PREFIX_LENGTH=24",
                                               "link_up IFNAME=wan0"));
    EXPECT_FALSE(vexonetwork::utils::IsNetLinkProcessing());
    EXPECT_EQ(emitter.Links().at("wan0"), true);
    EXPECT_EQ(emitter.Links().at("idle"), false);
    HandleEverything();
    EXPECT_THAT(Elections(), ElementsAre("3 REFRESH_GATEWAY type=ALL"));
}

TEST_F(Emitter, AnnouncesOnlyAddressesThatChange) {
    MakePort("wan0", "far0");
    emitter.Initialize();
    const auto change = [&](const std::string& command, const std::string& address) {
        Must("ip address " + command + " " + address + " dev wan0 "
             + (command == "del" ? "" : "valid_lft 600 preferred_lft 600"));
        HandleEverything();
    };
    change("add", "192.0.2.10/24");
    change("replace", "192.0.2.10/24");
    change("add", "198.51.100.7/32");
    change("del", "192.0.2.10/24");
    const std::string link = "ipv4_change IFNAME=wan0 IS_LINK=true ";
    EXPECT_THAT(
        Hooks("ipv4", "wan0"),
        ElementsAre(link + "NEW_ADDRESS=192.0.2.10 ORIGIN_ADDRESS=none PREFIX_LENGTH=24",
                    link + "NEW_ADDRESS=198.51.100.7 ORIGIN_ADDRESS=192.0.2.10 PREFIX_LENGTH=32",
                    link + "NEW_ADDRESS=none ORIGIN_ADDRESS=198.51.100.7 PREFIX_LENGTH=24"));
    EXPECT_THAT(Elections(), Contains("3 REFRESH_GATEWAY type=GTYPE_V4"));

    WriteFile("/proc/sys/net/ipv6/conf/wan0/addr_gen_mode", "1");
    WriteFile("/proc/sys/net/ipv6/conf/wan0/accept_dad", "0");
    WriteFile("/proc/sys/net/ipv6/conf/wan0/disable_ipv6", "0");
    change("add", "2001:db8::1/64");
    change("replace", "2001:db8::1/64");
    change("add", "2001:db8::2/128");
    change("del", "2001:db8::1/64");
    const Lines lines = Hooks("ipv6", "wan0");
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[2],
              "ipv6_change IFNAME=wan0 IS_LINK=true "
              "NEW_ADDRESS=2001:db8::1/64,2001:db8::2/128 "
              "ORIGIN_ADDRESS=2001:db8::1/64 PREFIX_LENGTH=128");
    EXPECT_EQ(lines[3],
              "ipv6_add IFNAME=wan0 IS_LINK=true NEW_ADDRESSES=2001:db8::2/128 "
              "ORIGIN_ADDRESSES=2001:db8::1/64");
    EXPECT_EQ(lines[5],
              "ipv6_delete DELETE_ADDRESSES=2001:db8::1/64 IFNAME=wan0 IS_LINK=true "
              "ORIGIN_ADDRESSES=2001:db8::1/64,2001:db8::2/128");
    EXPECT_THAT(Elections(), Contains("3 REFRESH_GATEWAY type=GTYPE_V6"));
}

TEST_F(Emitter, AnnouncesRoutesOfTheMainTable) {
    MakePort("wan0", "far0");
    Must("ip address add 192.0.2.10/24 dev wan0");
    emitter.Initialize();
    for (const char* route :
         {"add default dev wan0", "del default dev wan0", "add 198.51.100.0/24 via 192.0.2.1",
          "add default dev wan0 table 77"}) {
        Must(std::string("ip route ") + route);
    }
    HandleEverything();
    const std::string wan0 = " IFNAME=wan0";
    EXPECT_THAT(
        Hooks("gateway", "wan0"),
        ElementsAre("gateway_change ACTION=NEW DESTINATION=0.0.0.0 GATEWAY=0.0.0.0" + wan0,
                    "gateway_change ACTION=DEL DESTINATION=0.0.0.0 GATEWAY=0.0.0.0" + wan0,
                    "gateway_change ACTION=NEW DESTINATION=198.51.100.0 GATEWAY=192.0.2.1" + wan0));
}

/// Changes that come faster than they are handled, so that the socket overruns.
TEST_F(Emitter, KnowsTheKernelsStateAfterABurst) {
    Must("rm -r /usr/vexo/hooks/net");
    MakePort("wan0", "far0");
    Must("ip link add idle type veth peer name idler");
    Must("ip link set idler up");
    for (const auto& [setting, value] :
         {std::pair{"addr_gen_mode", "1"}, {"accept_dad", "0"}, {"disable_ipv6", "0"}}) {
        WriteFile(std::string("/proc/sys/net/ipv6/conf/far0/") + setting, value);
    }
    Must("ip address add 192.0.2.1/24 dev wan0");
    emitter.Initialize();
    emitter.InitInterface();
    HandleEverything();
    requests.clear();

    constexpr int kAddresses = 4'000;
    constexpr int kKept = 5;
    std::ofstream batch("/tmp/batch");
    for (const char* command : {"add", "del"}) {
        for (int i = command == std::string("add") ? 0 : kKept; i < kAddresses; ++i) {
            const std::string low = std::to_string(i & 255);
            batch << "address " << command << " 10." << (i >> 8) << "." << low
                  << ".1/32 dev wan0\n";
            if (i < kAddresses / 10) {
                batch << "address " << command << " 2001:db8::" << i << "/128 dev far0\n";
            }
        }
    }
    batch << "link set idle up\naddress add 192.0.2.9/24 dev wan0\n";
    batch.close();
    Must("ip -batch /tmp/batch");
    HandleEverything();

    EXPECT_EQ(emitter.IPv4Addresses().at("wan0"), "192.0.2.9");
    EXPECT_EQ(emitter.IPv6Addresses().at("far0").Join(),
              "2001:db8::/128,2001:db8::1/128,2001:db8::2/128,2001:db8::3/128,2001:db8::4/128");
    EXPECT_EQ(emitter.Links().at("idle"), true);
    EXPECT_EQ(Count(PrintToString(spy.Messages()), "Taking stock"), 1U);
    EXPECT_LE(Elections().size(), 3U);
}

}  // namespace
}  // namespace vexotest
