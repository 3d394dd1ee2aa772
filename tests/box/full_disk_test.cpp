// The configuration folder is full: requests fail with their message, the former files stay
// whole, and the service recovers when space returns.

#include <gmock/gmock.h>
#include <sys/mount.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::HasSubstr;

const std::string kFolder = "/etc/iproute2/config/";
constexpr const char* kNames[] = {"gateway_v4_priority", "gateway_database", "resolv4.conf"};

class FullDisk : public testing::Test {
  protected:
    void SetUp() override {
        Must("mkdir -p /etc/iproute2/config");
        ASSERT_EQ(::mount("small", kFolder.c_str(), "tmpfs", 0, "size=64k"), 0);
        appliance.StartDaemon();
        ASSERT_EQ(Add("192.0.2.1"), 0);
    }

    int Add(const std::string& gateway) {
        return appliance.Call("AddGatewayData",
                              R"({"type": "GTYPE_V4", "ifname": "wan0", "priority": 0,
            "gateway": ")" + gateway
                                  + R"(", "dns": ")" + gateway + R"("})");
    }

    static std::string Files(const std::string& suffix = "") {
        std::string all;
        for (const std::string name : kNames) {
            all += ReadFile(kFolder + name + suffix);
        }
        return all;
    }

    Uplink uplink = MakeUplink(0);
    Appliance appliance;
};

TEST_F(FullDisk, FormerFilesStayAndTheServiceRecovers) {
    const std::string former = Files();
    ASSERT_THAT(former, HasSubstr("192.0.2.1"));
    vexotest::Run({"dd", "if=/dev/zero", "of=" + kFolder + "filler", "bs=1k"});
    Add("192.0.2.7");
    EXPECT_THAT(appliance.Log(),
                HasSubstr("Failed to set file[/etc/iproute2/config/gateway_v4_priority]"));
    EXPECT_EQ(Files(), former);
    EXPECT_THAT(vexotest::Run({"find", kFolder, "-name", "*.tmp.*"}).out, testing::IsEmpty());

    Must("rm " + kFolder + "filler");
    for (const std::string name : kNames) {
        Must("ln " + kFolder + name + " " + kFolder + name + ".open");
    }
    EXPECT_EQ(Add("192.0.2.8"), 0);
    EXPECT_THAT(Files(), HasSubstr("192.0.2.8"));
    EXPECT_EQ(Files(".open"), former) << "who has a file open reads it whole";
    EXPECT_EQ(appliance.StopDaemon(), 0);
    appliance.StartDaemon();
    EXPECT_EQ(appliance.GatewayList("GTYPE_V4")[0]["gateway"].asString(), "192.0.2.8");
}

}  // namespace
}  // namespace vexotest
