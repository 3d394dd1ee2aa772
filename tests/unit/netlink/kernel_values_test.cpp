// What the kernel sent, byte for byte (the fuzzer begins from the same files), against the values
// it means. Above each stands what "ip monitor" said of it.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <linux/fib_rules.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>

#include <memory>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

#include "support/files.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetlink;

/// Bytes whose memory ends where they end, so that the address sanitizer sees a step beyond.
class Memory {
  public:
    explicit Memory(std::string_view text)
        : size(text.size()), bytes(std::make_unique<std::byte[]>(size)) {
        std::memcpy(bytes.get(), text.data(), size);
    }
    Bytes All() const { return {bytes.get(), size}; }

  private:
    std::size_t size;
    std::unique_ptr<std::byte[]> bytes;
};

std::string Captured(const std::string& name) {
    return ReadFile(CAPTURED_DIR "/" + name);
}

/// What a reader makes of the messages of a datagram.
template <typename Read>
auto ReadAll(const Memory& memory, Read read) {
    std::vector<decltype(read(vexonetlink::Message()))> values;
    for (Messages messages(memory.All()); const auto message = messages.Next();) {
        values.push_back(read(*message));
    }
    return values;
}

/// The one message of a captured datagram.
template <typename Read>
auto ReadOne(const std::string& name, Read read) {
    const auto values = ReadAll(Memory(Captured(name)), read);
    EXPECT_THAT(values, SizeIs(1)) << name;
    return values.empty() ? decltype(read(vexonetlink::Message()))() : values.front();
}

IpAddress Ip(const std::string& text) {
    IpAddress address{text.find(':') == text.npos ? AF_INET : AF_INET6, {}};
    EXPECT_EQ(::inet_pton(address.family, text.c_str(), address.bytes.data()), 1) << text;
    return address;
}

std::vector<std::byte> AttributeBytes(std::uint16_t type, std::initializer_list<int> payload) {
    std::vector<std::byte> bytes{std::byte(payload.size() + 4), {}, std::byte(type), {}};
    for (const int value : payload) {
        bytes.push_back(std::byte(value));
    }
    bytes.resize(NLMSG_ALIGN(bytes.size()));
    return bytes;
}

std::vector<std::byte> operator+(std::vector<std::byte> one, const std::vector<std::byte>& two) {
    one.insert(one.end(), two.begin(), two.end());
    return one;
}

constexpr unsigned kUsual = IFF_BROADCAST | IFF_MULTICAST;
const std::vector<std::uint8_t> kMac{0x02, 0x00, 0x5e, 0x10, 0x00, 0x01};
constexpr std::uint8_t kBoot = RTPROT_BOOT;
constexpr std::uint8_t kKernel = RTPROT_KERNEL;
constexpr std::uint8_t kLinkScope = RT_SCOPE_LINK;

