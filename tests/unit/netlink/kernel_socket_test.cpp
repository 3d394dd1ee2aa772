// Sockets against the kernel of the box, and what the kernel does only now and then put in by hand.

#include <arpa/inet.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <functional>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

#include "support/files.h"
#include "support/process.h"

namespace {

/// What is done to a datagram that was received.
std::function<void(msghdr&)> meddle;

}  // namespace

extern "C" ssize_t recvmsg(int fd, msghdr* message, int flags) {
    using RecvMsg = ssize_t (*)(int, msghdr*, int);
    static const auto next = reinterpret_cast<RecvMsg>(::dlsym(RTLD_NEXT, "recvmsg"));
    const ssize_t length = next(fd, message, flags);
    if (length >= 0 && meddle) {
        meddle(*message);
    }
    return length;
}

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetlink;
using std::chrono::milliseconds;

class KernelSocket : public Test {
  protected:
    ~KernelSocket() override { meddle = {}; }

    Socket socket = *Socket::Open();
};

IpPrefix Net(const std::string& text) {
    return {*vexobase::ParseAddress(AF_INET, text), 24};
}

Route Blackhole(int number) {
    return {.table = 77,
            .destination = Net("10." + std::to_string(number / 256) + "."
                               + std::to_string(number % 256) + ".0"),
            .protocol = 86,
            .type = RTN_BLACKHOLE};
}

nlmsghdr& FirstHeader(const msghdr& message) {
    return *static_cast<nlmsghdr*>(message.msg_iov->iov_base);
}

TEST_F(KernelSocket, TellsWhatIsThereWholeOrNothing) {
    Must("ip link add wan0 type veth peer name far");
    const auto snapshot = TakeSnapshot();
    ASSERT_TRUE(snapshot);
    EXPECT_THAT(snapshot->links,
                UnorderedElementsAre(Field(&Link::ifname, "lo"), Field(&Link::ifname, "wan0"),
                                     Field(&Link::ifname, "far")));
    Must("ip link property add dev wan0 altname internet");
    for (const char* unknown : {"internet", "wan7"}) {
        EXPECT_FALSE(FindLink(socket, unknown));
        EXPECT_EQ(errno, ENODEV) << unknown;
    }
    EXPECT_THAT(ListRoutes(socket, {.family = AF_INET, .table = 777}), Optional(IsEmpty()));
    EXPECT_THAT(ListAddresses(socket, AF_UNSPEC, 4711), Optional(IsEmpty()));
}

/// What is written is read back as the same value, whatever form it has.
TEST_F(KernelSocket, WritesWhatItReads) {
    for (const char* command :
         {"link add wan0 type veth peer name far", "link set wan0 up", "link set far up",
          "addr add 192.0.2.10/24 dev wan0", "nexthop add id 5 via 192.0.2.1 dev wan0",
          "route add default table 300 nexthop via 192.0.2.1 dev wan0 weight 3 onlink "
          "nexthop dev far",
          "route add 10.8.0.0/16 via inet6 fe80::5 dev wan0 table 300",
          "route add 10.7.0.0/16 via 192.0.2.1 table 300 mtu lock 1300 tos 0x10 metric 5",
          "route add 10.6.0.0/16 nhid 5 table 300", "route add throw 10.5.0.0/16 table 300",
          "-6 route add 2001:db8:7::/64 table 300 nexthop via fe80::1 dev wan0 "
          "nexthop via fe80::2 dev wan0 weight 2",
          "-6 route add unreachable 2001:db8:8::/64 table 300 pref high",
          "-6 rule add not to 2001:db8::/32 iif wan0 fwmark 0x10/0xff lookup 300 pref 700",
          "rule add oif gone0 uidrange 100-200 dport 53 ipproto udp unreachable pref 600",
          "rule add from 10.0.0.0/8 goto 700 pref 500"}) {
        Must(std::string("ip ") + command);
    }
    for (const int family : {AF_INET, AF_INET6}) {
        const auto routes = ListRoutes(socket, {.family = family, .table = 300});
        const auto rules = ListRules(socket, family);
        ASSERT_TRUE(routes && rules);
        Batch removal(socket);
        Batch putting(socket);
        for (const Route& route : *routes) {
            removal.Add(RouteRequest(RTM_DELROUTE, 0, route));
            putting.Add(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL, route));
        }
        for (const Rule& rule : *rules) {
            if (rule.priority >= 500 && rule.priority <= 700) {
                removal.Add(RuleRequest(RTM_DELRULE, 0, rule));
                putting.Add(RuleRequest(RTM_NEWRULE, NLM_F_CREATE, rule));
            }
        }
        EXPECT_THAT(removal.Finish(), IsEmpty());
        EXPECT_THAT(ListRoutes(socket, {.family = family, .table = 300}), Optional(IsEmpty()));
        EXPECT_THAT(putting.Finish(), IsEmpty());
        EXPECT_THAT(ListRoutes(socket, {.family = family, .table = 300}),
                    Optional(UnorderedElementsAreArray(*routes)));
        EXPECT_THAT(ListRules(socket, family), Optional(UnorderedElementsAreArray(*rules)));
    }
}

