#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <vexo/dns.h>
#include <vexo/event_log.h>
#include <vexo/ha.h>
#include <vexo/system.h>

#include "support/files.h"
#include "support/syslog_spy.h"

namespace {

namespace fs = std::filesystem;
using vexotest::ReadFile;
using vexotest::SyslogSpy;
using vexotest::WriteFile;

constexpr char kResolv[] = "/etc/resolv.conf";
constexpr char kResolv4[] = "/etc/iproute2/config/resolv4.conf";
constexpr char kResolv6[] = "/etc/iproute2/config/resolv6.conf";
constexpr char kEvents[] = "/var/log/vexo/events.jsonl";

TEST(DnsUpdate, ReplacesTheServersInPlace) {
    const struct {
        const char* before;
        const char* v4;
        const char* v6;
        const char* after;
    } cases[] = {
        {"search lan\nnameserver 9.9.9.9\noptions rotate\nnameserver 8.8.8.8\n# end\n",
         "nameserver 192.0.2.1\nnameserver 192.0.2.2\n", "nameserver 2001:db8::1\n",
         "search lan\nnameserver 192.0.2.1\nnameserver 192.0.2.2\nnameserver 2001:db8::1\n"
         "options rotate\n# end\n"},
        {"search lan", "nameserver 192.0.2.1\nnameserver 192.0.2.1\n", "nameserver 192.0.2.1\n",
         "search lan\nnameserver 192.0.2.1\n"},
        {"nameserver\t9.9.9.9 \n", "", "", ""},
        {"#nameserver 9.9.9.9\nnameservers x\n nameserver 1.2.3.4\n", "junk\nnameserver \n",
         "nameserver\t2001:db8::1  \n",
         "#nameserver 9.9.9.9\nnameservers x\n nameserver 1.2.3.4\nnameserver 2001:db8::1\n"},
        {"", "nameserver 192.0.2.1\n", "", "nameserver 192.0.2.1\n"},
    };
    for (const auto& [before, v4, v6, after] : cases) {
        WriteFile(kResolv, before);
        WriteFile(kResolv4, v4);
        WriteFile(kResolv6, v6);
        EXPECT_EQ(VEXONetDNSUpdate_S(), 0);
        EXPECT_EQ(ReadFile(kResolv), after) << before;
    }
}

TEST(DnsUpdate, WritesOnlyWhatChangesAndKeepsALink) {
    fs::remove(kResolv);
    fs::create_symlink("/run/resolv.conf", kResolv);
    WriteFile(kResolv4, "nameserver 192.0.2.1\n");
    EXPECT_EQ(VEXONetDNSUpdate_S(), 0) << "neither resolv.conf nor resolv6.conf is there";
    EXPECT_EQ(ReadFile("/run/resolv.conf"), "nameserver 192.0.2.1\n");
    EXPECT_TRUE(fs::is_symlink(kResolv));

    struct stat before {};
    struct stat after {};
    ASSERT_EQ(::stat(kResolv, &before), 0);
    EXPECT_EQ(VEXONetDNSUpdate_S(), 0);
    ASSERT_EQ(::stat(kResolv, &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino) << "replaced without need";
}

TEST(DnsUpdate, TouchesNothingWhenAServerFileCannotBeRead) {
    WriteFile(kResolv, "nameserver 9.9.9.9\n");
    fs::create_directories(kResolv6);
    const SyslogSpy log;
    EXPECT_EQ(VEXONetDNSUpdate_S(), -1);
    EXPECT_EQ(ReadFile(kResolv), "nameserver 9.9.9.9\n");
    EXPECT_TRUE(log.Has("dns", std::string("Failed to read [") + kResolv6 + "]: Is a directory"));
}

TEST(EventLog, AppendsOneReadableLinePerEntry) {
    const SyslogSpy log;
    EXPECT_EQ(VEXOLogSet1(2, 1, 293606161, "", "192.0.2.1", "", "", "", "", ""), 0);
    EXPECT_EQ(VEXOLogSet1(3, 1, 7, "two\nlines \xff \"x\"", nullptr, "", "", "", "", "last"), 0);
    EXPECT_EQ(VEXOLogSet1(1, 1, 8, "", "", "", "", "", "", ""), 0);
    EXPECT_EQ(VEXOLogSet1(4, 1, 9, "", "", "", "", "", "", ""), -1);

    const std::string text = ReadFile(kEvents);
    const std::string time = "\"time\":\"20..-..-..T..:..:..[.]...Z\"";
    EXPECT_THAT(text, testing::ContainsRegex("^[{]\"arguments\":\\[\"\",\"192.0.2.1\"\\],"
                                             "\"event\":293606161,\"level\":2,"
                                             + time + "[}]\n[{]"));
    std::istringstream lines(text);
    std::vector<Json::Value> entries;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream json(line);
        ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), json, &entries.emplace_back(),
                                          nullptr))
            << line;
    }
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[1]["arguments"].size(), 7u);
    EXPECT_EQ(entries[1]["arguments"][0].asString(), "two\nlines \xef\xbf\xbd \"x\"");
    EXPECT_EQ(entries[2]["arguments"].size(), 0u);
    EXPECT_EQ(log.Messages()[0], "Event 293606161 [] [192.0.2.1]");
    EXPECT_EQ(log.Lines()[0].priority, LOG_WARNING);
}

TEST(EventLog, SaysWhenItCannotWrite) {
    WriteFile("/var/log/vexo", "in the way");
    const SyslogSpy log;
    EXPECT_EQ(VEXOLogSet1(1, 1, 5, "", "", "", "", "", "", ""), -1);
    EXPECT_TRUE(
        log.Has("event_log", std::string("Failed to write [") + kEvents + "]: Not a directory"));
}

TEST(HighAvailability, IsAsItsFileSays) {
    char ifname[16] = "untouched";
    EXPECT_EQ(VEXOHAIsRunning(), 0);
    EXPECT_EQ(VEXOHAGetHeartbeatIF(ifname, sizeof ifname), -1);
    const struct {
        const char* text;
        int running;
        const char* heartbeat;  // null: none
    } cases[] = {{"running=yes\nheartbeat_if=eth1\n", 1, "eth1"},
                 {"running=no\nheartbeat_if = \"bond0\"\n", 0, "bond0"},
                 {"running=yes\nheartbeat_if=\n", 1, nullptr},
                 {"heartbeat_if=sixteen-bytes-xx\n", 0, nullptr}};
    for (const auto& [text, running, heartbeat] : cases) {
        WriteFile("/usr/vexo/etc/ha.conf", text);
        char name[16] = "untouched";
        EXPECT_EQ(VEXOHAIsRunning(), running) << text;
        EXPECT_EQ(VEXOHAGetHeartbeatIF(name, sizeof name), heartbeat ? 0 : -1) << text;
        EXPECT_STREQ(name, heartbeat ? heartbeat : "untouched");
    }
    WriteFile("/usr/vexo/etc/ha.conf", "heartbeat_if=eth1\n");
    EXPECT_EQ(VEXOHAGetHeartbeatIF(ifname, 4), -1);
    EXPECT_STREQ(ifname, "untouched");
}

TEST(BootStep, IsUpUnlessTheFileSaysOtherwise) {
    EXPECT_EQ(VEXOSystemGetBootStep(), 4);
    WriteFile("/run/vexo/boot_step", "2\n");
    EXPECT_EQ(VEXOSystemGetBootStep(), 2);
    WriteFile("/run/vexo/boot_step", "soon\n");
    EXPECT_EQ(VEXOSystemGetBootStep(), 4);
}

}  // namespace
