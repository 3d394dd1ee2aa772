#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vexo/default_gateway.h>
#include <vexo/event_log.h>
#include <vexonetwork/utils/gateway.h>
#include <vexonetwork/utils/get_default_route.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;
using vexotest::Must;

std::vector<std::string> events;

}  // namespace

extern "C" int VEXOLogSet1(int level, int kind, int event, const char* a1, const char* a2,
                           const char* a3, const char* a4, const char* a5, const char* a6,
                           const char* a7) {
    events.push_back(std::to_string(level) + " " + std::to_string(kind) + " "
                     + std::to_string(event) + " [" + a1 + "] [" + a2 + "]" + a3 + a4 + a5 + a6
                     + a7);
    return 0;
}

namespace {

/// A network 192.0.2.0/24 whose addresses all can be gateways.
class GatewayTest : public testing::Test {
  protected:
    GatewayTest() {
        events.clear();
        vexotest::WriteFile("/etc/sysconfig/network", "");
        Must("ip link add wan0 type veth peer name far");
        Must("ip link set wan0 up");
        Must("ip addr add 192.0.2.10/24 dev wan0");
    }

    void Arrange(const std::string& current, const std::string& configured) {
        ASSERT_EQ(VEXONetDefaultGatewaySet(current.c_str()), 0);
        ASSERT_EQ(VEXONetDefaultGatewaySetConf(configured.c_str()), 0);
        events.clear();
    }

    std::string Configured() {
        IPAddress address;
        EXPECT_EQ(gateway.GetConfig(address), 0);
        return address;
    }

    Gateway gateway;
    vexotest::SyslogSpy spy;
};

TEST_F(GatewayTest, SetStoresAppliesAndWritesAnEvent) {
    struct Case {
        std::string current, configured, wanted;
        std::vector<std::string> events;
    };
    const std::string a = "192.0.2.1";
    const std::string b = "192.0.2.2";
    for (const Case& c :
         {Case{a, a, a, {}}, Case{"", "", "", {}}, Case{a, "", "", {"2 1 293606159 [] []"}},
          Case{"", "", b, {"2 1 293606161 [] [192.0.2.2]"}},
          Case{"", b, b, {"2 1 293606161 [192.0.2.2] [192.0.2.2]"}},
          Case{b, a, b, {"2 1 293606161 [192.0.2.1] [192.0.2.2]"}},
          Case{a, a, "", {"2 1 293606160 [192.0.2.1] []"}}}) {
        Arrange(c.current, c.configured);
        EXPECT_EQ(gateway.Set(IPAddress(c.wanted)), 0);
        EXPECT_EQ(GetDefaultRoute<2>(), c.wanted);
        EXPECT_EQ(Configured(), c.wanted);
        EXPECT_EQ(events, c.events);
    }
}

TEST_F(GatewayTest, FailuresAreToldAndWriteNoEvent) {
    Arrange("192.0.2.1", "192.0.2.1");
    spy.Clear();
    EXPECT_EQ(gateway.Set(IPAddress(std::string("203.0.113.1"))), -1);
    EXPECT_EQ(spy.Messages().back(), "set gateway failed");
    EXPECT_EQ(GetDefaultRoute<2>(), "192.0.2.1");
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(GatewayTest, RestoresWhatWasBackedUp) {
    EXPECT_EQ(gateway.Restore(), -1);
    EXPECT_EQ(gateway.Backup(), -1);
    EXPECT_THAT(spy.Messages(), ElementsAre("Failed to backup gateway"));
    for (const std::string current : {"", "192.0.2.3"}) {
        Arrange(current, "192.0.2.2");
        EXPECT_EQ(gateway.Backup(), 0);
        Arrange("192.0.2.1", "192.0.2.1");
        EXPECT_EQ(gateway.Restore(), 0);
        EXPECT_EQ(GetDefaultRoute<2>(), current.empty() ? "192.0.2.2" : current);
    }
}

}  // namespace