TEST_F(KernelSocket, KnowsWhoHasAnAddress) {
    Must("ip link add wan0 up type veth peer name far");
    Must("ip link set far up");
    Must("ip addr add 192.0.2.10/24 dev wan0");
    for (const char* entry : {"192.0.2.7 lladdr 02:00:00:00:00:07 nud stale dev wan0",
                              "192.0.2.7 lladdr 02:00:00:00:00:06 nud permanent dev far",
                              "192.0.2.8 nud failed dev wan0"}) {
        Must(std::string("ip neigh add ") + entry);
    }
    const unsigned index = FindLink(socket, "wan0")->index;
    const auto known = FindNeighbour(socket, index, *vexobase::ParseAddress(AF_INET, "192.0.2.7"));
    ASSERT_TRUE(known);
    EXPECT_TRUE(known->IsValid());
    EXPECT_THAT(known->hardwareAddress, ElementsAre(2, 0, 0, 0, 0, 7));
    EXPECT_FALSE(
        FindNeighbour(socket, index, *vexobase::ParseAddress(AF_INET, "192.0.2.8"))->IsValid());
    EXPECT_FALSE(FindNeighbour(socket, index, *vexobase::ParseAddress(AF_INET, "192.0.2.9")));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(KernelSocket, PutsAddressesBackAsTheyWere) {
    Must("ip link add wan0 type veth peer name far");
    Must("ip addr add 192.0.2.10/24 brd + dev wan0 label wan0:1 noprefixroute metric 7");
    Must("ip addr add 10.64.0.2 peer 10.64.0.1/32 dev wan0 scope link");
    Must("ip addr add 2001:db8:1::2 peer 2001:db8:1::1 dev wan0 nodad");
    const unsigned index = FindLink(socket, "wan0")->index;
    const auto addresses = ListAddresses(socket, AF_UNSPEC, index);
    ASSERT_THAT(addresses, Optional(SizeIs(3)));
    for (const InterfaceAddress& address : *addresses) {
        EXPECT_EQ(ChangeOnce(AddressRequest(RTM_DELADDR, 0, address)), 0);
    }
    EXPECT_THAT(ListAddresses(socket, AF_UNSPEC, index), Optional(IsEmpty()));
    for (const InterfaceAddress& address : *addresses) {
        EXPECT_EQ(ChangeOnce(AddressRequest(RTM_NEWADDR, NLM_F_CREATE | NLM_F_EXCL, address)), 0);
    }
    EXPECT_THAT(ListAddresses(socket, AF_UNSPEC, index),
                Optional(UnorderedElementsAreArray(*addresses)));
}

TEST_F(KernelSocket, OfABatchOnlyWhatIsRefusedIsMissing) {
    constexpr std::size_t kRoutes = 1000;
    Batch batch(socket);
    for (int i = 0; i < int(kRoutes); ++i) {
        batch.Add(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL, Blackhole(i)));
        if (i % 400 == 0) {
            batch.Add(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL, Blackhole(i)));
        }
    }
    Route unreachable = Blackhole(0);
    unreachable.type = RTN_UNICAST;
    unreachable.destination = Net("198.51.100.0");
    unreachable.gateway = *vexobase::ParseAddress(AF_INET, "203.0.113.1");
    batch.Add(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL, unreachable));
    EXPECT_THAT(
        batch.Finish(),
        ElementsAre(Refusal{1, {EEXIST, "File exists"}}, Refusal{402, {EEXIST, "File exists"}},
                    Refusal{803, {EEXIST, "File exists"}},
                    Refusal{1003, {ENETUNREACH, "Nexthop has invalid gateway"}}));
    EXPECT_THAT(ListRoutes(socket, {.family = AF_INET, .table = 77}), Optional(SizeIs(kRoutes)));
}

