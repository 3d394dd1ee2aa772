// Eight clients and a router at once; afterwards the bus, the priority file and the resolver file
// agree.

#include <gmock/gmock.h>

#include <deque>
#include <random>
#include <thread>

#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/utils/config.h>

#include "support/advertiser.h"
#include "support/appliance.h"

namespace vexotest {
namespace {

using vexonetwork::dbus::NetClient;
using vexonetwork::utils::ConfigSection;

constexpr int kClients = 8;
constexpr int kRequests = 2000;

/// One client: a mixture of all gateway requests on interfaces that exist and that do not.
class Client {
  public:
    explicit Client(unsigned seed) : random(seed) {}

    void Work(int requests) {
        for (int i = 0; i < requests; ++i) {
            failures += Send() == 0 ? 0 : 1;
        }
    }

    int Failures() const { return failures; }

  private:
    int Below(int bound) { return std::uniform_int_distribution(0, bound - 1)(random); }
    std::string Ifname() { return "wan" + std::to_string(Below(6)); }

    int Send() {
        // A method passes over members that it does not know.
        Json::Value request, reply;
        request["type"] = "GTYPE_V4";
        request["ifname"] = Ifname();
        request["priority"] = Below(5) - 2;
        request["gateway"] = "192.0.2." + std::to_string(Below(200) + 1);
        request["dns"] = Below(2) == 0 ? "NULL" : "192.0.2." + std::to_string(Below(200) + 1);
        request["slave"] = Below(2) == 0;
        request["interface_source"] = Ifname();
        request["interface_destination"] = Ifname();
        request["interface_source_delete"] = Below(2) == 0;
        static constexpr std::array kChanges = {
            &NetClient::AddGatewayData, &NetClient::AddGatewayData,  &NetClient::DelGatewayData,
            &NetClient::SetSlaveData,   &NetClient::CopyGatewayData, &NetClient::RefreshGateway};
        const int dice = Below(20);
        if (dice < int(kChanges.size())) {
            return (client.*kChanges[size_t(dice)])(request);
        }
        if (dice == 6) {
            return client.ResetIPv6Module(request["ifname"].asString());
        }
        return dice < 10 ? client.GetGatewayDataByInterface(request, reply)
                         : client.GetGatewayListData(request, reply);
    }

    std::minstd_rand random;
    NetClient client;
    int failures = 0;
};

std::string NameServers(const Json::Value& list) {
    std::string lines;
    for (const Json::Value& entry : list) {
        if (!entry["dns"].asString().empty()) {
            lines += "nameserver " + entry["dns"].asString() + "\n";
        }
    }
    return lines;
}

TEST(Load, EightClientsAndARouterAtOnce) {
    const Uplink wan0 = MakeUplink(0);
    MakeUplink(1);
    Appliance appliance;
    appliance.StartDaemon();

    std::deque<Client> clients;
    for (unsigned seed = 1; seed <= kClients; ++seed) {
        clients.emplace_back(seed);
    }
    std::vector<std::jthread> threads;
    for (Client& client : clients) {
        threads.emplace_back([&client] { client.Work(kRequests); });
    }
    Advertiser router(wan0.provider, "far");
    for (int i = 0; i < 3'000; ++i) {
        router.Send({.flags = static_cast<unsigned char>(i % 4 * 0x40)});
    }
    threads.clear();
    for (const Client& client : clients) {
        EXPECT_EQ(client.Failures(), 0);
    }

    // A request that writes elects afterwards, which moves the winner in memory only: the second
    // one brings all in step.
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_EQ(
            appliance.Call(
                "AddGatewayData",
                R"({"type": "GTYPE_V4", "ifname": "last", "priority": -1, "dns": "192.0.2.254"})"),
            0);
    }
    const Json::Value list = appliance.GatewayList("GTYPE_V4");
    EXPECT_EQ(ReadFile("/etc/iproute2/config/resolv4.conf"), NameServers(list));
    ConfigSection file("/etc/iproute2/config/gateway_v4_priority");
    ASSERT_EQ(file.Read(), 0);
    ASSERT_EQ(file.GetKeyValues().size(), list.size());
    for (const Json::Value& entry : list) {
        const std::string section = std::to_string(entry["priority"].asInt());
        for (const char* key : {"ifname", "gateway", "dns", "class"}) {
            EXPECT_EQ(file.GetKeyValue(section, key), entry[key].asString()) << section << key;
        }
        EXPECT_EQ(file.GetKeyValue(section, "slave") == "yes", entry["slave"].asBool());
    }
    EXPECT_TRUE(Eventually([&] {
        router.Send({.source = "fe80::77"});
        return ReadFile("/run/vexo/ipv6_routers.json").find("fe80::77") != std::string::npos;
    }));
    EXPECT_EQ(appliance.StopDaemon(), 0);
    const std::string log = appliance.Log();
    const auto report = log.find("WARNING: ThreadSanitizer");
    EXPECT_EQ(report, log.npos) << log.substr(std::min(report, log.size()));
}

}  // namespace
}  // namespace vexotest
