// The detection of address conflicts on a switch, which it shares with a host that forges.

#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <chrono>
#include <csignal>

#include "conflictd/arp_socket.h"
#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace conflictd;
using std::chrono::steady_clock;

constexpr char kEvents[] = "/var/log/vexo/events.jsonl";
constexpr char kHooked[] = "/tmp/hooked";
constexpr MacAddress kMac = {2, 0, 0, 0, 0, 9};

/// The switch is this host's, which is the other one; the appliance has a network of its own.
class Conflict : public testing::Test {
  protected:
    Conflict() {
        Must("ip netns add nas");
        Must("ip link add sw type bridge");
        Must("ip address add 192.0.2.1/24 dev sw");
        Must("ip link set sw up");
        Plug("lan0", "192.0.2.10");
        WriteScript("/usr/vexo/hooks/net/ip_conflict/10-note",
                    std::string("echo $IFNAME $ADDRESS $MAC >>") + kHooked);
        forger.emplace(::if_nametoindex("sw"));
        forger->Listen({BPF_STMT(BPF_RET | BPF_K, 0xffffffff)});
    }

    static void Plug(const std::string& port, const std::string& address) {
        Must("ip link add sw-" + port + " master sw up type veth peer name " + port + " netns nas");
        Must("ip -n nas address add " + address + "/24 dev " + port);
        Must("ip -n nas link set " + port + " up");
    }
    void Start() {
        appliance.StartDaemon({"ip", "netns", "exec", "nas", VEXO_CONFLICTD, "--foreground"});
    }
    void Claim(const std::string& address, const MacAddress& mac = kMac) {
        forger->Broadcast(ArpAnnouncement(mac, *ParseIpv4Address(address)));
    }
    /// A frame of a VLAN that the appliance is not in.
    static void SendTagged(const ArpPacket& packet) {
        const vexobase::UniqueFd raw(::socket(AF_PACKET, SOCK_RAW, 0));
        const auto arp = BuildArp(packet);
        const auto frame = std::string(6, '\xff')
                           + std::string("\2\0\0\0\0\x09\x81\0\0\7\x08\6", 12)
                           + std::string(reinterpret_cast<const char*>(&arp), sizeof arp);
        sockaddr_ll link{};
        link.sll_family = AF_PACKET;
        link.sll_ifindex = static_cast<int>(::if_nametoindex("sw"));
        ::sendto(raw.Get(), frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&link),
                 sizeof link);
    }
    /// @return how many were ever heard
    int Announcements() {
        while (const auto packet = forger->Receive()) {
            probes += packet->senderIp == 0 ? 1 : 0;
            announcements += packet->senderIp == packet->targetIp ? 1 : 0;
        }
        return announcements;
    }
    static std::size_t Told(const std::string& words) { return Count(ReadFile(kEvents), words); }

    std::optional<ArpSocket> forger;
    int probes = 0;
    int announcements = 0;
    Appliance appliance;
};

TEST_F(Conflict, IsToldAtOnceAndAStormOfForgedOnesIsBounded) {
    Start();
    ASSERT_TRUE(Eventually([&] { return Announcements() == 2; }));
    EXPECT_EQ(probes, 3);
    EXPECT_EQ(ReadFile(kEvents), "");

    Must("ip address add 192.0.2.10/32 dev sw");
    const auto start = steady_clock::now();
    const Process ping(Words("ping -c1 -I 192.0.2.10 192.0.2.77"), "/dev/null");
    ASSERT_TRUE(Eventually([&] { return Told("192.0.2.10") == 1 && Announcements() == 3; }));

    for (unsigned i = 0; i < 50'000; ++i) {
        Claim("192.0.2.10", {2, 0, 0, 0, std::uint8_t(i >> 8), std::uint8_t(i)});
    }
    Must("ip -n nas address add 192.0.2.11/24 dev lan0");
    EXPECT_TRUE(Eventually([&] {
        Claim("192.0.2.11");
        return Count(ReadFile(kHooked), "lan0 192.0.2.11 02:00:00:00:00:09\n") == 1;
    }));
    EXPECT_EQ(Told("192.0.2.10"), 3u);
    EXPECT_EQ(Told("192.0.2.11"), 1u);
    EXPECT_EQ(Count(ReadFile(kHooked), "\n"), 4u);
    EXPECT_LT(Count(appliance.Log(), "\n"), 12u) << appliance.Log();
    const auto seconds = (steady_clock::now() - start) / std::chrono::seconds(1);
    EXPECT_LE(Announcements(), 4 + seconds / 5);  // each address every 10 s
    EXPECT_EQ(appliance.StopDaemon(), 0);
}