TEST_F(KernelSocket, AMarkedDumpIsMadeAnew) {
    Must("ip link add wan0 type veth peer name far");
    int dumps = 0;
    int marked = 3;
    meddle = [&](const msghdr& message) {
        nlmsghdr& first = FirstHeader(message);
        if (first.nlmsg_type == RTM_NEWLINK && dumps++ < marked) {
            first.nlmsg_flags |= NLM_F_DUMP_INTR;
        }
    };
    EXPECT_THAT(ListLinks(socket), Optional(SizeIs(3)));
    EXPECT_EQ(dumps, marked + 1);
    // What changes all the time is not told at all.
    marked = 1000;
    EXPECT_FALSE(ListLinks(socket));
    EXPECT_EQ(errno, EINTR);
    EXPECT_FALSE(TakeSnapshot());
}

TEST_F(KernelSocket, AnAnswerThatIsCutOrMissingIsAnError) {
    meddle = [](msghdr& message) { message.msg_flags |= MSG_TRUNC; };
    EXPECT_FALSE(ListLinks(socket));
    EXPECT_EQ(errno, EMSGSIZE);
    meddle = [](const msghdr& message) { FirstHeader(message).nlmsg_seq += 1000; };
    Socket impatient = *Socket::Open({.deadline = milliseconds(50)});
    Request request = FlagsRequest(1, IFF_UP, IFF_UP);
    EXPECT_EQ(Exchange(impatient, request).number, ETIMEDOUT);
}

TEST_F(KernelSocket, OnlyTheKernelIsBelieved) {
    Socket listener = *Socket::Open({.groups = RTMGRP_LINK, .deadline = milliseconds(0)});
    EXPECT_EQ(listener.Poll().arrival, Arrival::kEmpty);
    sockaddr_nl victim{};
    victim.nl_family = AF_NETLINK;
    victim.nl_pid = listener.Port();
    const std::string lie = ReadFile(CAPTURED_DIR "/link_up");
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(::sendto(socket.Descriptor(), lie.data(), lie.size(), 0,
                           reinterpret_cast<const sockaddr*>(&victim), sizeof victim),
                  ssize_t(lie.size()));
    }
    EXPECT_EQ(listener.Poll().arrival, Arrival::kEmpty);
    Must("ip link set lo up mtu 1300");
    Datagram datagram = listener.Receive();
    ASSERT_EQ(datagram.arrival, Arrival::kMessages);
    EXPECT_THAT(ReadLink(*datagram.messages.Next()),
                Optional(AllOf(Field(&Link::ifname, "lo"), Field(&Link::mtu, 1300))));
}

TEST_F(KernelSocket, LossIsToldFromTruncation) {
    Socket listener = *Socket::Open({.groups = RTMGRP_IPV4_ROUTE, .receiveBuffer = 2304});
    Batch batch(socket);
    for (int i = 0; i < 200; ++i) {
        batch.Add(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE, Blackhole(i)));
    }
    ASSERT_THAT(batch.Finish(), IsEmpty());
    std::vector<Arrival> arrivals;
    do {
        arrivals.push_back(listener.Poll().arrival);
    } while (arrivals.back() != Arrival::kEmpty);
    EXPECT_THAT(arrivals, Contains(Arrival::kOverrun));

    meddle = [](msghdr& message) { message.msg_flags |= MSG_TRUNC; };
    Must("ip route add blackhole 10.99.0.0/16");
    Datagram cut = listener.Receive();
    EXPECT_EQ(cut.arrival, Arrival::kTruncated);
    EXPECT_TRUE(cut.messages.Next());
}

TEST_F(KernelSocket, AFilterKeepsWhatNobodyWants) {
    // Messages about routes alone, by their type.
    const sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, offsetof(nlmsghdr, nlmsg_type)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_NEWROUTE), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xffffffff),
        BPF_STMT(BPF_RET | BPF_K, 0),
    };
    Socket listener = *Socket::Open({.groups = RTMGRP_LINK | RTMGRP_IPV4_ROUTE, .filter = filter});
    Must("ip link set lo mtu 1300");
    Must("ip route add blackhole 10.99.0.0/16");
    Datagram datagram = listener.Receive();
    ASSERT_EQ(datagram.arrival, Arrival::kMessages);
    EXPECT_THAT(ReadRoute(*datagram.messages.Next()),
                Optional(Field(&Route::destination, IpPrefix{Net("10.99.0.0").Network(), 16})));
}

}  // namespace
}  // namespace vexotest
