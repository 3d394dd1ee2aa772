#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include <vexo/dns.h>

#include "support/files.h"
#include "support/syslog_spy.h"

namespace {

namespace fs = std::filesystem;
using namespace testing;
using namespace vexotest;

constexpr char kResolv[] = "/etc/resolv.conf";
constexpr char kResolv4[] = "/etc/iproute2/config/resolv4.conf";
constexpr char kResolv6[] = "/etc/iproute2/config/resolv6.conf";

TEST(DnsUpdate, ReplacesTheServersInPlace) {
    const struct {
        const char *before, *v4, *v6, *after;
    } cases[] = {
        {"search lan\nnameserver 9.9.9.9\noptions rotate\nnameserver 8.8.8.8\n# end\n",
         "nameserver 192.0.2.1\nnameserver 192.0.2.2\n",
         "nameserver 2001:db8::1\nnameserver 192.0.2.1\n",
         "search lan\nnameserver 192.0.2.1\nnameserver 192.0.2.2\nnameserver 2001:db8::1\n"
         "options rotate\n# end\n"},
        {"nameserver\t9.9.9.9 \r\n#nameserver 9.9.9.9\nnameservers x\n nameserver 1.2.3.4\r\n",
         "junk\nnameserver \n", "nameserver\t2001:db8::1  \r\n",
         "nameserver 2001:db8::1\n#nameserver 9.9.9.9\nnameservers x\n nameserver 1.2.3.4\r\n"},
        {"search lan", "nameserver 192.0.2.1", "", "search lan\nnameserver 192.0.2.1\n"},
    };
    for (const auto& [before, v4, v6, after] : cases) {
        WriteFile(kResolv, before);
        WriteFile(kResolv4, v4);
        WriteFile(kResolv6, v6);
        EXPECT_EQ(VEXONetDNSUpdate_S(), 0);
        EXPECT_EQ(ReadFile(kResolv), after) << before;
    }
}

TEST(DnsUpdate, KeepsALinkAndSaysWhatFails) {
    fs::remove(kResolv);
    fs::create_symlink("../run/resolved/stub.conf", kResolv);
    WriteFile(kResolv4, "nameserver 192.0.2.1\n");
    const SyslogSpy log;
    EXPECT_EQ(VEXONetDNSUpdate_S(), -1) << "there is no folder for it";
    EXPECT_TRUE(log.Has("dns", "Failed to write [/etc/resolv.conf]: No such file or directory"));
    fs::create_directory("/run/resolved");
    EXPECT_EQ(VEXONetDNSUpdate_S(), 0);
    EXPECT_EQ(ReadFile("/run/resolved/stub.conf"), "nameserver 192.0.2.1\n");
    EXPECT_TRUE(fs::is_symlink(kResolv));

    fs::create_directories(kResolv6);
    EXPECT_EQ(VEXONetDNSUpdate_S(), -1) << "a server file cannot be read";
}

}  // namespace
