// What whoever listens learns of the hooks that others run.

#include <gtest/gtest.h>
#include <json/json.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include <vexo/hook_report.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/json_reader.h>

#include "support/files.h"
#include "vexo/hook_end.h"

namespace {

using namespace std::chrono_literals;

const vexoplatform::HookEnd kGood{0, false, ""};
const std::string kFolder = "/usr/vexo/hooks/net/demo/";

/// The next report, which must come soon.
Json::Value Next(const vexobase::UniqueFd& fd) {
    std::array<char, VEXO_HOOK_REPORT_MAX> text{};
    pollfd event{fd.Get(), POLLIN, 0};
    while (::poll(&event, 1, 20'000) == 1) {
        if (::VEXOHookReportRead(fd.Get(), text.data(), int(text.size())) == 1) {
            Json::Value report;
            EXPECT_TRUE(vexonetwork::utils::ParseJson(text.data(), report)) << text.data();
            return report;
        }
    }
    ADD_FAILURE() << "no report came";
    return {};
}

/// Does something as another user, in a process of its own.
template <typename Work>
int AsNobody(const Work& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        const bool isNobody = ::setresuid(65534, 65534, 65534) == 0;
        ::_exit(isNobody ? work() : 99);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

TEST(HookReports, TellHowEachExecutableEnded) {
    const vexobase::UniqueFd fd(::VEXOHookReportOpen());
    ASSERT_TRUE(fd);
    const std::pair<const char*, const char*> kHooks[] = {
        {"1", "#!/bin/sh\nexit 3\n"},
        {"2", "#!/bin/sh\nkill -TERM $$\n"},
        {"3", "#!/bin/sh\nexec sleep 1000\n"},
        {"4", "#!/nowhere\n"},
    };
    for (const auto& [name, body] : kHooks) {
        vexotest::WriteFile(kFolder + name, body);
        ASSERT_EQ(::chmod((kFolder + name).c_str(), 0755), 0);
    }
    vexoplatform::RunHooks("net", "demo", {{"IFNAME", "eth0"}, {"X", "\x1b\xff"}}, 1s);
    const Json::Value first = Next(fd);
    EXPECT_EQ(first["hook"], "net/demo");
    EXPECT_EQ(first["executable"], "1");
    EXPECT_EQ(first["status"], 3);
    EXPECT_EQ(first["environment"]["IFNAME"], "eth0");
    EXPECT_EQ(first["environment"].size(), 2U);
    EXPECT_EQ(Next(fd)["signal"], 15);
    const Json::Value third = Next(fd);
    EXPECT_TRUE(third["killed"].asBool() && third["duration_ms"].asInt() >= 1000) << third;
    EXPECT_EQ(Next(fd)["error"], "cannot be started: No such file or directory");
}

TEST(HookReports, AreBoundedAndRootsAlone) {
    const vexobase::UniqueFd fd(::VEXOHookReportOpen());
    ASSERT_TRUE(fd);
    EXPECT_EQ(AsNobody([] { return ::VEXOHookReportOpen() < 0 ? errno : 0; }), EPERM);
    EXPECT_EQ(AsNobody([] {
                  vexoplatform::SendHookReport("net/forged", "/x", {}, kGood, 1s);
                  return 0;
              }),
              0);
    // Control characters take most room.
    const vexoplatform::HookEnvironment large = {
        {"A", std::string(4000, '\x01')}, {"B", std::string(1 << 20, '\x01')}, {"C", "c"}};
    vexoplatform::SendHookReport("net/genuine", "/x", large, kGood, 1s);
    const Json::Value report = Next(fd);
    EXPECT_EQ(report["hook"], "net/genuine");
    EXPECT_EQ(report["environment"]["A"].asString().size(), 4000U);
    EXPECT_EQ(report["environment"]["B"].asString().size(), 94U);
    EXPECT_FALSE(report["environment"].isMember("C"));
    EXPECT_EQ(report["truncated"], true);
}

}  // namespace
