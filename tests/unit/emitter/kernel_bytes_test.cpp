#include <gmock/gmock.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>
#include <syslog.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include <vexonetwork/emitter/network_event_emitter.h>
#include <vexonetwork/emitter/parse_rtattr.h>

#include "support/files.h"
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
struct Datagram : std::vector<std::byte> {
    explicit Datagram(const std::string& text) : vector(text.size()) {
        std::memcpy(data(), text.data(), size());
    }
    std::span<std::byte> All() { return *this; }
    nlmsghdr* First() { return reinterpret_cast<nlmsghdr*>(data()); }
};

std::string entries;  ///< of the event log

constexpr unsigned kUp = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;
constexpr ifinfomsg kUpLink{AF_UNSPEC, 0, ARPHRD_ETHER, 4711, kUp, 0};
constexpr ifaddrmsg kAddress{AF_INET, 24, 0, RT_SCOPE_UNIVERSE, 4711};

std::string Link(std::string_view name) {
    return Message(RTM_NEWLINK, kUpLink, Attribute(IFLA_IFNAME, name));
}

std::string NewAddress(const std::string& attributes) {
    return Message(RTM_NEWADDR, kAddress, attributes);
}

TEST(ParseRtattr, IndexesWhatIsWholeAndSaysWhatIsNot) {
    const std::string one = Attribute(1, "one.");
    const std::tuple<std::string, std::string, bool> cases[] = {
        {one + Attribute(3, "three...") + Attribute(1, "again"), "- one. - three... ", true},
        {one + Attribute(9, "far"), "- one. - - ", true},
        {one + Attribute(2, "", 3), "- one. - - ", false},
        {one + Attribute(2, "two!", 9), "- one. - - ", false},
        // The last one without its padding.
        {(one + Attribute(2, "two..")).substr(0, one.size() + 9), "- one. two.. - ", true},
    };
    for (const auto& [bytes, expected, isWhole] : cases) {
        const SyslogSpy spy;
        Datagram memory(bytes);
        rtattr* table[4];
        vexonetwork::utils::parse_rtattr(table, 3, reinterpret_cast<rtattr*>(memory.First()),
                                         static_cast<int>(bytes.size()));
        std::string found;
        for (const rtattr* entry : table) {
            found += entry == nullptr ? "-"
                                      : std::string(static_cast<const char*>(RTA_DATA(entry)),
                                                    RTA_PAYLOAD(entry));
            found += " ";
        }
        EXPECT_EQ(found, expected);
        EXPECT_EQ(spy.Messages().empty(), isWhole) << expected;
    }
}

TEST(KernelBytes, AddressesMustBeOfTheirFamily) {
    vexonetwork::NetworkEventEmitter emitter;
    const std::string whole("\300\0\2\12", 4);
    const std::string label = Attribute(IFA_LABEL, "lo:without-zero");
    const auto check = [&](const std::string& attributes) {
        return emitter.CheckIPChangeEvent(Datagram(NewAddress(attributes)).First());
    };
    EXPECT_EQ(check(label), -1);
    EXPECT_EQ(check(Attribute(IFA_LOCAL, "\1\2")), -1);
    EXPECT_THAT(emitter.IPv4Addresses(), IsEmpty());

    const std::string both = Attribute(IFA_ADDRESS, "\1\2\3\4") + Attribute(IFA_LOCAL, whole);
    EXPECT_EQ(check(both + label), 0);
    EXPECT_EQ(emitter.IPv4Addresses().at("lo:without-zero"), "192.0.2.10");
    // An interface that went before its name was ever seen.
    EXPECT_EQ(check(both), 0);
    EXPECT_EQ(emitter.IPv4Addresses().count("if4711"), 1U);
    for (const auto& [name, count] : {std::pair{"tap3", 0U}, {"mydocker1", 0U}, {"mytap", 1U}}) {
        EXPECT_EQ(check(both + Attribute(IFA_LABEL, name)), 0);
        EXPECT_EQ(emitter.IPv4Addresses().count(name), count) << name;
    }
}

TEST(KernelBytes, AMessageThatLiesEndsItsDatagram) {
    vexonetwork::NetworkEventEmitter emitter;
    const std::string good = Link("p1");
    std::string lying = Link("p2");
    lying[0] = 15;
    emitter.HandleDatagram(Datagram(lying + good).All());
    EXPECT_THAT(emitter.Links(), IsEmpty());
    emitter.HandleDatagram(
        Datagram(good + Link("") + Link(std::string("p3\0beyond", 9)) + lying).All());
    EXPECT_THAT(emitter.Links(), ElementsAre(Pair("p1", true), Pair("p3", true)));
}

/// What a step says, and returns.
struct Saying {
    std::function<int(vexonetwork::NetworkEventEmitter&)> step;
    std::string message;
    int result = -1;
    int level = LOG_ERR;
    std::string source = "network_event_emitter";
};

