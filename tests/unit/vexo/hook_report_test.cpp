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
#include "vexo/hook_runner.h"

namespace {

using vexoplatform::RunHooks;
using namespace std::chrono_literals;

/// The next report, which must come soon.
Json::Value Next(const vexobase::UniqueFd& fd) {
    std::array<char, VEXO_HOOK_REPORT_MAX> text{};
    Json::Value report;
    pollfd event{fd.Get(), POLLIN, 0};
    while (report.isNull() && ::poll(&event, 1, 20'000) == 1) {
        if (::VEXOHookReportRead(fd.Get(), text.data(), int(text.size())) == 1) {
            EXPECT_TRUE(vexonetwork::utils::ParseJson(text.data(), report)) << text.data();
        }
    }
    return report;
}

TEST(HookReports, TellOfRootsHooksHowEachEnded) {
    const vexobase::UniqueFd fd(::VEXOHookReportOpen());
    const std::string bodies[] = {"sh\nexit 3\n", "sh\nkill $$\n", "sh\nexec sleep 99\n", "nix\n"};
    for (std::size_t i = 0; i < std::size(bodies); ++i) {
        const std::string path = "/usr/vexo/hooks/net/demo/" + std::to_string(i);
        vexotest::WriteFile(path, "#!/bin/" + bodies[i]);
        ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    }
    const pid_t nobody = ::fork();
    if (nobody == 0) {
        const bool isNobody = ::setresuid(65534, 65534, 65534) == 0;
        RunHooks("net", "demo", {{"FORGED", "yes"}}, 1s);
        ::_exit(isNobody && ::VEXOHookReportOpen() < 0 ? errno : 0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(nobody, &status, 0), nobody);
    EXPECT_EQ(WEXITSTATUS(status), EPERM) << "only root may listen";

    // Control characters take most room.
    RunHooks("net", "demo", {{"A", std::string(4000, '\x01')}, {"B", std::string(9999, '\xff')}},
             1s);
    const Json::Value first = Next(fd);
    EXPECT_TRUE(first["hook"] == "net/demo" && first["executable"] == "0") << first;
    EXPECT_EQ(first["status"], 3);
    EXPECT_EQ(first["environment"]["A"].asString().size(), 4000U);
    EXPECT_EQ(first["environment"]["B"].asString().size(), 3U * 94U) << "replaced by U+FFFD";
    EXPECT_EQ(first["truncated"], true);
    EXPECT_EQ(Next(fd)["signal"], 15);
    const Json::Value third = Next(fd);
    EXPECT_TRUE(third["killed"].asBool() && third["duration_ms"].asInt() >= 1000) << third;
    EXPECT_EQ(Next(fd)["error"], "cannot be started: No such file or directory");
}

}  // namespace
