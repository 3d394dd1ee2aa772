// The configuration folder is full: requests fail with their message, the former files stay
// whole, and the service recovers when space returns.

#include <gmock/gmock.h>
#include <sys/mount.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::HasSubstr;

const std::string kFolder = "/etc/iproute2/config/";

std::string Files() {
    std::string all;
    for (const char* name : {"gateway_v4_priority", "gateway_database", "resolv4.conf"}) {
        all += ReadFile(kFolder + name);
    }
    return all;
}

TEST(FullDisk, FormerFilesStayAndTheServiceRecovers) {
    MakeUplink(0);
    Must("mkdir -p " + kFolder);
    ASSERT_EQ(::mount("small", kFolder.c_str(), "tmpfs", 0, "size=64k"), 0);
    Appliance appliance;
    appliance.StartDaemon();
    const auto add = [&](const std::string& gateway) {
        return Ctl("gateway add wan0 --dns " + gateway + " --gateway " + gateway).status;
    };
    ASSERT_EQ(add("192.0.2.1"), 0);
    const std::string former = Files();
    ASSERT_THAT(former, HasSubstr("192.0.2.1"));
    vexotest::Run({"dd", "if=/dev/zero", "of=" + kFolder + "filler", "bs=1k"});
    add("192.0.2.7");
    EXPECT_THAT(appliance.Log(),
                HasSubstr("Failed to set file[/etc/iproute2/config/gateway_v4_priority]"));
    EXPECT_EQ(Files(), former);
    EXPECT_THAT(vexotest::Run({"find", kFolder, "-name", "*.tmp.*"}).out, testing::IsEmpty());

    Must("rm " + kFolder + "filler");
    EXPECT_EQ(add("192.0.2.8"), 0);
    EXPECT_THAT(Files(), HasSubstr("192.0.2.8"));
    EXPECT_EQ(appliance.StopDaemon(), 0);
    appliance.StartDaemon();
    EXPECT_EQ(appliance.GatewayList("GTYPE_V4")[0]["gateway"].asString(), "192.0.2.8");
}

}  // namespace
}  // namespace vexotest
