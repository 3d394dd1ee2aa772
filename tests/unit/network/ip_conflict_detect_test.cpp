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

bool Call(const std::string& name, const char* unit) {
    calls += name + " " + unit + "; ";
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
    const std::string enable = "enable ip-conflict-detect; ", start = "start ip-conflict-detect; ";
    const std::string disable = "disable ip-conflict-detect; ", stop = "stop ip-conflict-detect; ";
    const struct {
        bool on;
        std::string failing, calls, message;
    } kCases[] = {
        {true, "", enable + start, ""},
        {true, "enable", enable, "Failed to enable ip conflict detect service."},
        {true, "start", enable + start, "Failed to start ip conflict detect service."},
        {false, "", stop + disable, ""},
        {false, "stop", stop, "Failed to stop ip conflict detect service"},
        {false, "disable", stop + disable, "Failed to enable ip conflict detect service."},
    };
    for (const auto& each : kCases) {
        SCOPED_TRACE((each.on ? "on " : "off ") + each.failing);
        WriteFile(kFile, each.on ? "other=1\nenable=no\n" : "other=1\nenable=yes\n");
        failing = each.failing;
        calls.clear();
        const SyslogSpy log;
        EXPECT_EQ(each.on ? IPConflictDetect::Enable() : IPConflictDetect::Disable(),
                  each.failing.empty());
        EXPECT_EQ(calls, each.calls);
        EXPECT_TRUE(each.message.empty() ? log.Lines().empty()
                                         : log.Has("ip_conflict_detect", each.message));
        EXPECT_EQ(ReadFile(kFile), each.on ? "other=1\nenable=yes\n" : "other=1\nenable=no\n");
        EXPECT_EQ(IPConflictDetect::IsEnable(), each.on);
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
