#include <gtest/gtest.h>

#include <string>

#include <vexo/firewall.h>
#include <vexo/systemd.h>
#include <vlib/error.h>

#include "support/syslog_spy.h"
#include "vexo/system_manager.h"

namespace {

TEST(Systemd, FailsAndSaysSoWhereNoManagerRuns) {
    const vexotest::SyslogSpy log;
    EXPECT_FALSE(VEXOCSystemdEnable("ip-conflict-detect"));
    EXPECT_FALSE(VEXOCSystemdDisable("ip-conflict-detect"));
    EXPECT_FALSE(VEXOCSystemdStart("ip-conflict-detect"));
    EXPECT_FALSE(VEXOCSystemdStop("ip-conflict-detect"));
    EXPECT_EQ(VEXOCSystemdActiveStatusGet("ip-conflict-detect"), -1);
    EXPECT_EQ(VEXOFwRuleHup(), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEMD_FAILED);
    EXPECT_EQ(log.Messages(), std::vector<std::string>(6, "No system manager is running"));
    EXPECT_FALSE(VEXOCSystemdStart(""));
    EXPECT_FALSE(VEXOCSystemdStart(nullptr));
}

TEST(Systemd, TakesANameWithoutASuffixForAService) {
    using vexoplatform::FullUnitName;
    EXPECT_EQ(FullUnitName("ip-conflict-detect"), "ip-conflict-detect.service");
    EXPECT_EQ(FullUnitName("dhclient6@eth0.100-pd"), "dhclient6@eth0.100-pd.service");
    EXPECT_EQ(FullUnitName("nftables.service"), "nftables.service");
    EXPECT_EQ(FullUnitName("vexonetd.socket"), "vexonetd.socket");
}

}  // namespace