TEST(KernelValues, Links) {
    const std::pair<const char*, Link> cases[] = {
        // 4: wan0@far: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1400 qdisc noqueue state UP
        //     link/ether 02:00:5e:10:00:01 brd ff:ff:ff:ff:ff:ff
        {"link_up",
         {.index = 4,
          .type = ARPHRD_ETHER,
          .flags = kUsual | IFF_UP | IFF_RUNNING | IFF_LOWER_UP,
          .ifname = "wan0",
          .mtu = 1400,
          .operState = IF_OPER_UP,
          .hardwareAddress = kMac,
          .kind = "veth"}},
        // 4: wan0@far: <BROADCAST,MULTICAST,M-DOWN> mtu 1400 qdisc noop master br0 state DOWN
        {"link_of_port",
         {.index = 4,
          .type = ARPHRD_ETHER,
          .flags = kUsual,
          .ifname = "wan0",
          .mtu = 1400,
          .operState = IF_OPER_DOWN,
          .hardwareAddress = kMac,
          .master = 2,
          .kind = "veth",
          .portKind = "bridge"}},
        // 4: wan0@far: <BROADCAST,MULTICAST,M-DOWN> mtu 1400 master br0 state DOWN
        {"bridge_port",
         {.family = AF_BRIDGE,
          .index = 4,
          .type = ARPHRD_ETHER,
          .flags = kUsual,
          .ifname = "wan0",
          .mtu = 1400,
          .operState = IF_OPER_DOWN,
          .hardwareAddress = kMac,
          .master = 2}},
        // Deleted 4: wan0@far: <BROADCAST,MULTICAST,M-DOWN> mtu 1400 master br0 state DOWN
        {"bridge_port_gone",
         {.isNew = false,
          .family = AF_BRIDGE,
          .index = 4,
          .type = ARPHRD_ETHER,
          .flags = kUsual,
          .ifname = "wan0",
          .mtu = 1400,
          .operState = IF_OPER_DOWN,
          .hardwareAddress = kMac,
          .master = 2}},
        // Deleted 2: br0: <BROADCAST,MULTICAST> mtu 1500 qdisc noop state DOWN
        //     link/ether 00:00:00:00:00:00 brd ff:ff:ff:ff:ff:ff
        {"link_gone",
         {.isNew = false,
          .index = 2,
          .type = ARPHRD_ETHER,
          .flags = kUsual,
          .ifname = "br0",
          .mtu = 1500,
          .operState = IF_OPER_DOWN,
          .hardwareAddress = std::vector<std::uint8_t>(6),
          .kind = "bridge"}},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(ReadOne(name, ReadLink), expected) << name;
    }
}

TEST(KernelValues, Addresses) {
    const InterfaceAddress labelled{.family = AF_INET,
                                    .index = 4,
                                    .local = Ip("192.0.2.10"),
                                    .prefixLength = 24,
                                    .broadcast = Ip("192.0.2.255"),
                                    .flags = IFA_F_PERMANENT | IFA_F_NOPREFIXROUTE,
                                    .label = "wan0:1"};
    InterfaceAddress gone = labelled;
    gone.isNew = false;
    const std::pair<const char*, InterfaceAddress> cases[] = {
        // 4: wan0    inet 192.0.2.10/24 brd 192.0.2.255 scope global noprefixroute wan0:1
        {"address_label", labelled},
        // Deleted 4: wan0    inet 192.0.2.10/24 brd 192.0.2.255 scope global noprefixroute wan0:1
        {"address_gone", gone},
        // 4: wan0    inet 10.64.0.2 peer 10.64.0.1/32 scope global wan0
        {"address_peer",
         {.family = AF_INET,
          .index = 4,
          .local = Ip("10.64.0.2"),
          .prefixLength = 32,
          .peer = Ip("10.64.0.1"),
          .flags = IFA_F_PERMANENT,
          .label = "wan0"}},
        // 3: wan0    inet 203.0.113.7/32 metric 7 scope global dynamic proto 0x76 wan0
        //        valid_lft 600sec preferred_lft 500sec
        {"address_protocol",
         {.family = AF_INET,
          .index = 3,
          .local = Ip("203.0.113.7"),
          .prefixLength = 32,
          .protocol = 0x76,
          .metric = 7,
          .preferredFor = 500,
          .validFor = 600,
          .label = "wan0"}},
        // 4: wan0    inet6 2001:db8::10/64 scope global nodad dynamic
        //        valid_lft 4000sec preferred_lft 3000sec
        {"address_v6",
         {.family = AF_INET6,
          .index = 4,
          .local = Ip("2001:db8::10"),
          .prefixLength = 64,
          .flags = IFA_F_NODAD,
          .preferredFor = 3000,
          .validFor = 4000}},
        // 4: wan0    inet6 2001:db8:1::2 peer 2001:db8:1::1/128 scope global nodad
        {"address_v6_peer",
         {.family = AF_INET6,
          .index = 4,
          .local = Ip("2001:db8:1::2"),
          .prefixLength = 128,
          .peer = Ip("2001:db8:1::1"),
          .flags = IFA_F_PERMANENT | IFA_F_NODAD}},
        // 4: wan0    inet6 fe80::5eff:fe10:1/64 scope link
        {"address_link_local",
         {.family = AF_INET6,
          .index = 4,
          .local = Ip("fe80::5eff:fe10:1"),
          .prefixLength = 64,
          .scope = RT_SCOPE_LINK,
          .flags = IFA_F_PERMANENT,
          .protocol = 3}},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(ReadOne(name, ReadAddress), expected) << name;
    }
}

