#include <gmock/gmock.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>

#include <cstring>
#include <memory>
#include <string_view>

#include <vexonetwork/emitter/kernel_message.h>
#include <vexonetwork/emitter/network_event_emitter.h>
#include <vexonetwork/emitter/parse_rtattr.h>

#include "support/syslog_spy.h"

// Bytes as no kernel sends them. Each datagram stands at the very end of its memory, so that the
// address sanitizer sees a step beyond.

namespace vexotest {
namespace {

using namespace testing;

/// One attribute; `claimed` is the length it gives, its true one when 0.
std::string Attribute(unsigned short type, std::string_view payload, unsigned short claimed = 0) {
    const rtattr header{
        static_cast<unsigned short>(claimed != 0 ? claimed : sizeof(rtattr) + payload.size()),
        type};
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    bytes += payload;
    bytes.resize(RTA_ALIGN(bytes.size()));
    return bytes;
}

template <typename Header>
std::string Message(unsigned short type, const Header& fixed, const std::string& attributes) {
    nlmsghdr header{};
    header.nlmsg_type = type;
    header.nlmsg_len = static_cast<unsigned>(NLMSG_SPACE(sizeof fixed) + attributes.size());
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    bytes.append(reinterpret_cast<const char*>(&fixed), sizeof fixed);
    bytes.resize(NLMSG_SPACE(sizeof fixed));
    return bytes + attributes;
}

/// A copy of the bytes that ends where its memory ends.
class Datagram {
  public:
    explicit Datagram(const std::string& text)
        : size(text.size()), bytes(std::make_unique<std::byte[]>(size)) {
        std::memcpy(bytes.get(), text.data(), size);
    }
    std::span<std::byte> Bytes() const { return {bytes.get(), size}; }
    nlmsghdr* First() const { return reinterpret_cast<nlmsghdr*>(bytes.get()); }

