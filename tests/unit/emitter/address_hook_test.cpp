#include <gmock/gmock.h>
#include <syslog.h>

#include <vexonetwork/hook/ip_change_event.h>
#include <vexonetwork/hook/ipv6_add_delete_event.h>
#include <vlib/error.h>

#include "support/process.h"
#include "support/syslog_spy.h"
#include "unit/emitter/hook_log.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::hook;

// What they are told is seen where the emitter runs them.
TEST(AddressHooks, RecordTheirFailure) {
    for (const char* name : {"ipv4_change", "ipv6_delete"}) {
        WriteScript(std::string("/usr/vexo/hooks/net/") + name + "/fail", "exit 1");
    }
    EXPECT_EQ(NetIPChangeEvent(IPTYPE_V4, "lo", "none", "192.0.2.1", 24), -1);
    EXPECT_EQ(VLIBCErrGet(), 0xD00);
    EXPECT_THAT(VLIBCErrFile(), EndsWith("ip_change_event.cpp"));
    EXPECT_EQ(IPv6AddDeleteEvent("lo", "fd::1/64", "fd::1/64", "delete"), -1);
    EXPECT_THAT(VLIBCErrFile(), EndsWith("ipv6_add_delete_event.cpp"));
}

TEST(AddressHooks, NeedAnInterfaceAndAnAction) {
    for (const char* name : {"ipv4_change", "ipv6_change", "ipv6_add", "ipv6_delete"}) {
        InstallHook(name);
    }
    const SyslogSpy spy;
    EXPECT_EQ(NetIPChangeEvent(IPTYPE_V6, "gone0", "none", "fd::1/64", 64), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "ip_change_event", "error on link detect"));
    EXPECT_EQ(IPv6AddDeleteEvent("gone0", "", "fd::1/64", "add"), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "ipv6_add_delete_event", "error on link detect"));
    EXPECT_EQ(IPv6AddDeleteEvent("lo", "", "fd::1/64", "replace"), -1);
    EXPECT_EQ(ReadFile(kHookLog), "");
    // That of a label is the one before the colon.
    Must("ip link add wan0 type veth peer name far0");
    EXPECT_EQ(NetIPChangeEvent(IPTYPE_V4, "wan0:1", "192.0.2.1", "none", 24), 0);
    EXPECT_EQ(ReadFile(kHookLog),
              "ipv4_change IFNAME=wan0:1 IS_LINK=false NEW_ADDRESS=none "
              "ORIGIN_ADDRESS=192.0.2.1 PREFIX_LENGTH=24\n");
}

}  // namespace
}  // namespace vexotest