const Route kDefault{.table = RT_TABLE_MAIN,
                     .destination = {Ip("0.0.0.0"), 0},
                     .metric = 100,
                     .gateway = Ip("192.0.2.1"),
                     .oif = 4,
                     .protocol = kBoot,
                     .flags = RTNH_F_ONLINK,
                     .preferredSource = Ip("192.0.2.10")};
// mtu lock 1300
const auto kMtu = AttributeBytes(RTA_METRICS, {8, 0, RTAX_LOCK, 0, 1 << RTAX_MTU, 0, 0, 0,  //
                                               8, 0, RTAX_MTU, 0, 0x14, 0x05, 0, 0});
Route Gone(Route route) {
    route.isNew = false;
    return route;
}

const std::pair<const char*, Route> kRoutes[] = {
    // default via 192.0.2.1 dev wan0 src 192.0.2.10 metric 100 onlink
    {"route_default", kDefault},
    // Deleted default via 192.0.2.1 dev wan0 src 192.0.2.10 metric 100 onlink
    {"route_gone", Gone(kDefault)},
    // 198.51.100.0/24 via 192.0.2.1 dev wan0 table 1000 proto 86 onlink
    {"route_table_1000",
     {.table = 1000,
      .destination = {Ip("198.51.100.0"), 24},
      .gateway = Ip("192.0.2.1"),
      .oif = 4,
      .protocol = 86,
      .flags = RTNH_F_ONLINK}},
    // default table 300
    //     nexthop via 192.0.2.1 dev wan0 weight 3 onlink
    //     nexthop dev far weight 1
    {"route_multipath",
     {.table = 300,
      .destination = {Ip("0.0.0.0"), 0},
      .protocol = kBoot,
      .hops = {{.gateway = Ip("192.0.2.1"), .oif = 4, .weight = 3, .flags = RTNH_F_ONLINK},
               {.oif = 3}}}},
    // local 10.64.0.2 dev wan0 table local proto kernel scope host src 10.64.0.2
    {"route_local",
     {.table = RT_TABLE_LOCAL,
      .destination = {Ip("10.64.0.2"), 32},
      .oif = 4,
      .protocol = kKernel,
      .type = RTN_LOCAL,
      .scope = RT_SCOPE_HOST,
      .preferredSource = Ip("10.64.0.2")}},
    // blackhole 10.9.0.0/16
    {"route_blackhole",
     {.table = RT_TABLE_MAIN,
      .destination = {Ip("10.9.0.0"), 16},
      .protocol = kBoot,
      .type = RTN_BLACKHOLE}},
    // 10.8.0.0/16 via inet6 fe80::5 dev wan0
    {"route_via_other_family",
     {.table = RT_TABLE_MAIN,
      .destination = {Ip("10.8.0.0"), 16},
      .gateway = Ip("fe80::5"),
      .oif = 4,
      .protocol = kBoot}},
    // 10.7.0.0/16 tos 0x10 via 192.0.2.1 dev wan0 onlink mtu lock 1300
    {"route_metrics",
     {.table = RT_TABLE_MAIN,
      .destination = {Ip("10.7.0.0"), 16},
      .gateway = Ip("192.0.2.1"),
      .oif = 4,
      .protocol = kBoot,
      .tos = 0x10,
      .flags = RTNH_F_ONLINK,
      .others = kMtu}},
    // 10.6.0.0/16 nhid 5 via 192.0.2.1 dev wan0 onlink
    {"route_next_hop_object",
     {.table = RT_TABLE_MAIN,
      .destination = {Ip("10.6.0.0"), 16},
      .gateway = Ip("192.0.2.1"),
      .oif = 4,
      .protocol = kBoot,
      .flags = RTNH_F_ONLINK,
      .nextHopId = 5}},
    // unreachable 2001:db8:2::/48 dev lo proto 119 metric 2147483647 pref medium
    {"route_unreachable_v6",
     {.table = RT_TABLE_MAIN,
      .destination = {Ip("2001:db8:2::"), 48},
      .metric = 2147483647,
      .oif = 1,
      .protocol = 119,
      .type = RTN_UNREACHABLE}},
    // default via fe80::1 dev wan0 table 300 proto 86 metric 1000000 pref medium
    {"route_default_v6",
     {.table = 300,
      .destination = {Ip("::"), 0},
      .metric = 1000000,
      .gateway = Ip("fe80::1"),
      .oif = 4,
      .protocol = 86}},
    // 2001:db8:9::/64 dev wan0 metric 1024 expires 100sec pref high
    {"route_expires_v6",
     {.table = RT_TABLE_MAIN,
      .destination = {Ip("2001:db8:9::"), 64},
      .metric = 1024,
      .oif = 4,
      .protocol = kBoot,
      .preference = 1,
      .lifetime = 100}},
    // 2001:db8:7::/64 metric 1024 pref medium
    //     nexthop via fe80::1 dev wan0 weight 1
    //     nexthop via fe80::2 dev wan0 weight 2
    {"route_multipath_v6",
     {.table = RT_TABLE_MAIN,
      .destination = {Ip("2001:db8:7::"), 64},
      .metric = 1024,
      .protocol = kBoot,
      .hops = {{.gateway = Ip("fe80::1"), .oif = 4},
               {.gateway = Ip("fe80::2"), .oif = 4, .weight = 2}}}},
};