  private:
    std::size_t size;
    std::unique_ptr<std::byte[]> bytes;
};

constexpr unsigned kUp = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;
constexpr ifinfomsg kUpLink{AF_UNSPEC, 0, ARPHRD_ETHER, 4711, kUp, 0};
constexpr ifaddrmsg kAddress{AF_INET, 24, 0, RT_SCOPE_UNIVERSE, 4711};

std::string Link(const ifinfomsg& link, std::string_view name) {
    return Message(RTM_NEWLINK, link, Attribute(IFLA_IFNAME, name));
}

std::string NewAddress(const std::string& attributes) {
    return Message(RTM_NEWADDR, kAddress, attributes);
}

TEST(ParseRtattr, IndexesWhatIsWholeAndSaysWhatIsNot) {
    struct Case {
        std::string bytes;
        std::vector<std::string> found;  ///< payload of each type from 0 to 3, "-" for none
        std::vector<std::string> messages;
    };
    const std::string one = Attribute(1, "one.");
    for (const Case& each : {
             Case{"", {"-", "-", "-", "-"}, {}},
             Case{one + Attribute(3, "three...") + Attribute(1, "again"),
                  {"-", "one.", "-", "three..."},
                  {}},
             Case{one + Attribute(9, "far"), {"-", "one.", "-", "-"}, {}},
             Case{
                 one + Attribute(2, "", 3), {"-", "one.", "-", "-"}, {"!!!Deficit 4, rta_len=3\n"}},
             Case{one + Attribute(2, "two!", 9),
                  {"-", "one.", "-", "-"},
                  {"!!!Deficit 8, rta_len=9\n"}},
             Case{one + "xyz", {"-", "one.", "-", "-"}, {"!!!Deficit 3, rta_len=0\n"}},
             // The last one without its padding.
             Case{(one + Attribute(2, "two..")).substr(0, one.size() + 9),
                  {"-", "one.", "two..", "-"},
                  {}},
         }) {
        const SyslogSpy spy;
        const Datagram memory(each.bytes);
        rtattr* table[4];
        auto* first = reinterpret_cast<rtattr*>(memory.First());
        EXPECT_EQ(
            vexonetwork::utils::parse_rtattr(table, 3, first, static_cast<int>(each.bytes.size())),
            0);
        std::vector<std::string> found;
        for (const rtattr* entry : table) {
            found.emplace_back(
                entry == nullptr
                    ? "-"
                    : std::string(static_cast<const char*>(RTA_DATA(entry)), RTA_PAYLOAD(entry)));
        }
        EXPECT_EQ(found, each.found);
        EXPECT_EQ(spy.Messages(), each.messages);
    }
}

TEST(KernelBytes, LinksNeedANameAndADecision) {
    SyslogSpy spy;
    vexonetwork::NetworkEventEmitter emitter;
    const std::string name("p4711\0beyond", 12);
    ifinfomsg undecided = kUpLink;
    undecided.ifi_flags = IFF_UP | IFF_RUNNING;
    for (const std::string& bytes :
         {Link(undecided, name), Message(RTM_NEWLINK, kUpLink, ""), Link(kUpLink, ""),
          Link(kUpLink, name).substr(0, NLMSG_LENGTH(sizeof kUpLink) - 1)}) {
        const Datagram datagram(bytes);
        datagram.First()->nlmsg_len = static_cast<unsigned>(bytes.size());
        EXPECT_EQ(emitter.CheckNewLinkEvent(datagram.First()), -1);
    }
    EXPECT_EQ(emitter.CheckNewLinkEvent(nullptr), -1);
    EXPECT_EQ(emitter.CheckNewLinkEvent(Datagram(NewAddress("")).First()), -1);
    EXPECT_THAT(spy.Messages(), ElementsAre("Null pointer", "Not RTM_NEWLINK event"));
    EXPECT_THAT(emitter.Links(), IsEmpty());

    EXPECT_EQ(emitter.CheckNewLinkEvent(Datagram(Link(kUpLink, name)).First()), 0);
    EXPECT_TRUE(emitter.Links().at("p4711"));
}

TEST(KernelBytes, AddressesMustBeOfTheirFamily) {
    SyslogSpy spy;
    vexonetwork::NetworkEventEmitter emitter;
    const std::string whole("\300\0\2\12", 4);
    const std::string label = Attribute(IFA_LABEL, "lo:without-zero");
    EXPECT_EQ(emitter.CheckIPChangeEvent(nullptr), -1);
    EXPECT_EQ(emitter.CheckIPChangeEvent(Datagram(NewAddress(label)).First()), -1);
    EXPECT_EQ(
        emitter.CheckIPChangeEvent(Datagram(NewAddress(Attribute(IFA_LOCAL, "\1\2"))).First()), -1);
    EXPECT_THAT(spy.Messages(),
                ElementsAre("Null pointer", "Failed to inet_ntop() for IP change event."));
    EXPECT_THAT(emitter.IPv4Addresses(), IsEmpty());

    const std::string both = Attribute(IFA_ADDRESS, "\1\2\3\4") + Attribute(IFA_LOCAL, whole);
    EXPECT_EQ(emitter.CheckIPChangeEvent(Datagram(NewAddress(both + label)).First()), 0);
    EXPECT_EQ(emitter.IPv4Addresses().at("lo:without-zero"), "192.0.2.10");
    // An interface that went before its name was ever seen, and one whose name was.
    EXPECT_EQ(emitter.CheckIPChangeEvent(Datagram(NewAddress(both)).First()), 0);
    EXPECT_EQ(emitter.IPv4Addresses().count("if4711"), 1U);
    EXPECT_EQ(emitter.IndexToName(4711, "other"), "if4711");
    EXPECT_EQ(emitter.IndexToName(4712, "seen"), "seen");
    EXPECT_EQ(emitter.IndexToName(4712, "other"), "seen");
    for (const char* guest : {"tap3", "mydocker1"}) {
        EXPECT_EQ(emitter.CheckIPChangeEvent(
                      Datagram(NewAddress(both + Attribute(IFA_LABEL, guest))).First()),
                  0);
        EXPECT_EQ(emitter.IPv4Addresses().count(guest), 0U);
    }
}

TEST(KernelBytes, RoutesAreReadAsFarAsTheyAreWhole) {
    SyslogSpy spy;
    vexonetwork::NetworkEventEmitter emitter;
    rtmsg header{};
    header.rtm_family = AF_INET;
    header.rtm_table = RT_TABLE_MAIN;
    const std::string attributes =
        Attribute(RTA_OIF, "\1") + Attribute(RTA_GATEWAY, "\1\2") + Attribute(RTA_DST, "\12\0\0");
    const Datagram odd(Message(RTM_NEWROUTE, header, attributes));
    const auto route = vexonetwork::ReadRouteMessage(odd.First());
    ASSERT_TRUE(route);
    EXPECT_EQ(route->oif, 0U);
    EXPECT_EQ(route->gateway + route->destination, "");
    EXPECT_EQ(emitter.CheckRouteChangeEvent(odd.First()), 0);

    EXPECT_EQ(emitter.CheckRouteChangeEvent(nullptr), -1);
    header.rtm_table = RT_TABLE_LOCAL;
    EXPECT_EQ(emitter.CheckRouteChangeEvent(Datagram(Message(RTM_DELROUTE, header, "")).First()),
              -1);
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_family = AF_INET6;
    EXPECT_EQ(emitter.CheckRouteChangeEvent(Datagram(Message(RTM_NEWROUTE, header, "")).First()),
              -1);
}

TEST(KernelBytes, AMessageThatLiesEndsItsDatagram) {
    const SyslogSpy spy;
    vexonetwork::NetworkEventEmitter emitter;
    const std::string good = Link(kUpLink, "p1");
    std::string lying = Link(kUpLink, "p2");
    for (const unsigned length :
         {0U, 15U, static_cast<unsigned>(lying.size() + good.size()) + 4, ~0U}) {
        std::memcpy(lying.data(), &length, sizeof length);
        emitter.HandleDatagram(Datagram(lying + good).Bytes());
        emitter.HandleDatagram(Datagram(lying.substr(0, 15)).Bytes());
        EXPECT_THAT(emitter.Links(), IsEmpty()) << length;
    }
    emitter.HandleDatagram(Datagram(good + Link(kUpLink, "p3") + lying).Bytes());
    EXPECT_EQ(emitter.Links().size(), 2U);
}

}  // namespace
}  // namespace vexotest
