// The daemon is killed at random moments while a client adds and deletes gateways: every file
// holds the state before or after the request that was under way, and the next start serves it and
// brings them in step.

#include <gmock/gmock.h>

#include <random>
#include <thread>

#include <vexonetwork/utils/config.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

constexpr int kRounds = 200;
constexpr int kInterfaces = 4;
const std::string kFolder = "/etc/iproute2/config/";

class Crash : public testing::Test {
  protected:
    using Contents = std::array<std::string, 3>;

    void SetUp() override {
        for (int i = 0; i < kInterfaces; ++i) {
            MakeUplink(i);
        }
    }

    static Contents Files() {
        return {ReadFile(kFolder + "gateway_v4_priority"), ReadFile(kFolder + "resolv4.conf"),
                ReadFile(kFolder + "gateway_database")};
    }

    /// Chooses a request, which may be sent twice. The gateways cannot be reached, so that no
    /// election changes the order; most entries have none, so that a request is mostly the writing
    /// of files and few kills are spent on running ip.
    void Draw() {
        const std::string address = "172.16.0." + std::to_string(random() % 250 + 1);
        method = random() % 3 == 0 ? "DelGatewayData" : "AddGatewayData";
        request["type"] = "GTYPE_V4";
        request["ifname"] = "wan" + std::to_string(random() % kInterfaces);
        request["priority"] = -1;
        request["class"] = "vpn";
        request["gateway"] = random() % 8 == 0 ? address : "";
        request["dns"] = address;
    }

    bool Send() { return appliance.Call(method, request.toStyledString()) == 0; }

    /// The interfaces that the served list names, in order, with their gateways.
    std::string Served() {
        std::string names;
        for (const Json::Value& entry : appliance.GatewayList("GTYPE_V4")) {
            names += entry["ifname"].asString() + "=" + entry["gateway"].asString() + " ";
        }
        return names;
    }

    /// The same of the priority file, and the resolver file that goes with it.
    static std::pair<std::string, std::string> Stored() {
        vexonetwork::utils::ConfigSection file(kFolder + "gateway_v4_priority");
        std::string names;
        std::string servers;
        if (file.Read() == 0) {
            for (const auto& [section, keys] : file.GetKeyValues()) {
                names += keys.at("ifname") + "=" + keys.at("gateway") + " ";
                servers += "nameserver " + keys.at("dns") + "\n";
            }
        }
        return {names, servers};
    }

    Appliance appliance;
    std::minstd_rand random{20240229};
    std::string method;
    Json::Value request;
};

TEST_F(Crash, KilledAtRandomMoments) {
    const std::string foreign = kFolder + "mine.tmp.aB3xYz";
    WriteFile(foreign, "kept");
    appliance.StartDaemon();
    for (int round = 0; round < kRounds; ++round) {
        Contents former = Files();
        const std::chrono::microseconds moment(random() % 4'000);
        std::jthread killer([this, moment] {
            std::this_thread::sleep_for(moment);
            appliance.Daemon().Signal(SIGKILL);
        });
        for (Draw(); Send(); Draw()) {
            former = Files();
        }
        killer.join();
        ASSERT_EQ(appliance.Daemon().Wait(), 128 + SIGKILL);

        const Contents files = Files();
        const auto [stored, servers] = Stored();
        appliance.StartDaemon();
        ASSERT_EQ(Served(), stored);
        ASSERT_EQ(ReadFile(kFolder + "resolv4.conf"), servers)
            << "mended where a kill left it behind";
        ASSERT_TRUE(Send()) << "what was cut off can be asked for again";
        const Contents latter = Files();
        for (size_t i = 0; i < files.size(); ++i) {
            ASSERT_THAT(files[i], testing::AnyOf(former[i], latter[i])) << round << " " << i;
        }
    }
    EXPECT_EQ(appliance.StopDaemon(), 0);
    EXPECT_EQ(Must("find " + kFolder + " -name *.tmp.*"), foreign + "\n")
        << "what a killed daemon left is swept by the next start";
}

TEST_F(Crash, WhatKilledCommandsLeftIsSweptWhenItIsOld) {
    const std::string now = kFolder + "policy.tmp.aB3xYz";
    const std::string foreign = kFolder + "gateway_database.tmp.mine";
    WriteFile(now, "being written");
    WriteFile(foreign, "kept");
    for (const char* old :
         {"/etc/iproute2/config/static-table.tmp.aB3xYz", "/etc/iproute2/rt_tables.tmp.aB3xYz",
          "/etc/sysconfig/networking/ipv6-wan0.tmp.aB3xYz"}) {
        WriteFile(old, "cut off");
        Must("touch -d -2minutes " + std::string(old));
    }
    appliance.StartDaemon();
    EXPECT_THAT(Words(Must("find /etc/iproute2 /etc/sysconfig -name *.tmp.*")),
                testing::UnorderedElementsAre(now, foreign));
}

}  // namespace
}  // namespace vexotest
