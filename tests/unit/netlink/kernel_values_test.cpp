// What the kernel sent, byte for byte (the fuzzer begins from the same files), against the values
// it means. Above each stands what "ip monitor" said of it.

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <climits>
#include <concepts>
#include <span>
#include <sstream>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

#include "support/files.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetlink;

/// Bytes whose memory ends where they end, so that the address sanitizer sees a step beyond.
std::vector<std::byte> Memory(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

std::string Captured(const std::string& name) {
    return ReadFile(CAPTURED_DIR "/" + name);
}

/// What a reader makes of the messages of a datagram.
template <typename Read>
auto ReadAll(const std::vector<std::byte>& memory, Read read) {
    std::vector<decltype(read(vexonetlink::Message()))> values;
    for (Messages messages(memory); const auto message = messages.Next();) {
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

template <std::integral Number>
std::string Text(Number number) {
    return std::to_string(number);
}
std::string Text(const std::string& text) {
    return text;
}
std::string Text(const IpAddress& address) {
    return ToText(address);
}
std::string Text(const IpPrefix& prefix) {
    return ToText(prefix);
}
template <typename Byte>
std::string Text(const std::vector<Byte>& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const Byte byte : bytes) {
        text += {kDigits[static_cast<int>(byte) / 16], kDigits[static_cast<int>(byte) % 16]};
    }
    return text;
}
std::string Text(const std::vector<NextHop>& hops);

/// "NAME=VALUE" of each field; the names are separated by commas.
template <typename... Fields>
std::vector<std::string> List(const std::string& names, const Fields&... fields) {
    std::istringstream name(names);
    std::vector<std::string> words;
    ((std::getline(name >> std::ws, words.emplace_back(), ','), words.back() += "=" + Text(fields)),
     ...);
    return words;
}

// By bindings, so that no field can be forgotten.
#define LIST_FIELDS(value, ...)        \
    const auto& [__VA_ARGS__] = value; \
    return List(#__VA_ARGS__, __VA_ARGS__)

auto FieldsOf(const Link& link) {
    LIST_FIELDS(link, isNew, family, index, type, flags, ifname, mtu, state, mac, master, kind,
                portKind);
}
auto FieldsOf(const InterfaceAddress& address) {
    LIST_FIELDS(address, isNew, family, index, local, length, peer, brd, scope, flags, proto,
                metric, preferred, valid, label);
}
auto FieldsOf(const Neighbour& neighbour) {
    LIST_FIELDS(neighbour, isNew, index, ip, mac, state, flags, type);
}
auto FieldsOf(const NextHop& hop) {
    LIST_FIELDS(hop, via, oif, weight, flags, others);
}
auto FieldsOf(const Route& route) {
    LIST_FIELDS(route, table, to, metric, via, oif, proto, type, scope, tos, flags, from, source,
                hops, nextHopId, preference, lifetime, isNew, others);
}
auto FieldsOf(const Rule& rule) {
    LIST_FIELDS(rule, priority, from, table, suppress, proto, action, to, tos, flags, iif, oif,
                mark, mask, target, isNew, others);
}

/// The fields of a value that are not as in a new one, each behind a blank; "" for none.
template <typename Value>
std::string Words(const std::optional<Value>& value) {
    const auto usual = FieldsOf(Value());
    std::string text;
    for (const std::string& word : value ? FieldsOf(*value) : usual) {
        text += std::ranges::find(usual, word) == usual.end() ? " " + word : "";
    }
    return text;
}

std::string Text(const std::vector<NextHop>& hops) {
    std::string text;
    for (const NextHop& hop : hops) {
        text += "[" + Words(std::optional(hop)) + " ]";
    }
    return text;
}

/// A captured datagram and its value, as one reader alone tells it.
constexpr char kRows[] = R"(
# 4: wan0@far: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1400 qdisc noqueue state UP
#     link/ether 02:00:5e:10:00:01 brd ff:ff:ff:ff:ff:ff
link_up index=4 type=1 flags=69699 ifname=wan0 mtu=1400 state=6 mac=02005e100001 kind=veth
# 4: wan0@far: <BROADCAST,MULTICAST,M-DOWN> mtu 1400 qdisc noop master br0 state DOWN
link_of_port index=4 type=1 flags=4098 ifname=wan0 mtu=1400 state=2 mac=02005e100001 master=2 kind=veth portKind=bridge
# 4: wan0@far: <BROADCAST,MULTICAST,M-DOWN> mtu 1400 master br0 state DOWN
bridge_port family=7 index=4 type=1 flags=4098 ifname=wan0 mtu=1400 state=2 mac=02005e100001 master=2
# Deleted 4: wan0@far: <BROADCAST,MULTICAST,M-DOWN> mtu 1400 master br0 state DOWN
bridge_port_gone isNew=0 family=7 index=4 type=1 flags=4098 ifname=wan0 mtu=1400 state=2 mac=02005e100001 master=2
# Deleted 2: br0: <BROADCAST,MULTICAST> mtu 1500 qdisc noop state DOWN
#     link/ether 00:00:00:00:00:00 brd ff:ff:ff:ff:ff:ff
link_gone isNew=0 index=2 type=1 flags=4098 ifname=br0 mtu=1500 state=2 mac=000000000000 kind=bridge
# 4: wan0    inet 192.0.2.10/24 brd 192.0.2.255 scope global noprefixroute wan0:1
address_label family=2 index=4 local=192.0.2.10 length=24 brd=192.0.2.255 flags=640 label=wan0:1
# Deleted 4: wan0    inet 192.0.2.10/24 brd 192.0.2.255 scope global noprefixroute wan0:1
address_gone isNew=0 family=2 index=4 local=192.0.2.10 length=24 brd=192.0.2.255 flags=640 label=wan0:1
# 4: wan0    inet 10.64.0.2 peer 10.64.0.1/32 scope global wan0
address_peer family=2 index=4 local=10.64.0.2 length=32 peer=10.64.0.1 flags=128 label=wan0
# 3: wan0    inet 203.0.113.7/32 metric 7 scope global dynamic proto 0x76 wan0
#        valid_lft 600sec preferred_lft 500sec
address_protocol family=2 index=3 local=203.0.113.7 length=32 proto=118 metric=7 preferred=500 valid=600 label=wan0
# 4: wan0    inet6 2001:db8::10/64 scope global nodad dynamic
#        valid_lft 4000sec preferred_lft 3000sec
address_v6 family=10 index=4 local=2001:db8::10 length=64 flags=2 preferred=3000 valid=4000
# 4: wan0    inet6 2001:db8:1::2 peer 2001:db8:1::1/128 scope global nodad
address_v6_peer family=10 index=4 local=2001:db8:1::2 length=128 peer=2001:db8:1::1 flags=130
# 4: wan0    inet6 fe80::5eff:fe10:1/64 scope link
address_link_local family=10 index=4 local=fe80::5eff:fe10:1 length=64 scope=253 flags=128 proto=3
# default via 192.0.2.1 dev wan0 src 192.0.2.10 metric 100 onlink
route_default table=254 to=0.0.0.0/0 metric=100 via=192.0.2.1 oif=4 proto=3 flags=4 source=192.0.2.10
# Deleted default via 192.0.2.1 dev wan0 src 192.0.2.10 metric 100 onlink
route_gone table=254 to=0.0.0.0/0 metric=100 via=192.0.2.1 oif=4 proto=3 flags=4 source=192.0.2.10 isNew=0
# 198.51.100.0/24 via 192.0.2.1 dev wan0 table 1000 proto 86 onlink
route_table_1000 table=1000 to=198.51.100.0/24 via=192.0.2.1 oif=4 proto=86 flags=4
# default table 300
#     nexthop via 192.0.2.1 dev wan0 weight 3 onlink
#     nexthop dev far weight 1
route_multipath table=300 to=0.0.0.0/0 proto=3 hops=[ via=192.0.2.1 oif=4 weight=3 flags=4 ][ oif=3 ]
# local 10.64.0.2 dev wan0 table local proto kernel scope host src 10.64.0.2
route_local table=255 to=10.64.0.2/32 oif=4 proto=2 type=2 scope=254 source=10.64.0.2
# blackhole 10.9.0.0/16
route_blackhole table=254 to=10.9.0.0/16 proto=3 type=6
# 10.8.0.0/16 via inet6 fe80::5 dev wan0
route_via_other_family table=254 to=10.8.0.0/16 via=fe80::5 oif=4 proto=3
# 10.7.0.0/16 tos 0x10 via 192.0.2.1 dev wan0 onlink mtu lock 1300
route_metrics table=254 to=10.7.0.0/16 via=192.0.2.1 oif=4 proto=3 tos=16 flags=4 others=1400080008000100040000000800020014050000
# 10.6.0.0/16 nhid 5 via 192.0.2.1 dev wan0 onlink
route_next_hop_object table=254 to=10.6.0.0/16 via=192.0.2.1 oif=4 proto=3 flags=4 nextHopId=5
# unreachable 2001:db8:2::/48 dev lo proto 119 metric 2147483647 pref medium
route_unreachable_v6 table=254 to=2001:db8:2::/48 metric=2147483647 oif=1 proto=119 type=7
# default via fe80::1 dev wan0 table 300 proto 86 metric 1000000 pref medium
route_default_v6 table=300 to=::/0 metric=1000000 via=fe80::1 oif=4 proto=86
# 2001:db8:9::/64 dev wan0 metric 1024 expires 100sec pref high
route_expires_v6 table=254 to=2001:db8:9::/64 metric=1024 oif=4 proto=3 preference=1 lifetime=100
# 2001:db8:7::/64 metric 1024 pref medium
#     nexthop via fe80::1 dev wan0 weight 1
#     nexthop via fe80::2 dev wan0 weight 2
route_multipath_v6 table=254 to=2001:db8:7::/64 metric=1024 proto=3 hops=[ via=fe80::1 oif=4 ][ via=fe80::2 oif=4 weight=2 ]
# 900: from 192.0.2.10 lookup 300 proto 86
rule_source priority=900 from=192.0.2.10/32 table=300 proto=86
# Deleted 900: from 192.0.2.10 lookup 300 proto 86
rule_gone priority=900 from=192.0.2.10/32 table=300 proto=86 isNew=0
# 800: from all lookup main suppress_prefixlength 0
rule_suppress priority=800 from=0.0.0.0/0 table=254 suppress=0
# 700: not from all to 2001:db8::/32 fwmark 0x10/0xff iif wan0 lookup 1000
rule_mark_v6 priority=700 from=::/0 table=1000 to=2001:db8::/32 flags=2 iif=wan0 mark=16 mask=255
# 600: from all oif wan0 uidrange 100-200 ipproto udp dport 53 unreachable
rule_others priority=600 from=0.0.0.0/0 action=7 oif=wan0 others=0c00140064000000c8000000080018003500350006001d00ffff00000500160011000000
# 500: from 10.0.0.0/8 goto 900
rule_goto priority=500 from=10.0.0.0/8 action=2 target=900
# 192.0.2.7 dev wan0 lladdr 02:00:00:00:00:07 REACHABLE
neighbour index=3 ip=192.0.2.7 mac=020000000007 state=2 type=1
# Deleted 192.0.2.7 dev wan0 FAILED
neighbour_gone isNew=0 index=3 ip=192.0.2.7 state=32 type=1
# 2001:db8::7 dev wan0 lladdr 02:00:00:00:00:07 router PERMANENT
neighbour_v6 index=3 ip=2001:db8::7 mac=020000000007 state=128 flags=128 type=1
# 192.0.2.8 dev wan0 FAILED
neighbour_failed index=3 ip=192.0.2.8 state=32 type=1
)";

TEST(KernelValues, AreReadWhole) {
    std::istringstream rows(kRows);
    for (std::string row; std::getline(rows, row);) {
        if (row.empty() || row[0] == '#') {
            continue;
        }
        const std::string name = row.substr(0, row.find(' '));
        const auto read = [](const vexonetlink::Message& message) {
            return Words(ReadLink(message)) + Words(ReadAddress(message))
                   + Words(ReadRoute(message)) + Words(ReadRule(message))
                   + Words(ReadNeighbour(message));
        };
        EXPECT_EQ(name + ReadOne(name, read), row);
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

TEST(KernelBytes, AMessageThatLiesEndsItsDatagram) {
    const std::string good = Captured("rule_source");
    const auto rule = ReadOne("rule_source", ReadRule);
    for (const std::uint32_t length :
         {0U, 15U, static_cast<std::uint32_t>(2 * good.size() + 4), ~0U}) {
        std::string lying = good;
        std::memcpy(lying.data(), &length, sizeof length);
        EXPECT_THAT(ReadAll(Memory(good + lying + good), ReadRule), ElementsAre(rule));
    }
    EXPECT_THAT(ReadAll(Memory(good + good.substr(0, 15)), ReadRule), ElementsAre(rule));
}

}  // namespace
}  // namespace vexotest