TEST(KernelBytes, EachFailureIsSaid) {
    using Emitter = vexonetwork::NetworkEventEmitter;
    const std::string nameless = Message(RTM_NEWLINK, kUpLink, Attribute(IFLA_MTU, "1500", 3));
    const std::string cut = Message(RTM_NEWLINK, kUpLink, std::string("\11\0\1", 3));
    const std::string address = NewAddress(Attribute(IFA_LOCAL, "\1\2"));
    const auto link = [](const std::string& bytes) {
        return [bytes](Emitter& e) { return e.CheckNewLinkEvent(Datagram(bytes).First()); };
    };
    WriteFile("/etc/sysconfig/network-scripts/ifcfg-p3", "SLAVE=yes, of bond0\n");
    const Saying sayings[] = {
        {[](Emitter& e) {
             const int result = e.InitInterface();
             while (e.PollOnce(std::chrono::milliseconds(0))) {
             }
             return e.Links().contains("lo") ? result : 0;  // by the resync
         },
         "Failed to get net interface, errno=0x0"},
        {[](Emitter& e) { return e.CheckNewLinkEvent(nullptr); }, "Null pointer"},
        {[](Emitter& e) { return e.CheckIPChangeEvent(nullptr); }, "Null pointer"},
        {[](Emitter& e) { return e.CheckRouteChangeEvent(nullptr); }, "Null pointer"},
        {link(address), "Not RTM_NEWLINK event"},
        {link(nameless), "!!!Deficit 8, rta_len=3\n", -1, LOG_ERR, "parse_rtattr"},
        {link(cut), "!!!Deficit 3, rta_len=9\n", -1, LOG_ERR, "parse_rtattr"},
        {[&](Emitter& e) { return e.CheckIPChangeEvent(Datagram(address).First()); },
         "Failed to inet_ntop() for IP change event."},
        {[](Emitter& e) { return e.HandleIpEvent("gone0"); }, "Get gone0 net info failed"},
        {[](Emitter& e) { return e.OnInterfaceStatusChange("p1", true, true); },
         "Drop event by slave=[1], linkStatus=[0]", 0, LOG_DEBUG},
        {[](Emitter& e) { return e.HandleLinkEvent("p3", IFF_RUNNING); },
         "Drop event by slave=[1], linkStatus=[0]", 0, LOG_DEBUG},
        {[](Emitter& e) { return e.HandleLinkEvent("p2", 0) - e.HandleLinkEvent("p2", 0); },
         "Drop event by slave=[0], linkStatus=[1]", 0, LOG_DEBUG},
        {[](Emitter& e) { return e.StartPolling(); }, "Bad RTNETLINK fd [-1]", 0},
    };
    for (const Saying& saying : sayings) {
        const SyslogSpy spy;
        Emitter emitter;
        EXPECT_EQ(saying.step(emitter), saying.result) << saying.message;
        EXPECT_TRUE(spy.Has(saying.level, saying.source, saying.message))
            << saying.message << PrintToString(spy.Messages());
    }
    // One that lasts is said once.
    const SyslogSpy spy;
    Emitter emitter;
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(emitter.AnalysisNetlinkMessage(), -1);
    }
    EXPECT_THAT(spy.Messages(), ElementsAre("recvmsg ret: [-1] from fd [-1]."));
}

TEST(KernelBytes, TheEventLogNamesPortsAsTheirCaseDoes) {
    vexonetwork::NetworkEventEmitter emitter;
    for (const std::string ifname : {"eth0", "eth12", "ethx", "eth123", "wan0", "tap0"}) {
        for (const bool isLink : {true, true, false}) {
            emitter.OnInterfaceStatusChange(ifname, isLink, ifname != "eth12");
        }
    }
    EXPECT_EQ(entries,
              "1 1 0x11801322 LAN 1 (slave)|||\n1 1 0x11801323 LAN 1 (slave)|||\n"
              "1 1 0x11801322 LAN 13|||\n1 1 0x11801323 LAN 13|||\n"
              "1 1 0x11801322 ethx (slave)|||\n1 1 0x11801323 ethx (slave)|||\n");
}

}  // namespace
}  // namespace vexotest

extern "C" int VLIBNetGetInterfaceInfo(void*, int) {
    return -1;
}

/// In place of the platform's: the level, kind, event and the four texts.
extern "C" int VEXOLogSet1(int level, int kind, int event, const char* a1, const char* a2,
                           const char* a3, const char* a4, const char*, const char*, const char*) {
    char text[128];
    std::snprintf(text, sizeof text, "%d %d 0x%x %s|%s|%s|%s\n", level, kind,
                  static_cast<unsigned>(event), a1, a2, a3, a4);
    vexotest::entries += text;
    return 0;
}
