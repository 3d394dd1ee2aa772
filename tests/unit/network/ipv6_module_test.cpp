#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <netinet/icmp6.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include <vexo/ipv6_conf.h>
#include <vexonetwork/network/module/ipv6_module.h>

#include "network/advertisements/uplink_links.h"
#include "support/advertiser.h"
#include "support/appliance.h"
#include "unit/network/fake_module.h"

// Advertisements as bytes, a clock and an IPv6 configuration of the test's own, and in the place of
// ndisc6 whatever a case writes there.

namespace {

std::time_t now = 1'000'000;
std::map<std::string, int> methods;
std::vector<std::string> changes;  ///< "IFNAME METHOD"
std::time_t addedUptime = 0;       ///< seconds
int failingOption = -1;            ///< of the IPv6 socket; 0 stands for the socket itself
bool hasEventfd = true;

}  // namespace

extern "C" {

std::time_t time(std::time_t* /*result*/) noexcept {
    return now;
}

int clock_gettime(clockid_t clock, timespec* result) noexcept {
    const long status = ::syscall(SYS_clock_gettime, clock, result);
    result->tv_sec += clock == CLOCK_MONOTONIC ? addedUptime : 0;
    return static_cast<int>(status);
}

int socket(int family, int type, int protocol) noexcept {
    if (family == AF_INET6 && protocol == IPPROTO_ICMPV6 && failingOption == 0) {
        errno = EPERM;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_socket, family, type, protocol));
}

int setsockopt(int fd, int level, int option, const void* value, socklen_t size) noexcept {
    if (option == failingOption && (level == IPPROTO_IPV6 || level == IPPROTO_ICMPV6)) {
        errno = ENOPROTOOPT;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_setsockopt, fd, level, option, value, size));
}

int eventfd(unsigned value, int flags) noexcept {
    errno = EMFILE;
    return hasEventfd ? static_cast<int>(::syscall(SYS_eventfd2, value, flags)) : -1;
}

int VEXONetIPv6ConfGet(const char* ifname, int* method, char*, int, int*, char*, int) {
    *method = methods[ifname];
    return *method == -1 ? -1 : 0;
}

int VEXONetIPv6ConfSet(int method, const char* ifname, const char*, int, const char*) {
    changes.push_back(ifname + (" " + std::to_string(method)));
    return 0;
}
}

namespace vexotest {
namespace {

using namespace testing;
using Bytes = std::vector<unsigned char>;

constexpr int kManaged = 0x80;
constexpr int kOther = 0x40;
constexpr char kIfcfg[] = "/etc/sysconfig/network-scripts/ifcfg-";
constexpr char kPublished[] = "/run/vexo/ipv6_routers.json";

/// A prefix information option (RFC 4861 section 4.6.2) for 2001:db8:N::/64.
Bytes Prefix(unsigned char number, unsigned char flags = ND_OPT_PI_FLAG_AUTO,
             unsigned char eights = 4) {
    Bytes option{ND_OPT_PREFIX_INFORMATION, eights, 64, flags};
    option.resize(16);
    option.insert(option.end(), {0x20, 0x01, 0x0d, 0xb8, 0, number});
    option.resize(32);
    return option;
}

const Bytes kTooLong = Prefix(7, ND_OPT_PI_FLAG_AUTO, 5);

Bytes Advertisement(int flags, const std::vector<Bytes>& options) {
    constexpr unsigned char kLifetime = 30;  // seconds
    Bytes packet{ND_ROUTER_ADVERT, 0, 0, 0, 0, static_cast<unsigned char>(flags), 0, kLifetime};
    packet.resize(sizeof(nd_router_advert));
    for (const Bytes& option : options) {
        packet.insert(packet.end(), option.begin(), option.end());
    }
    return packet;
}

void WriteNdisc6(const std::string& script) {
    ::unlink("/usr/bin/ndisc6");
    WriteScript("/usr/bin/ndisc6", "echo \"$@\" >>/tmp/ndisc6.log\n" + script);
}

constexpr char kAnswers[] = "echo Soliciting; echo Target link-layer address: 02:00:00:00:00:01";

class Advertisements : public FakeModules {
  protected:
    Advertisements() {
        methods.clear();
        changes.clear();
        answer = [](Json::Value&) { return 0; };
        Add<MODULE_ROUTE>();
        requests.clear();
        WriteNdisc6(kAnswers);
    }

