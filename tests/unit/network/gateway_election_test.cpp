// What an election decides, without a kernel.

#include <gmock/gmock.h>

#include <vexonetwork/network/gateway_election.h>

namespace vexonetwork::network::module {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Answers what the kernel would, and notes what was asked.
struct Kernel {
    bool hasLink = true;
    bool exists = true;
    std::string refused{};  ///< interface whose route it does not take
    std::string asked{};

    ElectionFacts Facts() {
        const auto answer = [this](const char* question, bool yes) {
            asked += question;
            return yes;
        };
        return {[=, this](const GatewayInfo&) { return answer("link ", hasLink); },
                [=, this](const GatewayInfo&) { return answer("exists ", exists); },
                [=, this](const GatewayInfo& entry) {
                    return answer("taken ", entry.ifname != refused);
                }};
    }
};

GatewayInfo Entry(const std::string& ifname, const std::string& interfaceClass,
                  const std::string& gateway, bool slave = false) {
    return {ifname, interfaceClass, gateway, {}, slave};
}

TEST(GatewayWalk, AsksWhatIsCheapFirstAndNoMoreThanItNeeds) {
    const struct {
        GATEWAY_TYPE type;
        GatewayInfo entry;
        Kernel kernel;
        Verdict verdict;
        const char* asked;
    } cases[] = {
        {GTYPE_V4, Entry("eth0", "ethernet", "192.0.2.1", true), {}, Verdict::SLAVE, ""},
        {GTYPE_V6, Entry("eth0", "ethernet", "", true), {}, Verdict::SLAVE, ""},
        {GTYPE_V4,
         Entry("eth0", "ethernet", "", false),
         {.hasLink = false},
         Verdict::NO_LINK,
         "link "},
        {GTYPE_V4,
         Entry("wlan0", "ethernet", "192.0.2.1"),
         {.hasLink = false},
         Verdict::TAKEN,
         "exists taken "},
        {GTYPE_V4,
         Entry("ppp0", "pppoe", "192.0.2.1"),
         {.hasLink = false},
         Verdict::TAKEN,
         "exists taken "},
        {GTYPE_V4, Entry("eth0", "ethernet", ""), {}, Verdict::NO_GATEWAY, "link "},
        {GTYPE_V4,
         Entry("eth0", "ethernet", "192.0.2.1"),
         {.exists = false},
         Verdict::NO_INTERFACE,
         "link exists "},
        {GTYPE_V4,
         Entry("eth0", "ethernet", "192.0.2.1"),
         {.refused = "eth0"},
         Verdict::REFUSED,
         "link exists taken "},
        {GTYPE_V6, Entry("eth0", "ethernet", ""), {.exists = false}, Verdict::TAKEN, "link taken "},
    };
    for (auto [type, entry, kernel, verdict, asked] : cases) {
        EXPECT_THAT(WalkGateways(type, {entry}, kernel.Facts()), ElementsAre(verdict));
        EXPECT_EQ(kernel.asked, asked) << entry.ifname << " " << int(verdict);
    }
}

TEST(GatewayWalk, EndsAtTheFirstThatIsTaken) {
    Kernel kernel{.refused = "a"};
    const auto verdicts =
        WalkGateways(GTYPE_V4,
                     {Entry("a", "vpn", "192.0.2.1"), Entry("b", "vpn", "192.0.2.2"),
                      Entry("c", "vpn", "192.0.2.3", true)},
                     kernel.Facts());
    EXPECT_THAT(verdicts, ElementsAre(Verdict::REFUSED, Verdict::TAKEN, Verdict::NOT_TRIED));
    EXPECT_EQ(WinnerOf(verdicts), 1U);
    EXPECT_EQ(kernel.asked, "exists taken exists taken ");
    EXPECT_FALSE(WinnerOf({Verdict::SLAVE, Verdict::REFUSED}));
    EXPECT_THAT(WalkGateways(GTYPE_V6, {}, {}), IsEmpty());
}

}  // namespace
}  // namespace vexonetwork::network::module
