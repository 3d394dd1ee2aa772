#include <gmock/gmock.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>

#include <vexobase/unique_fd.h>
#include <vexonetwork/emitter/net_link_flag.h>
#include <vexonetwork/emitter/network_event_emitter.h>

#include "support/appliance.h"
#include "unit/emitter/hook_log.h"
#include "unit/network/fake_module.h"

// The kernel's own events, handled on this thread; hooks are run for real and write down what they
// were told; what is told to the keeper of the gateways is written down too.

namespace vexotest {
namespace {

using namespace std::chrono_literals;
using namespace testing;

/// The ports wan0 and far0, both up, with these addresses of wan0.
void MakeWan0(std::initializer_list<const char*> addresses = {}) {
    Must("ip link add wan0 type veth peer name far0");
    for (const std::string each : {"wan0", "far0"}) {
        const std::string settings = "/proc/sys/net/ipv6/conf/" + each;
        WriteFile(settings + "/addr_gen_mode", "1");
        WriteFile(settings + "/accept_dad", "0");
        Must("ip link set " + each + " up");
    }
    for (const std::string address : addresses) {
        Must("ip address add " + address + " dev wan0");
    }
    ASSERT_TRUE(Eventually([] { return ReadFile("/sys/class/net/wan0/operstate") == "up\n"; }));
}

/// Has wan0 and the guests in both lists.
class Gateways : public GatewayFollower {
  public:
    bool HasGateway(std::optional<GATEWAY_TYPE>, const std::string& ifname) override {
        return ifname == "wan0" || ifname == "tap0" || ifname == "docker0";
    }
    void OnLinkUp(const std::string& ifname) override {
        linked.push_back(ifname);
        onLinkUp();
    }
    void FollowNetwork(const std::vector<std::string>& ifnames) override {
        followed.push_back(testing::PrintToString(ifnames));
    }
    int HarmDescriptor() override { return -1; }
    bool IsNetworkBehind() override { return false; }
    void RepairNetwork() override {}
    void Elect(std::optional<GATEWAY_TYPE> list) override {
        elections.push_back(!list ? "both" : *list == GTYPE_V6 ? "IPv6" : "IPv4");
        onElection();
    }

    std::function<void()> onLinkUp = [] {};
    std::function<void()> onElection = [] {};

    Lines linked, followed, elections;
};

class Emitter : public FakeModules {
  protected:
    Emitter() {
        for (const char* name : {"link_up", "link_down", "ipv4_change", "ipv6_change", "ipv6_add",
                                 "ipv6_delete", "gateway_change"}) {
            InstallHook(name);
        }
    }

    static void HandleEverythingOf(vexonetwork::NetworkEventEmitter& one) {
        while (one.PollOnce(0ms)) {
        }
    }
    void HandleEverything() { HandleEverythingOf(emitter); }

    /// As the daemon begins, with nothing left to do.
    void Begin() {
        emitter.Initialize();
        emitter.InitInterface();
        HandleEverything();
        Elections();
        Hooks("", "");
    }

    Lines Elections() { return std::exchange(gateways.elections, {}); }

