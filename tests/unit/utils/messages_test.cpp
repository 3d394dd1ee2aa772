// What is said in the system log, with its level and under which name.

#include <gtest/gtest.h>

#include <functional>

#include <vexobase/log_budget.h>
#include <vexonetwork/utils/config.h>
#include <vexonetwork/utils/create_pid_file.h>
#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/lock.h>
#include <vexonetwork/utils/mac_address.h>
#include <vexonetwork/utils/reset_files.h>
#include <vexonetwork/utils/string_container.h>
#include <vexonetwork/utils/utils.h>

#include "support/files.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::network;
using namespace vexonetwork::utils;
using vexotest::WriteFile;

/// A configuration with a value that cannot be written, in a section or in none.
template <typename Config, typename... Section>
Config With(const std::string& path, const Section&... section) {
    Config config(path);
    config.AddKeyValue(section..., "k", "a\nb");
    return config;
}

TEST(Messages, TellWhatFailed) {
    WriteFile("/d/bare", "[a]\nk=1\n[bare]\n");
    WriteFile("/d/file", "");
    WriteFile("/d/folder/file", "");
    WriteFile("/etc/sysconfig/network-scripts/ifcfg-a", "IPV6INIT=yes\n");
    const std::string section = "3 config Failed to add section [s] in [/d/x]";
    const std::string temporary = "3 config Failed to create a temoprary file for [/d/x]";
    const std::string cut("s\0", 2);
    std::string out;
    Json::Value objects(Json::arrayValue);
    objects.append(Json::Value(Json::objectValue));
    const struct {
        std::function<void()> provoke;
        std::vector<std::string> told;  ///< all that is said, in order: "LEVEL SOURCE MESSAGE"
    } cases[] = {
        {[] { ConfigNoSection("/no").Read(); }, {"3 config [/no] does not exist"}},
        {[] { ConfigSection("/no").Read(); }, {"3 config [/no] does not exist"}},
        {[] { ConfigNoSection("/d").Read(); }, {"3 config Failed to get keys"}},
        {[] { ConfigSection("/d").Read(); }, {"3 config Failed to enum sections in [/d]"}},
        {[] { ConfigSection("/d/bare").Read(); },
         {"3 config Failed to get section [bare] in [/d/bare]"}},
        {[] { With<ConfigNoSection>("/d/x").Write(); }, {"3 config Failed to set keys"}},
        {[&] { With<ConfigSection>("/d/x", "s").Write(); }, {section, temporary}},
        {[&] { With<ConfigSection>("/d/x", cut).Write(); }, {section, temporary}},
        {[] { ConfigSection("/d/folder").Write(); },
         {"3 config Failed to rename file from [/d/folder.tmp.XXXXXX] to [/d/folder]"}},
        {[&] { ConfigSection("/no/x").WriteTemp(out); },
         {"3 config Failed to create a temporary file [/no/x.tmp.XXXXXX]"}},
        {[] { CheckAndMakeDir("/d/file", 0700); }, {"3 file Failed to mkdir [/d/file][448]"}},
        {[] { CopyIfcfgIPv6Attrs("a", "no/folder"); },
         {"3 file Failed to copy [IPV6INIT=yes] from /etc/sysconfig/network-scripts/ifcfg-a to "
          "/etc/sysconfig/network-scripts/ifcfg-no/folder"}},
        {[] { ResetFiles("/no*", "/d/file"); }, {"3 reset_files glob error on path /no*"}},
        {[] { ResetFiles("/d/folder", "/no/way/x"); },
         {"3 reset_files glob error on path /no/way/x",
          "3 reset_files Failed to copy [/d/folder] to [/no/way/x]"}},
        {[] { FileLock("/d/bare/lock", true).Lock(); },
         {"3 lock Failed to create parent dir of [/d/bare/lock]"}},
        {[] { FileLock("/d/lock", true).Unlock(); },
         {"3 lock Failed to release file lock of [/d/lock]"}},
        {[] { CreatePidFile("/no/pid"); }, {"3 create_pid_file Could not open PID file [/no/pid]"}},
        {[] { CreatePidFile("/dev/full"); },
         {"3 create_pid_file Could not truncate PID file [/dev/full]"}},
        {[] { MacAddress("00112233445g"); }, {"3 mac_address Bad mac addr [00112233445g]"}},
        {[] { ConvertToString(Json::Value("x"), ",", 0, -1); },
         {"3 string_container Bad Parameter."}},
        {[&] { ConvertToString(objects, ",", 0, -1); }, {"3 string_container Wrong Type."}},
        {[] { IsEthernetLinkDetected("none0"); }, {"3 utils Failed get interface flags for none0"}},
        {[&] { IsEthernetLinkDetected(cut); }, {"3 utils Failed to copy interface name s"}},
    };
    vexotest::SyslogSpy spy;
    for (const auto& [provoke, told] : cases) {
        spy.Clear();
        provoke();
        std::vector<std::string> lines;
        for (auto& [level, source, number, message] : spy.Lines()) {
            const std::size_t chance = message.find(".tmp.");
            lines.push_back(std::to_string(level) + " " + source + " "
                            + (chance == message.npos
                                   ? message
                                   : std::string(message).replace(chance, 11, ".tmp.XXXXXX")));
        }
        EXPECT_EQ(lines, told);
    }
}

TEST(Messages, OfAFloodAreBoundedAndTheRestIsCountedOnce) {
    vexobase::LogBudget budget(3, std::chrono::minutes(1));
    auto now = vexobase::LogBudget::Clock::now();
    for (const unsigned leftOut : {0U, 7U}) {
        EXPECT_EQ(budget.TakeLeftOut(now), leftOut);
        int lines = 0;
        for (int i = 0; i < 10; ++i, now += std::chrono::seconds(5)) {
            lines += budget.Spend(now) ? 1 : 0;
            EXPECT_EQ(budget.TakeLeftOut(now), 0U) << "not before the span is over";
        }
        EXPECT_EQ(lines, 3);
        now += std::chrono::seconds(10);
    }
}

}  // namespace
