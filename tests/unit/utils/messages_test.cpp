// What is said in the system log, with its level and under which name.

#include <gtest/gtest.h>
#include <syslog.h>

#include <functional>
#include <memory>

#include <vexonetwork/utils/config.h>
#include <vexonetwork/utils/create_pid_file.h>
#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/gateway.h>
#include <vexonetwork/utils/ip_address.h>
#include <vexonetwork/utils/lock.h>
#include <vexonetwork/utils/mac_address.h>
#include <vexonetwork/utils/reset_files.h>
#include <vexonetwork/utils/string_container.h>
#include <vexonetwork/utils/utils.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::utils;
using vexotest::WriteFile;

struct Case {
    std::function<void()> provoke;
    std::string source;
    std::vector<std::string> messages;  ///< all that is said, in order
    int level = LOG_ERR;
};

ConfigSection Sections(const std::string& path, const std::string& section = "s") {
    ConfigSection config(path);
    config.AddKeyValue(section, "k", "a\nb");
    return config;
}

ConfigNoSection Flat(const std::string& path) {
    ConfigNoSection config(path);
    config.AddKeyValue("k", "a\nb");
    return config;
}

/// The name of a temporary file as its template.
std::string WithoutChance(std::string message) {
    const std::size_t name = message.find(".tmp.");
    return name == message.npos ? message : message.replace(name, 11, ".tmp.XXXXXX");
}

void Expect(const std::vector<Case>& cases) {
    vexotest::SyslogSpy spy;
    for (const Case& each : cases) {
        spy.Clear();
        each.provoke();
        std::vector<std::string> messages;
        for (const vexotest::LogLine& line : spy.Lines()) {
            messages.push_back(WithoutChance(line.message));
            EXPECT_EQ(line.level, each.level) << line.message;
            EXPECT_EQ(line.source, each.source) << line.message;
        }
        EXPECT_EQ(messages, each.messages);
    }
}

TEST(Messages, OfFiles) {
    WriteFile("/d/bare", "[a]\nk=1\n[bare]\n");
    WriteFile("/d/file", "");
    WriteFile("/d/folder/file", "");
    const std::string set = "Failed to set keys";
    const std::string section = "Failed to add section [s] in [/d/x]";
    const std::string temporary = "Failed to create a temoprary file for [/d/x]";
    Expect({
        {[] { ConfigNoSection("/no").Read(); }, "config", {"[/no] does not exist"}},
        {[] { ConfigSection("/no").Read(); }, "config", {"[/no] does not exist"}},
        {[] { ConfigNoSection("/d").Read(); }, "config", {"Failed to get keys"}},
        {[] { ConfigSection("/d").Read(); }, "config", {"Failed to enum sections in [/d]"}},
        {[] { ConfigSection("/d/bare").Read(); },
         "config",
         {"Failed to get section [bare] in [/d/bare]"}},
        {[] { Flat("/d/x").Write(); }, "config", {set}},
        {[] { Sections("/d/x").Write(); }, "config", {section, temporary}},
        {[] {
             Sections("/d/x", {"s\0", 2}).Write();
         },
         "config",
         {section, temporary}},
        {[] { ConfigSection("/d/folder").Write(); },
         "config",
         {"Failed to rename file from [/d/folder.tmp.XXXXXX] to [/d/folder]"}},
        {[] { ConfigSection("/no/x").WriteTemp(*std::make_unique<std::string>()); },
         "config",
         {"Failed to create a temporary file [/no/x.tmp.XXXXXX]"}},
        {[] { CheckAndMakeDir("/d/file", 0700); }, "file", {"Failed to mkdir [/d/file][448]"}},
        {[] {
             WriteFile("/etc/sysconfig/network-scripts/ifcfg-a", "IPV6INIT=yes\n");
             CopyIfcfgIPv6Attrs("a", "no/folder");
         },
         "file",
         {"Failed to copy [IPV6INIT=yes] from /etc/sysconfig/network-scripts/ifcfg-a to "
          "/etc/sysconfig/network-scripts/ifcfg-no/folder"}},
        {[] { RemoveFile("/d/folder"); }, "reset_files", {"remove file /d/folder failed"}},
        {[] { RemoveFiles("/no", "x"); }, "reset_files", {"VLIBCFileEnumDir /no/x failed"}},
        {[] { ResetFiles("/no*", "/d/file"); }, "reset_files", {"glob error on path /no*"}},
        {[] { ResetFiles("/d/folder", "/no/way/x"); },
         "reset_files",
         {"glob error on path /no/way/x", "Failed to copy [/d/folder] to [/no/way/x]"}},
        {[] { FileLock("/d/bare/lock", true).Lock(); },
         "lock",
         {"Failed to create parent dir of [/d/bare/lock]"}},
        {[] { FileLock("/d/lock", true).Unlock(); },
         "lock",
         {"Failed to release file lock of [/d/lock]"}},
        {[] { CreatePidFile("/no/pid"); },
         "create_pid_file",
         {"Could not open PID file [/no/pid]"}},
        {[] { CreatePidFile("/dev/full"); },
         "create_pid_file",
         {"Could not truncate PID file [/dev/full]"}},
    });
}

TEST(Messages, OfAddressesTextsAndInterfaces) {
    std::string subnet;
    Json::Value numbers(Json::arrayValue);
    numbers.append(1);
    Json::Value objects(Json::arrayValue);
    objects.append(Json::Value(Json::objectValue));
    Expect({
        {[] { IPAddress::GetIPv6NetworkPart("::x", 8); },
         "ip_address",
         {"Unable to convert ::x to binary form"}},
        {[] { MacAddress("0011"); }, "mac_address", {"Bad mac addr length (4)"}, LOG_DEBUG},
        {[] { MacAddress("00112233445g"); }, "mac_address", {"Bad mac addr [00112233445g]"}},
        {[] {
             Print(StringVector{"b", "a"});
         },
         "string_container",
         {"INFO: vector:[b a ]"},
         LOG_INFO},
        {[] {
             Print(StringSet{"b", "a"});
         },
         "string_container",
         {"INFO: set [a b ]"},
         LOG_INFO},
        {[&] { Print(numbers); }, "string_container", {"INFO: json [[1]\n]"}, LOG_INFO},
        {[] { ConvertToString(Json::Value("x"), ",", 0, -1); },
         "string_container",
         {"Bad Parameter."}},
        {[&] { ConvertToString(objects, ",", 0, -1); }, "string_container", {"Wrong Type."}},
        {[] { vexonetwork::network::IsEthernetLinkDetected("none0"); },
         "utils",
         {"Failed get interface flags for none0"}},
        {[] {
             vexonetwork::network::IsEthernetLinkDetected({"lo\0", 3});
         },
         "utils",
         {"Failed to copy interface name lo"}},
        {[&] { vexonetwork::network::GetSubnetFormat("1.2.3.4", "", subnet); },
         "utils",
         {"Failed to translate to ip/mask format to a subnet format."}},
        {[] { Gateway().Backup(); }, "gateway", {"Failed to backup gateway"}},
    });
}

}  // namespace