const Rule kFromSource{
    .priority = 900, .source = {Ip("192.0.2.10"), 32}, .table = 300, .protocol = 86};
Rule Gone(Rule rule) {
    rule.isNew = false;
    return rule;
}

const std::pair<const char*, Rule> kRules[] = {
    // 900: from 192.0.2.10 lookup 300 proto 86
    {"rule_source", kFromSource},
    // Deleted 900: from 192.0.2.10 lookup 300 proto 86
    {"rule_gone", Gone(kFromSource)},
    // 800: from all lookup main suppress_prefixlength 0
    {"rule_suppress",
     {.priority = 800,
      .source = {Ip("0.0.0.0"), 0},
      .table = RT_TABLE_MAIN,
      .suppressedLength = 0}},
    // 700: not from all to 2001:db8::/32 fwmark 0x10/0xff iif wan0 lookup 1000
    {"rule_mark_v6",
     {.priority = 700,
      .source = {Ip("::"), 0},
      .table = 1000,
      .destination = {Ip("2001:db8::"), 32},
      .flags = FIB_RULE_INVERT,
      .iif = "wan0",
      .mark = 0x10,
      .markMask = 0xff}},
    // 600: from all oif wan0 uidrange 100-200 ipproto udp dport 53 unreachable
    {"rule_others",
     {.priority = 600,
      .source = {Ip("0.0.0.0"), 0},
      .action = FR_ACT_UNREACHABLE,
      .oif = "wan0",
      .others = AttributeBytes(FRA_UID_RANGE, {100, 0, 0, 0, 200, 0, 0, 0})
                + AttributeBytes(FRA_DPORT_RANGE, {53, 0, 53, 0})
                + AttributeBytes(FRA_DPORT_RANGE + 5, {255, 255})
                + AttributeBytes(FRA_IP_PROTO, {IPPROTO_UDP})}},
    // 500: from 10.0.0.0/8 goto 900
    {"rule_goto",
     {.priority = 500, .source = {Ip("10.0.0.0"), 8}, .action = FR_ACT_GOTO, .target = 900}},
};

TEST(KernelValues, Routes) {
    for (const auto& [name, expected] : kRoutes) {
        EXPECT_EQ(ReadOne(name, ReadRoute), expected) << name;
    }
}

TEST(KernelValues, Rules) {
    for (const auto& [name, expected] : kRules) {
        EXPECT_EQ(ReadOne(name, ReadRule), expected) << name;
    }
}

