#include <gmock/gmock.h>
#include <linux/if.h>

#include <map>

#include <vexonetwork/network/keloscanner.h>

#include "network/devices/bridges.h"
#include "network/devices/host_finder/host_finder_message.h"
#include "support/files.h"
#include "support/process.h"

namespace vexotest {
namespace {

using namespace vexonetwork::network;

/// An answer with this member in place of its own.
std::string With(const std::string& member) {
    return R"({"version":1,"type":"answer","token":"0123456789abcdef","ipAddr":"192.0.2.7",)"
           R"("macAddr":"02:00:00:00:00:07",)"
           + member + "}";
}

TEST(HostFinderMessageTest, WhatIsWrittenIsReadAgain) {
    HostFinderMessage question;
    question.token = "00112233445566ff";
    EXPECT_EQ(ParseHostFinder(ToDatagram(question)), question);

    HostFinderMessage answer = question;
    answer.type = HostFinderMessage::Type::kAnswer;
    answer.ipAddr = "192.0.2.7";
    answer.macAddr = "02:00:00:00:00:07";
    // What takes most room as JSON.
    for (const auto& [key, member] : kHostFinderTexts) {
        for (int i = 0; i < 32; ++i) {
            answer.*member += "\xc3\xa4";
        }
    }
    const std::string datagram = ToDatagram(answer);
    EXPECT_LE(datagram.size(), kLongestHostFinderMessage);
    EXPECT_EQ(ParseHostFinder(datagram), answer);
}

TEST(HostFinderMessageTest, ForeignAndMalformedDatagramsAreRefused) {
    const std::string good = With(R"("later":[{"more":1}])");
    EXPECT_TRUE(ParseHostFinder(good));
    for (const std::string& datagram :
         {std::string(), std::string("\0", 1), std::string("M-SEARCH * HTTP/1.1\r\n"),
          std::string("[]"), std::string("null"), good.substr(0, 90), std::string(1000, '['),
          good + std::string(kLongestHostFinderMessage, ' '), std::string(R"({"version":1})")}) {
        EXPECT_FALSE(ParseHostFinder(datagram)) << datagram;
    }
    const std::map<std::string, std::vector<const char*>> wrong = {
        {"version", {"2", "1.5", R"("1")"}},
        {"type", {R"(["answer"])", R"("farewell")"}},
        {"token",
         {"1234567890123456", R"("0123456789ABCDEF")", R"("0123456789abcde")",
          R"("0123456789abcdef0")"}},
        {"ipAddr", {R"("192.0.2.256")", R"("192.0.2.07")", R"("192.0.2.7\u0000")", "[]", "null"}},
        {"macAddr",
         {R"("00:00:00:00:00:00")", R"("01:00:5e:00:00:01")", R"("02:00:00:00:00:0A")",
          R"("02-00-00-00-00-07")", R"("02:00:00:00:00:07:08")", "{}"}}};
    for (const auto& [key, values] : wrong) {
        for (const char* value : values) {
            EXPECT_FALSE(ParseHostFinder(With('"' + key + "\":" + value))) << key << value;
        }
    }
}

TEST(HostFinderMessageTest, TextsThatAreNoneAreLeftOut) {
    EXPECT_EQ(ParseHostFinder(With(R"("serial":"\u0416\ud83d\ude00")"))->serial,
              "\u0416\U0001f600");
    // Other types, control characters, half a character, no UTF-8, one too long, one cut.
    const std::string tooLong = '"' + std::string(65, 'x') + '"';
    for (const char* json :
         {tooLong.c_str(), R"("")", "5", "true", "null", R"(["nas"])", R"({"nas":1})",
          R"("a\u0000b")", R"("\u001b[31m")", R"("a\nb")", R"("\u007f")", R"("\u0085")",
          R"("\udc00")", "\"\xff\"", "\"\xc0\xaf\"", "\"\xe0\x80\xaf\"", "\"\xf0\x80\x80\xaf\"",
          "\"\xf4\x90\x80\x80\"", "\"nas\xe2\x82\""}) {
        const auto answer =
            ParseHostFinder(With(R"("serial":"7","friendlyName":)" + std::string(json)));
        ASSERT_TRUE(answer) << json;
        EXPECT_EQ(answer->friendlyName, "") << json;
        EXPECT_EQ(answer->serial, "7") << json;
    }
}

/// What is written of a bridge "NAME" with an address and a port of this kind.
std::string Told(const std::string& ifname, const std::string& portKind, std::uint8_t length,
                 unsigned flags = IFF_UP | IFF_RUNNING) {
    vexonetlink::Snapshot kernel;
    kernel.links = {
        {.index = 7, .flags = flags, .ifname = ifname, .hardwareAddress = {2, 0, 0, 0, 0, 7}},
        {.index = 8, .ifname = "port", .master = 7, .kind = portKind},
        {.index = 9, .ifname = "other", .master = 0, .kind = ""}};
    vexonetlink::InterfaceAddress address{.family = AF_INET, .index = 7, .prefixLength = length};
    address.local = vexobase::FromInet(in_addr{htonl(0xC0000207)});
    kernel.addresses = {address};
    std::string text;
    for (const Bridge& bridge : BridgesIn(kernel)) {
        text += bridge.mac + (bridge.isLan ? " LAN" : "");
        for (const BridgeNetwork& network : bridge.networks) {
            text += " " + vexobase::ToText(vexobase::FromInet(in_addr{network.Broadcast()}));
        }
    }
    return text;
}

TEST(BridgesTest, WhatIsConfiguredOrLeadsOutIsALan) {
    WriteFile("/etc/sysconfig/network-scripts/ifcfg-lbr0", "");
    for (const char* portKind : {"", "vlan", "bond", "team"}) {
        EXPECT_EQ(Told("br-1", portKind, 24), "02:00:00:00:00:07 LAN 192.0.2.255") << portKind;
    }
    for (const char* portKind : {"veth", "tun", "dummy"}) {
        EXPECT_EQ(Told("br-1", portKind, 24), "02:00:00:00:00:07 192.0.2.255") << portKind;
        EXPECT_EQ(Told("lbr0", portKind, 30), "02:00:00:00:00:07 LAN 192.0.2.7") << portKind;
    }
    EXPECT_EQ(Told("lbr0", "", 32), "02:00:00:00:00:07 LAN");
    EXPECT_EQ(Told("lbr0", "", 0), "02:00:00:00:00:07 LAN 255.255.255.255");
    EXPECT_EQ(Told("eth0", "", 24), "");
    EXPECT_EQ(Told("lbr0", "", 24, IFF_UP), "");
    EXPECT_EQ(Told("lbr0", "", 24, IFF_RUNNING), "");
}

/// Waiting for the end of each round would take minutes.
TEST(KeloScannerTest, StopsAtOnceAndStartsAgain) {
    Must("ip link add lbr0 up type bridge");
    Must("ip address add 192.0.2.1/24 dev lbr0");
    WriteFile("/etc/sysconfig/network-scripts/ifcfg-lbr0", "");
    KeloScanner* const scanner = KeloScanner::Inst();
    const int before = OpenDescriptors();
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(scanner->Start(), 0);
        EXPECT_EQ(scanner->Start(), 0);
        EXPECT_TRUE(scanner->GetData()["ClientList"].empty());
        scanner->Stop();
    }
    EXPECT_LE(OpenDescriptors(), before + 1);
}

}  // namespace
}  // namespace vexotest
