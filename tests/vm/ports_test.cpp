// Ports, bonds and VLANs, as a case with several sockets has them.

#include <gmock/gmock.h>
#include <json/json.h>

#include <fstream>
#include <map>
#include <set>

#include <vexonetwork/dbus/dbus_client.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using News = std::multiset<std::string>;

constexpr char kEvents[] = "/var/log/vexo/events.jsonl";
constexpr char kHooks[] = "/run/hooks";

/// An entry of the event log as "LAN 1 up".
std::string Sentence(const std::string& entry) {
    static const std::map<int, std::string> kStates = {{0x11801322, " up"}, {0x11801323, " down"}};
    const Json::Value value = Parsed(entry);
    return value["arguments"][0].asString() + kStates.at(value["event"].asInt());
}

/// The daemon on a machine with ports eth0 to eth3, and what it tells of their links: by hooks to
/// an administrator and in the event log to a user.
class Ports : public testing::Test {
  protected:
    void SetUp() override {
        for (const std::string hook : {"link_up", "link_down"}) {
            WriteScript("/usr/vexo/hooks/net/" + hook + "/tell",
                        "echo " + hook + " $IFNAME >>" + kHooks);
        }
        for (const std::string port : {"eth0", "eth1", "eth2", "eth3"}) {
            Must("ip link add " + port + " type dummy");
        }
    }

    static void SetCable(const std::string& port, bool plugged) {
        Must("ip link set " + port + " carrier " + (plugged ? "on" : "off"));
    }

    /// Exactly these hooks have run and these entries were written since the last call, in any
    /// order: the kernel tells of a carrier when it finds the time.
    void ExpectNews(const News& news) {
        Eventually([&] { return Told() == news; });
        PassMarker();
        EXPECT_EQ(Told(), news) << appliance.Log();
        WriteFile(kHooks, "");
        WriteFile(kEvents, "");
    }

    Appliance appliance;

  private:
    static News Told() {
        News news;
        for (const char* path : {kHooks, kEvents}) {
            std::ifstream file(path);
            for (std::string line; std::getline(file, line);) {
                news.insert(path == kEvents ? Sentence(line) : line);
            }
        }
        std::erase_if(news, [](const auto& one) { return one.find("marker") != one.npos; });
        return news;
    }

    /// Events are handled in order: after that of a new port nothing older is to come.
    void PassMarker() {
        const std::string marker = "marker" + std::to_string(++markers);
        Must("ip link add " + marker + " up type dummy");
        EXPECT_TRUE(Eventually([&] { return ReadFile(kHooks).find(marker) != std::string::npos; }));
    }

    int markers = 0;
};

TEST_F(Ports, AreCalledAsOnTheCase) {
    Must("ip link set eth3 up");
    appliance.StartDaemon();
    ExpectNews({"link_up eth3", "LAN 4 up"});

    Must("ip link set eth0 up");
    Must("ip link add eth10 up type dummy");
    Must("ip link add eth100 up type dummy");
    Must("ip link set eth3 down");
    ExpectNews({"link_up eth0", "link_up eth10", "link_up eth100", "link_down eth3", "LAN 1 up",
                "LAN 11 up", "LAN 4 down"});

    Must("ip link set eth0 mtu 1400");
    SetCable("eth0", false);
    ExpectNews({"link_down eth0", "LAN 1 down"});

    // A slave by its file is shown on the case only; ports of guests are nobody's business.
    WriteFile("/etc/sysconfig/network-scripts/ifcfg-eth2", "SLAVE=yes\n");
    Must("ip link set eth2 up");
    Must("ip link add docker0 up type dummy");
    Must("ip link add tap0 up type dummy");
    ExpectNews({"LAN 3 (slave) up"});
}

TEST_F(Ports, InABondCarryAVlanToTheLastCable) {
    const std::string vlan = "via 192.0.2.1 dev bond0.5 src 192.0.2.10";
    const std::string port = "via 198.51.100.1 dev eth0 src 198.51.100.10";
    Must("ip link add bond0 up type bond mode active-backup miimon 10");
    Must("ip link set eth2 master bond0");
    Must("ip link set eth3 master bond0");
    Must("ip link add link bond0 name bond0.5 up type vlan id 5");
    Must("ip addr add 192.0.2.10/24 dev bond0.5");
    WriteFile("/etc/sysconfig/network-scripts/ifcfg-bond0.5",
              "BOOTPROTO=static\nIPADDR=192.0.2.10\nPREFIX=24\n");
    Must("ip addr add 198.51.100.10/24 dev eth0");
    Must("ip link set eth0 up");
    appliance.StartDaemon();
    ExpectNews({"link_up bond0", "link_up bond0.5", "link_up eth0", "LAN 1 up", "LAN 3 (slave) up",
                "LAN 4 (slave) up"});
    using vexonetwork::utils::SetGatewayInfo;
    EXPECT_TRUE(SetGatewayInfo("bond0.5", "GTYPE_V4", "192.0.2.1", "", "ethernet", -1, false));
    EXPECT_TRUE(SetGatewayInfo("eth0", "GTYPE_V4", "198.51.100.1", "", "ethernet", -1, false));

    SetCable("eth3", false);
    ExpectNews({"LAN 4 (slave) down"});
    ExpectDefaultRoutes("-4", {vlan});
    SetCable("eth2", false);
    ExpectNews({"link_down bond0", "link_down bond0.5", "LAN 3 (slave) down"});
    ExpectDefaultRoutes("-4", {port});

    // With the link comes what is configured.
    Must("ip addr flush dev bond0.5");
    SetCable("eth3", true);
    ExpectNews({"link_up bond0", "link_up bond0.5", "LAN 4 (slave) up"});
    SetCable("eth0", false);
    ExpectDefaultRoutes("-4", {vlan});
}

}  // namespace
}  // namespace vexotest
