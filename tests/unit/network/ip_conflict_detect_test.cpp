// The switch of the conflict detection: the file and the steps with the system manager, whose
// calls stand here in place of the platform's.

#include "vexonetwork/network/ip_conflict_detect.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <vexo/systemd.h>

#include "support/files.h"
#include "support/syslog_spy.h"

namespace {

std::string failing;
std::string calls;

bool Call(const std::string& name, const std::string& unit) {
    calls += unit == "ip-conflict-detect" ? name + " " : unit + "? ";
    return name != failing;
}

}  // namespace

bool VEXOCSystemdEnable(const char* unit) {
    return Call("enable", unit);
}
bool VEXOCSystemdDisable(const char* unit) {
    return Call("disable", unit);
}
bool VEXOCSystemdStart(const char* unit) {
    return Call("start", unit);
}
bool VEXOCSystemdStop(const char* unit) {
    return Call("stop", unit);
}

namespace vexotest {
namespace {

using vexonetwork::network::IPConflictDetect;

constexpr char kFile[] = "/usr/vexo/etc/vexo_ip_conflict_detect.conf";

TEST(ConflictSwitch, WritesTheFlagFirstAndStopsAtTheFirstFailure) {
    const std::tuple<bool, std::string, std::string, std::string> cases[] = {
        {true, "", "enable start ", ""},
        {true, "enable", "enable ", "Failed to enable ip conflict detect service."},
        {true, "start", "enable start ", "Failed to start ip conflict detect service."},
        {false, "", "stop disable ", ""},
        {false, "stop", "stop ", "Failed to stop ip conflict detect service"},
        {false, "disable", "stop disable ", "Failed to enable ip conflict detect service."}};
    for (const auto& [on, failure, expected, message] : cases) {
        SCOPED_TRACE((on ? "on " : "off ") + failure);
        WriteFile(kFile, on ? "other=1\nenable=no\n" : "other=1\nenable=yes\n");
        failing = failure;
        calls.clear();
        const SyslogSpy log;
        EXPECT_EQ(on ? IPConflictDetect::Enable() : IPConflictDetect::Disable(), failure.empty());
        EXPECT_EQ(calls, expected);
        EXPECT_TRUE(message.empty() ? log.Lines().empty() : log.Has("ip_conflict_detect", message));
        EXPECT_EQ(ReadFile(kFile), on ? "other=1\nenable=yes\n" : "other=1\nenable=no\n");
        EXPECT_EQ(IPConflictDetect::IsEnable(), on);
    }
}

TEST(ConflictSwitch, IsOffWithoutAFlagAndFailsWhereNoneCanBeWritten) {
    EXPECT_FALSE(IPConflictDetect::IsEnable());
    WriteFile(kFile, "disable=yes\nenable=YES\n");
    EXPECT_FALSE(IPConflictDetect::IsEnable());
    ASSERT_EQ(std::remove(kFile) + ::mkdir(kFile, 0755), 0);
    const SyslogSpy log;
    EXPECT_FALSE(IPConflictDetect::Enable() || IPConflictDetect::Disable());
    EXPECT_EQ(calls, "");
    EXPECT_TRUE(log.Has("ip_conflict_detect", std::string("Failed to set enable to ") + kFile));
}

}  // namespace
}  // namespace vexotest