TEST(KernelValues, ErrorsAndEnds) {
    const std::pair<const char*, KernelError> cases[] = {
        {"acknowledgement", {}},
        // Error: Nexthop has invalid gateway.
        {"error_reason", {ENETUNREACH, "Nexthop has invalid gateway"}},
        {"error_whole_request", {ENETUNREACH, "Nexthop has invalid gateway"}},
        // RTNETLINK answers: Network is unreachable
        {"error_number", {ENETUNREACH, "Network is unreachable"}},
        // Error: ipv4: FIB table does not exist.
        {"dump_failed", {ENOENT, "ipv4: FIB table does not exist"}},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(ReadOne(name, ReadError), expected) << name;
    }
    // The kernel's numbers are negative; what else stands there is no error of it.
    for (const auto& [number, expected] :
         {std::pair(0, 0), {7, 0}, {-EPERM, EPERM}, {-4096, EBADMSG}, {INT_MIN, EBADMSG}}) {
        std::string bytes = Captured("error_number");
        std::memcpy(bytes.data() + sizeof(nlmsghdr), &number, sizeof number);
        EXPECT_EQ(ReadAll(Memory(bytes), ReadError).front()->number, expected) << number;
    }
}

TEST(KernelValues, DumpsEndWithTheirEnd) {
    const auto rules = ReadAll(Memory(Captured("dump_rules")), ReadRule);
    EXPECT_THAT(rules, ElementsAre(Optional(Field(&Rule::table, RT_TABLE_LOCAL)),
                                   Optional(Field(&Rule::table, RT_TABLE_MAIN)),
                                   Optional(Field(&Rule::table, RT_TABLE_DEFAULT)), std::nullopt));
    const auto ends = ReadAll(Memory(Captured("dump_rules")), ReadError);
    EXPECT_THAT(ends, ElementsAre(std::nullopt, std::nullopt, std::nullopt, KernelError()));
}

/// The bytes as a stranger's: cut, or with other bytes in them, they give nothing or a value.
void ReadEverything(Bytes bytes) {
    Messages messages(bytes);
    while (const auto message = messages.Next()) {
        ReadLink(*message);
        ReadAddress(*message);
        ReadRoute(*message);
        ReadRule(*message);
        ReadError(*message);
    }
    EXPECT_LE(messages.Left().size(), bytes.size());
}

TEST(KernelBytes, WhateverLengthsSayNothingIsReadBeyond) {
    for (const char* name : {"link_up", "bridge_port", "address_label", "address_v6_peer",
                             "route_multipath", "route_via_other_family", "route_expires_v6",
                             "rule_others", "error_reason", "error_whole_request", "dump_failed"}) {
        const std::string whole = Captured(name);
        ASSERT_GT(whole.size(), sizeof(nlmsghdr)) << name;
        for (std::uint32_t length = 0; length <= whole.size(); ++length) {
            std::string cut = whole.substr(0, length);
            ReadEverything(Memory(cut).All());
            // The header says so too, so that the attributes are looked at.
            if (length >= sizeof length) {
                std::memcpy(cut.data(), &length, sizeof length);
                ReadEverything(Memory(cut).All());
            }
        }
        for (std::size_t place = sizeof(nlmsghdr); place < whole.size(); ++place) {
            for (const char other : {'\x00', '\x03', '\x7f', '\xff'}) {
                std::string changed = whole;
                changed[place] = other;
                ReadEverything(Memory(changed).All());
            }
        }
    }
}

TEST(KernelBytes, AMessageThatLiesEndsItsDatagram) {
    const std::string good = Captured("rule_source");
    for (const std::uint32_t length :
         {0U, 15U, static_cast<std::uint32_t>(2 * good.size() + 4), ~0U}) {
        std::string lying = good;
        std::memcpy(lying.data(), &length, sizeof length);
        EXPECT_THAT(ReadAll(Memory(good + lying + good), ReadRule), ElementsAre(kFromSource));
    }
    EXPECT_THAT(ReadAll(Memory(good + good.substr(0, 15)), ReadRule), ElementsAre(kFromSource));
}

}  // namespace
}  // namespace vexotest
