// The daemon is killed at random moments while a client adds and deletes gateways: every file
// holds the state before or after the request that was under way, and the next start serves it.

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>
#include <thread>

#include <vexonetwork/utils/config.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

constexpr int kRounds = 200;
constexpr int kInterfaces = 4;
constexpr char kFolder[] = "/etc/iproute2/config/";

/// What the files hold after a sequence of requests. The gateways cannot be reached, so that no
/// election changes the order; most entries have none, so that a request is mostly the writing of
/// files and few kills are spent on running ip.
class Model {
  public:
    struct Entry {
        std::string ifname, gateway, dns;
    };

    void Add(const Entry& added) {
        Delete(added.ifname);
        entries.push_back(added);
        for (const Entry& entry : entries) {
            database[entry.ifname] = entry;
        }
    }

    void Delete(const std::string& ifname) {
        std::erase_if(entries, [&](const Entry& entry) { return entry.ifname == ifname; });
    }

    /// The contents of the three files.
    std::array<std::string, 3> Files() const {
        std::string priority;
        std::string resolver;
        std::string addresses;
        for (size_t i = 0; i < entries.size(); ++i) {
            const Entry& entry = entries[i];
            priority += "[" + std::to_string(i) + "]\n\tclass=vpn\n\tdns=" + entry.dns
                        + "\n\tgateway=" + entry.gateway + "\n\tifname=" + entry.ifname
                        + "\n\tslave=no\n";
            resolver += "nameserver " + entry.dns + "\n";
        }
        for (const auto& [ifname, entry] : database) {
            addresses +=
                "[" + ifname + "]\n\tdns=" + entry.dns + "\n\tgateway=" + entry.gateway + "\n";
        }
        return {priority, resolver, addresses};
    }

  private:
    std::vector<Entry> entries;
    std::map<std::string, Entry> database;
};

class Crash : public testing::Test {
  protected:
    void SetUp() override {
        for (int i = 0; i < kInterfaces; ++i) {
            MakeUplink(i);
        }
    }

    std::array<std::string, 3> Files() const {
        return {ReadFile(kFolder + std::string("gateway_v4_priority")),
                ReadFile(kFolder + std::string("resolv4.conf")),
                ReadFile(kFolder + std::string("gateway_database"))};
    }

    /// Sends one random request; the model is what should be there once it is done.
    bool Send() {
        const std::string ifname = "wan" + std::to_string(random() % kInterfaces);
        Json::Value request;
        request["type"] = "GTYPE_V4";
        request["ifname"] = ifname;
        if (random() % 3 == 0) {
            after.Delete(ifname);
            return appliance.Call("DelGatewayData", request.toStyledString()) == 0;
        }
        const std::string address = "172.16.0." + std::to_string(random() % 250 + 1);
        const std::string gateway = random() % 8 == 0 ? address : "";
        after.Add({ifname, gateway, address});
        request["priority"] = -1;
        request["class"] = "vpn";
        request["gateway"] = gateway;
        request["dns"] = address;
        return appliance.Call("AddGatewayData", request.toStyledString()) == 0;
    }

    /// The interfaces that the served list names, in order, as the priority file would name them.
    std::string Served() {
        std::string names;
        for (const Json::Value& entry : appliance.GatewayList("GTYPE_V4")) {
            names += entry["ifname"].asString() + "=" + entry["gateway"].asString() + " ";
        }
        return names;
    }

    static std::string Stored() {
        vexonetwork::utils::ConfigSection file(kFolder + std::string("gateway_v4_priority"));
        std::string names;
        if (file.Read() == 0) {
            for (const auto& [section, keys] : file.GetKeyValues()) {
                names += keys.at("ifname") + "=" + keys.at("gateway") + " ";
            }
        }
        return names;
    }

    Appliance appliance;
    std::minstd_rand random{20240229};
    Model before, after;
};

TEST_F(Crash, KilledAtRandomMoments) {
    appliance.StartDaemon();
    for (int round = 0; round < kRounds; ++round) {
        const std::chrono::microseconds moment(random() % 4'000);
        std::jthread killer([this, moment] {
            std::this_thread::sleep_for(moment);
            appliance.Daemon().Signal(SIGKILL);
        });
        while (Send()) {
            before = after;
        }
        killer.join();
        ASSERT_EQ(appliance.Daemon().Wait(), 128 + SIGKILL);

        const auto files = Files();
        const auto former = before.Files();
        const auto latter = after.Files();
        for (size_t i = 0; i < files.size(); ++i) {
            ASSERT_TRUE(files[i] == former[i] || files[i] == latter[i])
                << "round " << round << ", file " << i << "\nholds\n"
                << files[i] << "before\n"
                << former[i] << "after\n"
                << latter[i];
        }

        const std::string stored = Stored();
        appliance.StartDaemon();
        ASSERT_EQ(Served(), stored);
        // One whole request brings the three files in step again, whichever of them was cut off.
        before = after = Model();
        for (const std::string ifname : {"wan0", "wan1", "wan2", "wan3"}) {
            ASSERT_EQ(appliance.Call("DelGatewayData",
                                     R"({"type": "GTYPE_V4", "ifname": ")" + ifname + "\"}"),
                      0);
        }
        Must(std::string("rm -f ") + kFolder + "gateway_database");
        Must(std::string("rm -f ") + kFolder + "resolv4.conf");
    }
    EXPECT_EQ(appliance.StopDaemon(), 0);
    EXPECT_THAT(vexotest::Run({"find", kFolder, "-name", "*.tmp.*"}).out, testing::IsEmpty())
        << "what a killed daemon left is swept by the next start";
}

}  // namespace
}  // namespace vexotest
