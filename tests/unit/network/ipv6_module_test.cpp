#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/icmp6.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <ctime>

#include <vexo/ipv6_conf.h>
#include <vexonetwork/network/module/ipv6_module.h>

#include "support/files.h"
#include "support/process.h"
#include "unit/network/fake_module.h"

// Advertisements as bytes, a clock and an IPv6 configuration of the test's own, and in the place of
// ndisc6 whatever a case writes there.

namespace {

std::time_t now = 1'000'000;
std::map<std::string, int> methods;
std::vector<std::string> changes;  ///< "IFNAME METHOD"

}  // namespace

extern "C" {

std::time_t time(std::time_t* /*result*/) noexcept {
    return now;
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

/// A prefix information option (RFC 4861 section 4.6.2) for 2001:db8:N::/64.
Bytes Prefix(unsigned char number, unsigned char flags = ND_OPT_PI_FLAG_AUTO) {
    Bytes option(32);
    option[0] = ND_OPT_PREFIX_INFORMATION;
    option[1] = 4;
    option[2] = 64;
    option[3] = flags;
    const unsigned char prefix[] = {0x20, 0x01, 0x0d, 0xb8, 0, number};
    std::memcpy(&option[16], prefix, sizeof prefix);
    return option;
}

Bytes Advertisement(int flags, const std::vector<Bytes>& options) {
    Bytes packet(sizeof(nd_router_advert));
    packet[0] = ND_ROUTER_ADVERT;
    packet[7] = 30;  // the lifetime in seconds
    packet[5] = static_cast<unsigned char>(flags);
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

    void Hand(Bytes packet, const std::string& router, int hopLimit,
              const std::string& ifname = "eth0") {
        // On the heap and of its very length, for the address sanitizer.
        packet.shrink_to_fit();
        in6_addr sender;
        ASSERT_EQ(::inet_pton(AF_INET6, router.c_str(), &sender), 1);
        module.HandlePacket(packet.data(), static_cast<int>(packet.size()), sender, hopLimit,
                            ifname);
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
    now += 900;
    Receive("fe80::2");
    EXPECT_EQ(Remembered(), "fe80::1 " + std::to_string(now - 900) + " 2");
    now += 1;
    Receive("fe80::2");
    EXPECT_EQ(Remembered(), "fe80::2 " + std::to_string(now) + " 2");
    // One that does not answer goes at once, however that shows.
    for (const auto& [router, script] : {std::pair{"fe80::3", "echo No response.; exit 2"},
                                         {"fe80::4", "sleep 1000 & sleep 1000"},
                                         {"fe80::5", "exec yes Target link-layer"},
                                         {"fe80::6", "kill -9 $$"}}) {
        WriteNdisc6(script);
        const auto begin = std::chrono::steady_clock::now();
        Receive(router);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10)) << script;
        EXPECT_THAT(Remembered(), HasSubstr(router)) << script;
    }
    EXPECT_EQ(vexotest::Run({"pgrep", "-r", "R,S,D", "sleep"}).out, "");
}

TEST_F(Advertisements, AreForInterfacesThatFollowThem) {
    for (const char* ifname : {"eth0", "eth1", "eth2", "eth3", "eth4", "lbr0"}) {
        methods[ifname] = 0;
        Receive("fe80::1", 0, ifname);
    }
    EXPECT_EQ(Remembered("lbr0"), " 0 0");
    methods["eth0"] = VEXO_IPV6_OFF;
    methods["eth1"] = VEXO_IPV6_MANUAL;
    methods["eth2"] = -1;
    WriteFile(std::string(kIfcfg) + "eth3", "IPV6ROUTER=yesterday\n");
    WriteFile(std::string(kIfcfg) + "eth4", "IPV6ROUTER=no\n");
    for (const char* ifname : {"eth0", "eth1", "eth2", "eth3"}) {
        Receive("fe80::1", 0, ifname);
        EXPECT_EQ(Remembered(ifname), " 0 0") << ifname;
    }
    Receive("fe80::1", 0, "eth4");
    EXPECT_THAT(Remembered("eth4"), HasSubstr("fe80::1"));
}

TEST_F(Advertisements, AreForgottenOnRequest) {
    Receive("fe80::1");
    Receive("fe80::1", 0, "eth1");
    for (const char* ifname : {"nowhere", "eth0"}) {
        Json::Value request, reply;
        request["method"] = "RESET_IPV6_MODULE";
        request["ifname"] = ifname;
        EXPECT_EQ(module.ProcessRequest(request, reply), 0);
    }
    Receive("fe80::2");
    EXPECT_THAT(Remembered(), HasSubstr("fe80::2"));
    EXPECT_THAT(Remembered("eth1"), HasSubstr("fe80::1"));
    EXPECT_EQ(ReadFile("/tmp/ndisc6.log"), "");
}

TEST_F(Advertisements, PrefixesAreCollectedAsFarAsOptionsAreWhole) {
    const Bytes other{1, 1, 2, 0, 0, 0, 0, 1};  // a source link-layer address
    Bytes tooLong = Prefix(7);
    tooLong[1] = 5;
    const Bytes tooShort{3, 1, 64, 0x40, 0, 0, 0, 0};  // no room for a prefix
    for (const auto& options : {std::vector{other, Prefix(2, ND_OPT_PI_FLAG_ONLINK), Prefix(1)},
                                {Prefix(1), Bytes(8), Prefix(2)},
                                {Prefix(1), tooLong},
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
    Hand(with(0, ND_ROUTER_SOLICIT), "fe80::1", 255);
    Hand(with(1, 1), "fe80::1", 255);
    Hand(with(7, 0), "fe80::1", 255);  // no default router
    Hand(Bytes(good.begin(), good.end() - 1), "fe80::1", 255);
    Hand(good, "fe80::1", 254);
    Hand(good, "fe80::1", -1);
    Hand(good, "2001:db8::1", 255);
    Hand(good, "fe80::1", 255, "");
    EXPECT_THAT(spy.Messages(), IsEmpty());
    EXPECT_THAT(module.Records(), IsEmpty());
    // Without flags it must say how to get an address; with M it need not.
    Hand(Advertisement(0, {Prefix(1, ND_OPT_PI_FLAG_ONLINK)}), "fe80::1", 255);
    EXPECT_THAT(module.Records(), IsEmpty());
    Hand(good, "fe80::1", 255);
    EXPECT_EQ(Remembered(), "fe80::1 " + std::to_string(now) + " 1");
}

}  // namespace
}  // namespace vexotest