    void Receive(const std::string& router, int flags = 0, const std::string& ifname = "eth0") {
        Hand(Advertisement(flags, {Prefix(1)}), router, 255, ifname);
    }

    void Hand(Bytes packet, const std::string& router = "fe80::1", int hopLimit = 255,
              const std::string& ifname = "eth0") {
        // On the heap and of its very length, for the address sanitizer.
        packet.shrink_to_fit();
        in6_addr sender;
        ASSERT_EQ(::inet_pton(AF_INET6, router.c_str(), &sender), 1);
        module.HandlePacket(packet.data(), static_cast<int>(packet.size()), sender, hopLimit,
                            ifname);
    }

    void Reset(const std::string& ifname) {
        Json::Value request, reply;
        request["method"] = "RESET_IPV6_MODULE";
        request["ifname"] = ifname;
        EXPECT_EQ(module.ProcessRequest(request, reply), 0);
    }

    std::string Remembered(const std::string& ifname = "eth0") {
        const auto& record = module.Records().at(ifname);
        return record.gateway + " " + std::to_string(record.last_ra_time) + " "
               + std::to_string(record.state);
    }

    IPv6Module module;
};

TEST_F(Advertisements, ChooseGatewayAndMethod) {
    Receive("fe80::1");
    EXPECT_THAT(requests, ElementsAre("3 ADD_GATEWAY_DATA dns=NULL gateway=fe80::1 ifname=eth0 "
                                      "priority=-2 type=GTYPE_V6"));
    EXPECT_EQ(Remembered(), "fe80::1 1000000 2");
    now += 5;
    Receive("fe80::1");
    EXPECT_EQ(Remembered(), "fe80::1 1000005 2");
    EXPECT_THAT(requests, SizeIs(1));
    // Every change of the flags, M before O.
    for (const int flags : {kManaged, kOther, kManaged | kOther, 0, kOther, 0}) {
        Receive("fe80::1", flags);
        Receive("fe80::1", flags);
    }
    EXPECT_THAT(changes,
                ElementsAre("eth0 0", "eth0 2", "eth0 4", "eth0 2", "eth0 0", "eth0 4", "eth0 0"));
    EXPECT_THAT(requests, SizeIs(7));
}

TEST_F(Advertisements, AnotherRouterWaitsForTheFirstToGo) {
    Receive("fe80::1");
    Receive("fe80::2");
    EXPECT_EQ(ReadFile("/tmp/ndisc6.log"), "fe80::1 eth0\n");
    EXPECT_EQ(Remembered(), "fe80::1 1000000 2");
    // One that does not answer goes at once, however that shows.
    for (const auto& [router, script] : {std::pair{"fe80::3", "echo No response.; exit 2"},
                                         {"fe80::4", "sleep 1000 & sleep 1000"},
                                         {"fe80::5", "exec yes Target link-layer"},
                                         {"fe80::6", "kill -9 $$"}}) {
        WriteNdisc6(script);
        Receive(router);
        EXPECT_THAT(Remembered(), HasSubstr(router)) << script;
    }
    EXPECT_EQ(vexotest::Run({"pgrep", "-r", "R,S,D", "sleep"}).out, "");
}

TEST_F(Advertisements, AreForInterfacesThatFollowThem) {
    for (const auto& [ifname, method, ifcfg, follows] :
         {std::tuple{"eth0", int{VEXO_IPV6_OFF}, "", false},
          {"eth1", VEXO_IPV6_MANUAL, "", false},
          {"eth2", -1, "", false},
          {"eth3", 0, "IPV6ROUTER=yesterday\n", false},
          {"eth4", 0, "IPV6ROUTER=no\n", true}}) {
        Receive("fe80::1", 0, ifname);
        methods[ifname] = method;
        WriteFile(std::string(kIfcfg) + ifname, ifcfg);
        Receive("fe80::1", 0, ifname);
        EXPECT_EQ(Remembered(ifname), follows ? "fe80::1 1000000 2" : " 0 0") << ifname;
    }
    Receive("fe80::1", 0, "lbr0");
    EXPECT_EQ(Remembered("lbr0"), " 0 0");
}

TEST_F(Advertisements, AreForgottenOnRequest) {
    Receive("fe80::1");
    Receive("fe80::1", 0, "eth1");
    Reset("nowhere");
    Reset("eth0");
    EXPECT_THAT(module.Records(), ElementsAre(Key("eth1")));
    Receive("fe80::2");
    EXPECT_THAT(Remembered(), HasSubstr("fe80::2"));
    EXPECT_EQ(ReadFile("/tmp/ndisc6.log"), "");
}

TEST_F(Advertisements, WhoDoesNotAnswerHoldsNothingUp) {
    const Uplink wan = MakeUplink(0);
    Receive("fe80::1", 0, wan.ifname);
    Receive("fe80::1", 0, "eth1");
    WriteNdisc6("exec sleep 1000");
    module.InitialModule();
    module.StartModule();
    EXPECT_TRUE(Eventually([] { return Count(ReadFile(kPublished), "eth1") == 1; }));
    Advertiser stranger(wan.provider, "far");
    EXPECT_TRUE(Eventually([&] {
        stranger.Send({.source = "fe80::2"});
        return !ReadFile("/tmp/ndisc6.log").empty();
    }));
    Reset("eth1");
    // When the request returns, other programs see it too.
    EXPECT_EQ(Count(ReadFile(kPublished), "eth1"), 0U);
    EXPECT_EQ(Count(ReadFile(kPublished), "wan0"), 1U);
    module.TerminateModule();
    // Had the end waited for an answer, the other one would have taken its place.
    EXPECT_THAT(Remembered(wan.ifname), HasSubstr("fe80::1 "));
    EXPECT_EQ(vexotest::Run({"pgrep", "-r", "R,S,D", "sleep"}).out, "");
}

TEST_F(Advertisements, AFloodIsHeldAgainstOneAnswer) {
    const Uplink wan = MakeUplink(0);
    Receive("fe80::1", 0, wan.ifname);
    module.InitialModule();
    int probe = -1;
    ASSERT_TRUE(module.open_icmpv6_socket(probe));
    const vexobase::UniqueFd closed(probe);
    Advertiser stranger(wan.provider, "far");
    unsigned char packet[1500];
    EXPECT_TRUE(Eventually([&] {
        stranger.Send({.source = "fe80::2"});
        return ::recv(probe, packet, sizeof packet, MSG_DONTWAIT) > 0;
    }));
    for (int i = 0; i < 20; ++i) {
        stranger.Send({.source = "fe80::2"});
    }
    for (int i = 0; i < 20; ++i) {
        sockaddr_in6 from{};
        in6_pktinfo* where = nullptr;
        const int length = module.recv_rs_ra(packet, &from, &where);
        module.HandlePacket(packet, length, from.sin6_addr, 255, wan.ifname);
    }
    EXPECT_EQ(ReadFile("/tmp/ndisc6.log"), "fe80::1 wan0\n");
}

/// What is made at once by who calls waits where strangers would else choose the pace.
TEST_F(Advertisements, TheThreadMakesAChangeThatCameTooSoon) {
    const Uplink wan = MakeUplink(0);
    module.InitialModule();
    module.StartModule();
    Advertiser link(wan.provider, "far");
    EXPECT_TRUE(Eventually([&] {
        link.Send({.source = "fe80::1", .flags = kManaged});
        return Count(ReadFile(kPublished), "\"state\":1") == 1;
    }));
    link.Send({.source = "fe80::1", .flags = kOther});
    link.Send({.source = "fe80::2"});
    EXPECT_TRUE(Eventually([] { return Count(ReadFile(kPublished), "\"state\":3") == 1; }));
    module.TerminateModule();
    EXPECT_THAT(changes, ElementsAre("wan0 2", "wan0 4"));
    EXPECT_TRUE(spy.Has("ipv6_module", "Process RA from [fe80::2] on interface [wan0]"));
    EXPECT_TRUE(spy.Has("ipv6_module", "Original gateway [fe80::1] reachable."));
}

TEST_F(Advertisements, TheModuleLivesInAnyOrder) {
    constexpr int (IPv6Module::*kSteps[])() = {&IPv6Module::InitialModule, &IPv6Module::StartModule,
                                               &IPv6Module::TerminateModule};
    constexpr int kWords = 3 * 3 * 3 * 3;
    const int before = OpenDescriptors();
    for (int word = 0; word < kWords; ++word) {
        IPv6Module each;
        for (int rest = word + kWords; rest > 1; rest /= 3) {
            EXPECT_EQ((each.*kSteps[rest % 3])(), 0) << word;
        }
    }
    EXPECT_EQ(OpenDescriptors(), before);
    // What the frame does with a module that runs: it goes on.
    const Uplink wan = MakeUplink(0);
    EXPECT_EQ(module.Initialize() + module.Start() + module.Initialize() + module.Start(), 0);
    Advertiser link(wan.provider, "far");
    EXPECT_TRUE(Eventually([&] {
        link.Send({.source = "fe80::1"});
        return Count(ReadFile(kPublished), "fe80::1") == 1;
    }));
    EXPECT_EQ(module.Terminate(), 0);
}

TEST_F(Advertisements, ArePublishedHoweverLongTheMachineIsUp) {
    for (const int days : {30, 45, 80}) {
        timespec uptime{};
        addedUptime = 0;
        ::clock_gettime(CLOCK_MONOTONIC, &uptime);
        addedUptime = std::time_t{days} * 86'400 - uptime.tv_sec;
        ::unlink(kPublished);
        IPv6Module late;
        late.InitialModule();
        late.StartModule();
        EXPECT_TRUE(Eventually([] { return ::access(kPublished, F_OK) == 0; })) << days;
    }
    addedUptime = 0;
}

TEST_F(Advertisements, TheKernelChoosesNoRouterWhereTheyAreFollowed) {
    int metric = 0;
    std::string batch = "link add bridge0 type bridge\n";
    for (const std::string ifname : {"wan0", "wan1", "port0", "pod0", "bridge0"}) {
        batch += ifname == "bridge0" ? "link set port0 up master bridge0\n"
                                     : "link add " + ifname + " type veth peer name peer-" + ifname
                                           + "\nlink set peer-" + ifname + " up\n";
        batch += "link set " + ifname + " up\n";
        for (const char* protocol : {"ra", "static"}) {
            batch += "route add default via fe80::1 onlink dev " + ifname + " proto " + protocol
                     + " metric " + std::to_string(++metric) + "\n";
        }
    }
    batch += "route add 2001:db8:9::/64 via fe80::1 onlink dev wan0 proto ra\n";
    for (int i = 0; i < 1'000; ++i) {
        batch += "route add default via fe80::f:" + std::to_string(i)
                 + " onlink dev wan0 proto ra metric " + std::to_string(++metric) + "\n";
    }
    WriteFile("/tmp/batch", batch);
    Must("ip -6 -batch /tmp/batch");
    const auto left = [](const std::string& ifname) {
        const std::string routes = Must("ip -6 route show dev " + ifname);
        return std::to_string(Count(routes, "proto ra")) + " "
               + std::to_string(Count(routes, "default")) + " "
               + ReadFile("/proc/sys/net/ipv6/conf/" + ifname + "/accept_ra_defrtr");
    };
    UplinkLinks links([](const std::string& ifname) { return ifname != "pod0"; });
    const auto start = std::chrono::steady_clock::now();
    links.Begin(start);
    EXPECT_EQ(left("wan0"), "1 1 0\n");
    EXPECT_EQ(left("wan1"), "0 1 0\n");
    EXPECT_EQ(left("port0") + left("pod0") + left("bridge0"), "1 2 1\n1 2 1\n1 2 1\n");
    // One that comes later, and one that gets another's name.
    Must("ip link add wan2 type veth peer name peer-wan2");
    Must("ip link set pod0 name wan3");
    EXPECT_TRUE(links.Update(start));
    EXPECT_FALSE(links.Update(start));
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv6/conf/wan2/accept_ra_defrtr"), "0\n");
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv6/conf/wan3/accept_ra_defrtr"), "0\n");
    // Whoever has a link is asked, the others when they have got one.
    const auto asked = [&] {
        links.Update(start);
        std::vector<unsigned> all;
        links.Asked().Run(start, [&](unsigned index) { return all.push_back(index), 0; });
        return all;
    };
    EXPECT_THAT(asked(), Not(Contains(::if_nametoindex("wan2"))));
    Must("ip link set wan2 up");
    Must("ip link set peer-wan2 up");
    EXPECT_TRUE(Eventually([&] { return !asked().empty(); }));
}

TEST_F(Advertisements, PrefixesAreCollectedAsFarAsOptionsAreWhole) {
    const Bytes other{1, 1, 2, 0, 0, 0, 0, 1};         // a source link-layer address
    const Bytes tooShort{3, 1, 64, 0x40, 0, 0, 0, 0};  // no room for a prefix
    for (const auto& options : {std::vector{other, Prefix(2, ND_OPT_PI_FLAG_ONLINK), Prefix(1)},
                                {Prefix(1), Bytes(8), Prefix(2)},
                                {Prefix(1), kTooLong},
                                {tooShort, Prefix(1)}}) {
        Bytes packet = Advertisement(0, options);
        packet.shrink_to_fit();
        EXPECT_THAT(module.RaAutoPrefixGet(packet.data(), int(packet.size()), "eth0"),
                    ElementsAre("2001:db8:1::"));
    }
}

TEST_F(Advertisements, AreDiscardedAsHostsMust) {
    const Bytes good = Advertisement(kManaged, {});
    const auto with = [&](std::size_t at, unsigned char byte) {
        Bytes packet = good;
        packet[at] = byte;
        return packet;
    };
    Hand({});
    Hand(with(0, ND_ROUTER_SOLICIT));
    Hand(with(1, 1));
    Hand(with(7, 0));  // no default router
    Hand(Bytes(good.begin(), good.end() - 1));
    Hand(good, "fe80::1", 254);
    Hand(good, "fe80::1", -1);
    Hand(good, "2001:db8::1");
    Hand(good, "fe80::1", 255, "");
    EXPECT_THAT(spy.Messages(), IsEmpty());
    EXPECT_THAT(module.Records(), IsEmpty());
    // Without flags it must say how to get an address; with M it need not.
    Hand(Advertisement(0, {Prefix(1, ND_OPT_PI_FLAG_ONLINK)}));
    EXPECT_THAT(module.Records(), IsEmpty());
    Hand(good);
    EXPECT_EQ(Remembered(), "fe80::1 1000000 1");
}

TEST_F(Advertisements, AreLoggedAsTheCatalogueHasIt) {
    Receive("fe80::1");
    Receive("fe80::1");
    Receive("fe80::2");
    Hand(Advertisement(0, {}));
    Hand(Advertisement(0, {Bytes(8)}));
    Hand(Advertisement(0, {kTooLong}));
    Hand({ND_NEIGHBOR_ADVERT});
    methods["eth1"] = -1;
    Receive("fe80::1", 0, "eth1");
    answer = [](Json::Value&) { return -1; };
    Receive("fe80::1", 0, "eth2");
    module.StartModule();
    unsigned char packet[1500];
    EXPECT_EQ(module.recv_rs_ra(packet, nullptr, nullptr), -1);
    for (const std::string line :
         {"6 Process RA from [fe80::1] on interface [eth0]",
          "7 Failed to get key [IPV6ROUTER] in [/etc/sysconfig/network-scripts/ifcfg-eth0], "
          "treated as NOT a router",
          "6 State [2] does not change.", "6 difftime = 0.000000",
          "6 Original gateway [fe80::1] reachable.",
          "6 Ignore stateless RA which has no prefix information.", "3 zero length option in RA",
          "3 option length greater than total length in RA (type 3, optlen 40, len 32)",
          "3 icmpv6 filter failed", "3 Fail to get ipv6 config(eth1)",
          "3 Failed to add gateway data ifname=eth2, gateway=fe80::1",
          "3 Failed to create ipv6 polling thread", "3 Failed to select socket"}) {
        EXPECT_TRUE(spy.Has(line[0] - '0', "ipv6_module", line.substr(2))) << line;
    }
    const int before = OpenDescriptors();
    for (const auto& [option, call] : {std::pair{0, "create socket(AF_INET6)"},
                                       {IPV6_RECVPKTINFO, "setsockopt(IPV6_RECVPKTINFO)"},
                                       {IPV6_UNICAST_HOPS, "setsockopt(IPV6_UNICAST_HOPS)"},
                                       {IPV6_MULTICAST_HOPS, "setsockopt(IPV6_MULTICAST_HOPS)"},
                                       {ICMP6_FILTER, "setsockopt(ICMP6_FILTER)"}}) {
        failingOption = option;
        spy.Clear();
        EXPECT_EQ(module.InitialModule(), -1);
        EXPECT_THAT(spy.Messages(),
                    ElementsAre(std::string("Failed to ") + call, "Failed to open icmpv6 socket"));
    }
    failingOption = -1;
    module.TerminateModule();
    hasEventfd = false;
    EXPECT_EQ(module.InitialModule(), -1);
    EXPECT_EQ(module.StartModule() + module.TerminateModule(), 0);
    hasEventfd = true;
    EXPECT_LE(OpenDescriptors(), before);
}

}  // namespace
}  // namespace vexotest