TEST_F(Conflict, CannotBeFoundWithoutTheRightToHearIt) {
    const Outcome outcome =
        vexotest::Run({"/usr/bin/setpriv", "--bounding-set", "-net_raw", VEXO_CONFLICTD});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "vexonet-conflictd: cannot open a packet socket: Operation not permitted\n");
}

TEST_F(Conflict, HooksThatHangDoNotHoldUpTheEnd) {
    for (const char* name : {"20", "30"}) {
        WriteScript(std::string("/usr/vexo/hooks/net/ip_conflict/") + name,
                    "echo >> /tmp/hanging\nexec sleep 1000");
    }
    Start();
    ASSERT_TRUE(Eventually([&] { return Announcements() == 2; }));
    Claim("192.0.2.10");
    ASSERT_TRUE(Eventually([] { return ReadFile("/tmp/hanging") == "\n"; }));
    EXPECT_EQ(appliance.StopDaemon(SIGHUP), 0);
    EXPECT_EQ(ReadFile("/tmp/hanging"), "\n") << "the next one is not begun";
    EXPECT_EQ(Count(appliance.Log(), "1 hooks of [net/ip_conflict] are left out"), 1u);
}

TEST_F(Conflict, IsNoneWhatOurPortsNeighboursAndOtherVlansSay) {
    Plug("lan1", "192.0.2.20");
    Must("ip -n nas address add 192.0.2.10/24 dev lan1");
    Start();
    ASSERT_TRUE(Eventually([&] { return Announcements() == 6; }));
    const auto ours = *ParseIpv4Address("192.0.2.10");
    Claim("192.0.2.30");
    forger->Broadcast(ArpProbe(kMac, ours));
    SendTagged(ArpAnnouncement(kMac, ours));
    vexotest::Run(Words("ping -c1 -W1 192.0.2.10"));
    Claim("192.0.2.20");
    EXPECT_TRUE(Eventually([] { return Told("192.0.2.20") == 1; }));
    EXPECT_EQ(Told("\n"), 1u) << ReadFile(kEvents);
}

TEST_F(Conflict, IsFoundWithASilentHostByAPortThatComesBack) {
    Start();
    Must("ip -n nas link delete lan0");
    Must("ip address add 192.0.2.10/32 dev sw");
    Plug("lan0", "192.0.2.10");
    EXPECT_TRUE(Eventually([] { return Told("\"lan0\"") == 1; }));

    // Down and up again before the detection hears of either.
    appliance.Daemon().Signal(SIGSTOP);
    Must("ip -n nas link set lan0 down");
    Must("ip -n nas link set lan0 up");
    appliance.Daemon().Signal(SIGCONT);
    EXPECT_TRUE(Eventually([&] { return Claim("192.0.2.10"), Told("02:00:00:00:00:09") == 1; }));

    const auto sockets = [] {
        return Count(Must("ip netns exec nas cat /proc/net/packet"), "\n") - 1;
    };
    Must("ip link set sw-lan0 down");
    EXPECT_TRUE(Eventually([&] { return sockets() == 0; })) << "without a carrier";
    Must("ip link set sw-lan0 up");
    EXPECT_TRUE(Eventually([&] { return sockets() == 1; }));
}

}  // namespace
}  // namespace vexotest