    Gateways gateways;
    vexonetwork::NetworkEventEmitter* current = nullptr;
    vexonetwork::NetworkEventEmitter emitter{&gateways};
};

TEST_F(Emitter, BeginsWithWhatIsThere) {
    MakeWan0({"192.0.2.10/24"});
    Must("ip link add idle type veth peer name idler");
    emitter.Initialize();
    EXPECT_EQ(emitter.InitInterface(), 0);
    EXPECT_THAT(Hooks("", "wan0"), ElementsAre("ipv4_change IFNAME=wan0 IS_LINK=true "
                                               "NEW_ADDRESS=192.0.2.10 ORIGIN_ADDRESS=none "
                                               "PREFIX_LENGTH=24",
                                               "link_up IFNAME=wan0"));
    EXPECT_FALSE(vexonetwork::utils::IsNetLinkProcessing());
    WriteFile("/tmp/.net_link_is_processing", "999999\n");
    EXPECT_FALSE(vexonetwork::utils::IsNetLinkProcessing()) << "left by one that was killed";
    EXPECT_EQ(emitter.Links().at("wan0"), true);
    EXPECT_EQ(emitter.Links().at("idle"), false);
    HandleEverything();
    EXPECT_THAT(Elections(), ElementsAre("both"));
    EXPECT_THAT(gateways.linked, Contains("wan0"));
}

TEST_F(Emitter, AnnouncesOnlyAddressesThatChange) {
    MakeWan0();
    emitter.Initialize();
    const auto change = [&](const std::string& one, const std::string& two) {
        for (const std::string& command :
             {"add " + one, "replace " + one, "add " + two, "del " + one}) {
            Must("ip address " + command + " dev wan0 valid_lft 600 preferred_lft 600");
            HandleEverything();
        }
    };
    change("192.0.2.10/24", "198.51.100.7/32");
    const std::string link = "ipv4_change IFNAME=wan0 IS_LINK=true ";
    EXPECT_THAT(
        Hooks("ipv4", "wan0"),
        ElementsAre(link + "NEW_ADDRESS=192.0.2.10 ORIGIN_ADDRESS=none PREFIX_LENGTH=24",
                    link + "NEW_ADDRESS=198.51.100.7 ORIGIN_ADDRESS=192.0.2.10 PREFIX_LENGTH=32",
                    link + "NEW_ADDRESS=none ORIGIN_ADDRESS=198.51.100.7 PREFIX_LENGTH=24"));
    EXPECT_THAT(Elections(), Contains("IPv4"));

    change("2001:db8::1/64", "2001:db8::2/128");
    const Lines lines = Hooks("ipv6", "wan0");
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[2],
              "ipv6_change IFNAME=wan0 IS_LINK=true NEW_ADDRESS=2001:db8::1/64,2001:db8::2/128 "
              "ORIGIN_ADDRESS=2001:db8::1/64 PREFIX_LENGTH=128");
    EXPECT_EQ(lines[3],
              "ipv6_add IFNAME=wan0 IS_LINK=true NEW_ADDRESSES=2001:db8::2/128 "
              "ORIGIN_ADDRESSES=2001:db8::1/64");
    EXPECT_EQ(lines[5],
              "ipv6_delete DELETE_ADDRESSES=2001:db8::1/64 IFNAME=wan0 IS_LINK=true "
              "ORIGIN_ADDRESSES=2001:db8::1/64,2001:db8::2/128");
    EXPECT_THAT(Elections(), Contains("IPv6"));
}

TEST_F(Emitter, AnnouncesRoutesOfTheMainTable) {
    MakeWan0({"192.0.2.10/24"});
    emitter.Initialize();
    for (const char* route :
         {"add default dev wan0", "del default dev wan0", "add 198.51.100.0/24 via 192.0.2.1",
          "add default dev wan0 table 77", "add blackhole 203.0.113.0/24"}) {
        Must(std::string("ip route ") + route);
    }
    HandleEverything();
    EXPECT_THAT(ReadFile(kHookLog), Not(HasSubstr("203.0.113.0"))) << "it has no interface";
    const std::string wan0 = " IFNAME=wan0";
    EXPECT_THAT(
        Hooks("gateway", "wan0"),
        ElementsAre("gateway_change ACTION=NEW DESTINATION=0.0.0.0 GATEWAY=0.0.0.0" + wan0,
                    "gateway_change ACTION=DEL DESTINATION=0.0.0.0 GATEWAY=0.0.0.0" + wan0,
                    "gateway_change ACTION=NEW DESTINATION=198.51.100.0 GATEWAY=192.0.2.1" + wan0));
}

/// Changes that come faster than they are handled, so that the socket overruns.
TEST_F(Emitter, KnowsTheKernelsStateAfterABurst) {
    Must("rm -r /usr/vexo/hooks/net/ipv6_add /usr/vexo/hooks/net/ipv6_change");
    MakeWan0({"192.0.2.1/24"});
    Must("ip link add idle type veth peer name idler");
    Must("ip link set idler up");
    Must("ip link add alone type veth peer name absent");
    Begin();

    constexpr int kKept = 5;
    std::ofstream batch("/tmp/batch");
    for (const std::string command : {"add", "del"}) {
        for (int i = command == "add" ? 0 : kKept; i < 4'000; ++i) {
            batch << "address " << command << " 10.0." << (i >> 8) << "." << (i & 255)
                  << "/32 dev wan0\n";
            if (i < 400) {
                batch << "address " << command << " 2001:db8::" << i << "/128 dev far0\n";
            }
        }
    }
    // The address of the beginning goes and comes back, which no difference tells.
    batch << "link set idle up\nlink set alone up\naddress del 192.0.2.1/24 dev wan0\n"
          << "address add 192.0.2.1/24 dev wan0\naddress add 192.0.2.2/24 dev wan0 label wan0:1\n";
    batch.close();
    Must("ip -batch /tmp/batch");
    HandleEverything();

    EXPECT_THAT(emitter.IPv6Addresses().at("far0").Entries(),
                UnorderedElementsAre(Pair("2001:db8::", 128), Pair("2001:db8::1", 128),
                                     Pair("2001:db8::2", 128), Pair("2001:db8::3", 128),
                                     Pair("2001:db8::4", 128)));
    EXPECT_EQ(emitter.Links().at("idle"), true);
    EXPECT_EQ(Hooks("ipv4_change", "wan0").size(), 0U) << "not for each of thousands";
    EXPECT_EQ(emitter.IPv4Addresses().at("wan0:1"), "192.0.2.2");
    EXPECT_EQ(Count(PrintToString(spy.Messages()), "Resync with the kernel"), 1U);
    EXPECT_THAT(Elections(), ElementsAre("both"));
    EXPECT_EQ(gateways.followed.back(), "{}");
    Must("ip link set alone down");
    HandleEverything();
    EXPECT_THAT(gateways.followed.back(), HasSubstr("alone")) << "it was up, without a link";
}

TEST_F(Emitter, AddressesOfTheStartGoAndReturn) {
    MakeWan0({"2001:db8::1/64", "2001:db8::2/64"});
    Begin();
    EXPECT_EQ(Hooks("ipv6", "wan0").size(), 0U);
    Must("ip address del 2001:db8::2/64 dev wan0");
    HandleEverything();
    EXPECT_THAT(Hooks("ipv6_delete", "wan0"),
                ElementsAre("ipv6_delete DELETE_ADDRESSES=2001:db8::2/64 IFNAME=wan0 IS_LINK=true "
                            "ORIGIN_ADDRESSES=2001:db8::2/64,2001:db8::1/64"));
    EXPECT_THAT(Elections(), ElementsAre("IPv6"));

    // The kernel tells of none that it still tries, but rules follow them.
    gateways.followed.clear();
    emitter.ProcessIPv6Event("wan0", "2001:db8::9", 64, false);
    HandleEverything();
    EXPECT_THAT(gateways.followed, ElementsAre("{ \"wan0\" }"));
    EXPECT_THAT(Elections(), IsEmpty());

    // One with a label belongs to its interface.
    Must("ip address add 192.0.2.11/24 dev wan0 label wan0:1");
    HandleEverything();
    EXPECT_EQ(emitter.IPv4Addresses().at("wan0:1"), "192.0.2.11");
    EXPECT_THAT(Elections(), ElementsAre("IPv4"));

    Must("ip link del wan0");
    HandleEverything();
    EXPECT_THAT(emitter.IPv6Addresses().at("wan0").Entries(), IsEmpty());
    Elections();
    MakeWan0({"2001:db8::1/64"});
    HandleEverything();
    EXPECT_THAT(Hooks("ipv6_add", "wan0"),
                ElementsAre("ipv6_add IFNAME=wan0 IS_LINK=true NEW_ADDRESSES=2001:db8::1/64 "
                            "ORIGIN_ADDRESSES="));
    EXPECT_THAT(Elections(), Not(IsEmpty()));
}

TEST_F(Emitter, GuestsAreFollowedAndNothingMore) {
    Begin();
    Must("ip link add tap0 type veth peer name docker0");
    for (const std::string guest : {"tap0", "docker0"}) {
        Must("ip link set " + guest + " up");
        Must("ip address add 192.0.2.7/32 dev " + guest);
        HandleEverything();
        EXPECT_THAT(gateways.followed.back(), HasSubstr(guest));
        EXPECT_THAT(Hooks("", guest), IsEmpty());
    }
    EXPECT_EQ(emitter.Links().at("docker0"), true);
    EXPECT_THAT(gateways.linked, IsEmpty());
    EXPECT_THAT(Elections(), IsEmpty());
}

/// Nobody serves units in the box, so whoever asks is told so.
TEST_F(Emitter, OnlyAPortOfItsOwnWithDHCPAsksForItsAddress) {
    MakeWan0();
    const auto hasAsked = [this](const char* ifname, int result) {
        spy.Clear();
        EXPECT_EQ(emitter.RequestDHCPIP(ifname), result) << ifname;
        return Count(PrintToString(spy.Messages()), "VEXONetSetCard1_S failed") == 1;
    };
    EXPECT_FALSE(hasAsked("wan0", -1));
    for (const std::string ifname : {"wan0", "wlan0"}) {
        WriteFile("/etc/sysconfig/network-scripts/ifcfg-" + ifname, "BOOTPROTO=dhcp\n");
    }
    EXPECT_TRUE(hasAsked("wan0", -1));
    EXPECT_FALSE(hasAsked("wlan0", 0));
    Must("ip link add br0 type bridge");
    Must("ip link set wan0 master br0");
    EXPECT_FALSE(hasAsked("wan0", -1));
}

TEST_F(Emitter, AMessageTooLongForItsBufferIsNotLost) {
    MakeWan0();
    Begin();
    for (int i = 10; i < 60; ++i) {
        Must("ip link property add dev wan0 altname " + std::string(100, 'x') + std::to_string(i));
    }
    Must("ip link set wan0 down");
    HandleEverything();
    EXPECT_EQ(emitter.Links().at("wan0"), false);
    EXPECT_THAT(Elections(), ElementsAre("both"));
}

TEST_F(Emitter, ManyInterfacesHideNoUplink) {
    for (int i = 0; i < 20; ++i) {
        Must("ip link add lan" + std::to_string(i) + " type veth");
    }
    MakeWan0({"192.0.2.10/24"});
    emitter.Initialize();
    EXPECT_EQ(emitter.InitInterface(), 0);
    EXPECT_EQ(emitter.Links().size(), 32U);
    EXPECT_EQ(emitter.Links().count("wan0"), 0U);
    HandleEverything();
    EXPECT_EQ(emitter.Links().at("wan0"), true);
    EXPECT_EQ(Hooks("ipv4_change", "wan0").size(), 1U);
    EXPECT_THAT(Elections(), Contains("both")) << "a second time where the sweep took long";
}

TEST_F(Emitter, ANameThatVanishedHasNoLink) {
    MakeWan0({"192.0.2.10/24", "2001:db8::1/64"});
    Begin();
    Must("ip link set wan0 name other");
    HandleEverything();
    EXPECT_EQ(emitter.Links().at("wan0"), false);
    EXPECT_EQ(emitter.Links().at("other"), true);
    EXPECT_EQ(emitter.IPv4Addresses().at("wan0"), "none");
    EXPECT_EQ(emitter.IPv4Addresses().at("other"), "192.0.2.10");
    EXPECT_THAT(emitter.IPv6Addresses().at("wan0").Entries(), IsEmpty());
    EXPECT_EQ(emitter.IPv6Addresses().at("other").Join(), "2001:db8::1/64");
    EXPECT_THAT(Elections(), Contains("both"));
    EXPECT_EQ(Hooks("link_down", "wan0").size(), 1U);
    Must("ip link set other name wan0");
    HandleEverything();
    EXPECT_EQ(Hooks("link_up", "wan0").size(), 1U);
    EXPECT_THAT(Elections(), Contains("both"));
}

TEST_F(Emitter, HooksAreSeenAsSoonAsTheyAreThere) {
    Must("rm -r /usr/vexo/hooks/net");
    emitter.ProcessIPv4Event("lo", "192.0.2.1", 32, true);
    emitter.ProcessIPv4Event("gone0", "192.0.2.1", 32, true);
    EXPECT_TRUE(spy.Has(LOG_ERR, "ip_change_event", "error on link detect"))
        << "it is told, though nobody hears";
    InstallHook("ipv4_change");
    emitter.ProcessIPv4Event("lo", "192.0.2.2", 32, true);
    EXPECT_EQ(Hooks("ipv4_change", "lo").size(), 1U);
}

/// A stranger's claims, of which the last one is too long for the buffer, end nowhere.
TEST_F(Emitter, BelievesOnlyTheKernel) {
    emitter.Initialize();
    const vexobase::UniqueFd stranger(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const std::string claim = ReadFile(CAPTURED_DIR "/link_up");
    sockaddr_nl to{AF_NETLINK, 0, static_cast<unsigned>(::getpid()), 0};
    for (const std::string& bytes : {claim, claim + std::string(6000, 0)}) {
        ASSERT_EQ(::sendto(stranger.Get(), bytes.data(), bytes.size(), 0,
                           reinterpret_cast<sockaddr*>(&to), sizeof to),
                  ssize_t(bytes.size()));
        EXPECT_EQ(emitter.AnalysisNetlinkMessage(), 0);
    }
    EXPECT_FALSE(emitter.PollOnce(0ms));
    EXPECT_THAT(emitter.Links(), IsEmpty());
    EXPECT_THAT(spy.Messages(), IsEmpty());
}

/// Before it has begun, in the sweep and in the election at the start: nothing is done any more.
TEST_F(Emitter, StopEndsItAtAnyMoment) {
    MakeWan0();
    const auto stop = [this] { current->Stop(); };
    const auto start = [this](const std::function<void()>& before) {
        vexonetwork::NetworkEventEmitter other(&gateways);
        current = &other;
        before();
        other.Start();
        gateways.onLinkUp = gateways.onElection = [] {};
        return Elections();
    };
    EXPECT_THAT(start(stop), IsEmpty());
    EXPECT_THAT(Hooks("", "wan0"), IsEmpty());
    EXPECT_THAT(start([&] { gateways.onLinkUp = stop; }), IsEmpty());
    EXPECT_THAT(Hooks("link", "far0"), ElementsAre("link_up IFNAME=far0"));
    EXPECT_THAT(start([&] { gateways.onElection = stop; }), ElementsAre("both"));
}

/// Whatever module there is, also one that only knows requests, and also none.
TEST_F(Emitter, FindsTheRouteModuleByItself) {
    vexonetwork::NetworkEventEmitter other;
    const auto begin = [&other] {
        requests.clear();
        other.InitInterface();
        HandleEverythingOf(other);
        return requests;
    };
    EXPECT_THAT(begin(), IsEmpty());
    Add<MODULE_ROUTE>();
    EXPECT_THAT(begin(), ElementsAre("3 REFRESH_GATEWAY type=ALL"));
    requests.clear();
    other.ProcessIPv4Event("lo:7", "192.0.2.7", 32, true);
    HandleEverythingOf(other);
    EXPECT_THAT(requests, ElementsAre("3 REFRESH_GATEWAY type=GTYPE_V4"));
}

}  // namespace
}  // namespace vexotest
