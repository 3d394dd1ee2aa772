// What an election decides, without a kernel.

#include <gmock/gmock.h>

#include <vexonetwork/network/gateway_election.h>

namespace vexonetwork::network::module {
namespace {

using testing::ElementsAre;

TEST(GatewayWalk, AsksWhatIsCheapFirstAndEndsAtTheFirstThatIsTaken) {
    const GatewayInfo behind{"eth1", "ethernet", {"192.0.2.1"}, {}, false};
    const struct {
        GATEWAY_TYPE type;
        const char *ifname, *interfaceClass, *gateway;
        const char* denied;  ///< the question that the kernel answers by no
        Verdict verdict;
        const char* asked;
    } cases[] = {
        {GTYPE_V4, "slave", "ethernet", "192.0.2.1", "", Verdict::SLAVE, ""},
        {GTYPE_V4, "eth0", "ethernet", "", "link", Verdict::NO_LINK, "link "},
        {GTYPE_V4, "wlan0", "ethernet", "192.0.2.1", "link", Verdict::TAKEN, "exists taken "},
        {GTYPE_V4, "eth0", "vpn", "192.0.2.1", "link", Verdict::TAKEN, "exists taken "},
        {GTYPE_V4, "eth0", "ethernet", "", "", Verdict::NO_GATEWAY, "link "},
        {GTYPE_V4, "eth0", "vpn", "192.0.2.1", "exists", Verdict::NO_INTERFACE, "exists "},
        {GTYPE_V4, "eth0", "vpn", "192.0.2.1", "taken", Verdict::REFUSED, "exists taken "},
        {GTYPE_V6, "eth0", "ethernet", "", "exists", Verdict::TAKEN, "link taken "},
    };
    for (const auto& [type, ifname, interfaceClass, gateway, denied, verdict, asked] : cases) {
        std::string questions;
        const auto about = [&, no = std::string(denied)](const std::string& question) {
            return [&questions, no, question](const GatewayInfo& entry) {
                questions += entry.ifname == "eth1" ? "" : question + " ";
                return entry.ifname != "eth1" && question != no;
            };
        };
        const GatewayInfo entry{
            ifname, interfaceClass, {gateway}, {}, ifname == std::string("slave")};
        const auto verdicts =
            WalkGateways(type, {entry, behind}, {about("link"), about("exists"), about("taken")});
        const bool isTaken = verdict == Verdict::TAKEN;
        EXPECT_THAT(verdicts,
                    ElementsAre(verdict, isTaken ? Verdict::NOT_TRIED : Verdict::NO_LINK));
        EXPECT_EQ(WinnerOf(verdicts), isTaken ? std::optional<std::size_t>(0) : std::nullopt);
        EXPECT_EQ(questions, asked) << ifname << " " << int(verdict);
    }
}

}  // namespace
}  // namespace vexonetwork::network::module
