#include <arpa/inet.h>
#include <gmock/gmock.h>

#include <map>

#include "network/devices/upnp/device_description.h"
#include "network/devices/upnp/ssdp_message.h"

namespace vexotest {
namespace {

using namespace vexonetwork::network;
using Kind = SsdpMessage::Kind;
using std::chrono::seconds;

constexpr char kAlive[] =
    "NOTIFY * HTTP/1.1\r\nNT: upnp:rootdevice\r\nNTS: ssdp:alive\r\n"
    "USN: uuid:1::upnp:rootdevice\r\nLOCATION: http://192.0.2.2/d.xml\r\n";

/// The alive message with these lines added.
std::optional<SsdpMessage> Alive(const std::string& lines) {
    return ParseSsdp(kAlive + lines + "\r\n");
}

/// The alive message with one text in the place of another.
std::optional<SsdpMessage> Altered(const std::string& text, const std::string& other) {
    std::string datagram = std::string(kAlive) + "\r\n";
    const auto place = datagram.find(text);
    EXPECT_NE(place, datagram.npos) << text;
    return ParseSsdp(datagram.replace(place, text.size(), other));
}

TEST(SsdpTest, WhatARootDeviceSaysOfItselfIsUnderstood) {
    SsdpMessage expected;
    expected.usn = "uuid:1::upnp:rootdevice";
    expected.location = "http://192.0.2.2/d.xml";
    // The answer of a device to a search.
    EXPECT_EQ(ParseSsdp("HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nEXT:\r\n"
                        "LOCATION: http://192.0.2.2/d.xml\r\nOPT: \"http://x/\"; ns=01\r\n"
                        "ST: upnp:rootdevice\r\nUSN: uuid:1::upnp:rootdevice\r\n\r\n"),
              expected);
    expected.kind = Kind::kHere;
    EXPECT_EQ(Alive(""), expected);
    EXPECT_EQ(ParseSsdp("notify * http/1.0\nnt:upnp:rootdevice\nnts:\t ssdp:alive \n"
                        "usn:uuid:1::upnp:rootdevice\nlocation:http://192.0.2.2/d.xml"),
              expected);
    expected.bootId = 7;
    expected.configId = 4'000'000'000;
    EXPECT_EQ(Alive("BootId.Upnp.Org: 7\r\nCONFIGID.UPNP.ORG: 4000000000\r\n"), expected);
    EXPECT_EQ(Alive("BOOTID.UPNP.ORG: -7\r\nCONFIGID.UPNP.ORG: 5000000000\r\n")->bootId,
              std::nullopt);

    const auto update =
        Altered("alive\r\n", "update\r\nBOOTID.UPNP.ORG: 7\r\nNEXTBOOTID.UPNP.ORG: 8\r\n");
    EXPECT_EQ(update->kind, Kind::kUpdate);
    EXPECT_EQ(update->bootId, 8U);
    const auto farewell = Altered("alive", "byebye");
    EXPECT_EQ(farewell->kind, Kind::kFarewell);
    EXPECT_EQ(farewell->location, "");
}

TEST(SsdpTest, TheTimeToLiveStaysWithinBounds) {
    const std::map<int, std::vector<std::string>> lifetimes = {
        {99, {"max-age=99", "no-cache=\"Ext\" , MAX-AGE = 99"}},
        {60, {"max-age=0"}},
        {86400, {"max-age=86401", "max-age=99999999999999999999"}},
        {1800, {"max-age=-5", "max-age", ",,,=,"}}};
    for (const auto& [lifetime, lines] : lifetimes) {
        for (const std::string& line : lines) {
            EXPECT_EQ(Alive("CACHE-CONTROL: " + line + "\r\n")->lifetime, seconds(lifetime))
                << line;
        }
    }
}

TEST(SsdpTest, WhatIsNotOfARootDeviceOrMalformedIsLeftOut) {
    // An answer has no NT.
    const std::map<std::string, std::vector<std::string>> alterations = {
        {"NOTIFY * HTTP/1.1", {"NOTIFY / HTTP/1.1", "HTTP/1.1 200 OK", "M-SEARCH * HTTP/1.1"}},
        {"NT: upnp:rootdevice\r\n", {"NT: uuid:1\r\n", ""}},
        {"ssdp:alive", {"ssdp:all"}},
        {"USN: uuid:1::upnp:rootdevice\r\n", {"USN: uuid:1\r\n", ""}},
        {"uuid:1::", {"uuid:\x1b[31m::", "uuid:" + std::string(256, '1') + "::"}},
        {"LOCATION: http://192.0.2.2/d.xml\r\n", {""}},
        {"/d.xml", {"/" + std::string(1024, 'd'), "/d .xml", "/\xff", std::string("/d\0", 3)}},
        {"NTS:",
         {"LOCATION: http://192.0.2.3/d.xml\r\nNTS:", "nt: upnp:rootdevice\r\nNTS:", "\r\nNTS:",
          "X: " + std::string(2048, 'x') + "\r\nNTS:"}}};
    for (const auto& [text, others] : alterations) {
        for (const std::string& other : others) {
            EXPECT_FALSE(Altered(text, other)) << text << " -> " << other;
        }
    }
    EXPECT_FALSE(ParseSsdp(""));
    EXPECT_FALSE(ParseSsdp("HTTP/1.1"));
}

TEST(SsdpTest, NothingIsFetchedFromAnotherHostThanTheSender) {
    in_addr host{};
    ::inet_pton(AF_INET, "192.0.2.2", &host);
    for (const char* location :
         {"http://192.0.2.2/", "HTTP://192.0.2.2:1/@x", "http://192.0.2.2:65535/a?b"}) {
        EXPECT_TRUE(IsServedBy(location, host)) << location;
    }
    for (const char* location :
         {"", "http://192.0.2.2", "http://192.0.2.20/", "http://192.0.2.3/", "https://192.0.2.2/",
          "file://192.0.2.2/", "http://192.0.2.2:80@192.0.2.3/", "http://192.0.2.2\\@192.0.2.3/",
          "http://a@192.0.2.2/", "http://192.0.2.02/", "http://192.0.2.2:0/", "http://192.0.2.2:/",
          "http://192.0.2.2:65536/", "http://192.0.2.2.example/", "http://[192.0.2.2]/"}) {
        EXPECT_FALSE(IsServedBy(location, host)) << location;
    }
}

std::string Described(const std::string& members) {
    return "<?xml version=\"1.0\"?>\n<root xmlns=\"urn:schemas-upnp-org:device-1-0\"><device>"
           + members + "</device></root>";
}

std::string Named(const std::string& name) {
    return Described("<friendlyName>" + name + "</friendlyName>");
}

TEST(DeviceDescriptionTest, OnlyTheRootDeviceIsDescribed) {
    const std::string inner =
        "<deviceList><device><friendlyName>in</friendlyName><modelName>in</modelName></device>"
        "</deviceList>";
    EXPECT_EQ(ParseDescription(
                  Described(inner
                            + "<friendlyName> Living &amp; <![CDATA[<dining>]]><!-- x --> room\n"
                              "</friendlyName><manufacturer>Maker</manufacturer>"
                              "<modelDescription>A<b>c</b>d</modelDescription>")),
              (DeviceDescription{"Living & <dining> room", "", "Ad", "Maker"}));
    EXPECT_EQ(
        ParseDescription("\xEF\xBB\xBF<root><device><modelName>M</modelName></device></root>"),
        (DeviceDescription{"", "M", "", ""}));
    EXPECT_FALSE(ParseDescription(Described(inner)));
    EXPECT_FALSE(ParseDescription(Described("<manufacturer>Maker</manufacturer>")));
}

TEST(DeviceDescriptionTest, NamesAreShortTextWithoutControls) {
    const std::pair<std::string, std::string> names[] = {
        {"K\xfc-che", "K-che"},
        {"\xc0\xaf\xed\xa0\x80\xf5\xe2\x82", ""},
        {"&#xE9;\xe2\x82\xac&#x1F600;", "\u00e9\u20ac\U0001F600"},
        {std::string("a\0\x01\x1b[31m\x7f&#133;b", 16), "a[31mb"},
        {"&#10;\t x&#9;", "x"},
        {std::string(300, 'x'), std::string(256, 'x')},
        {std::string(255, 'x') + "\u00e9y", std::string(255, 'x')}};
    for (const auto& [written, read] : names) {
        const auto description = ParseDescription(Named(written));
        EXPECT_EQ(description ? description->friendlyName : "", read) << written;
    }
}

TEST(DeviceDescriptionTest, WhatIsNoDescriptionIsRefusedAtOnce) {
    std::string nested;
    std::string attributes;
    for (int i = 0; i < 6000; ++i) {
        nested += "<a>";
        attributes += " a" + std::to_string(i) + "=''";
    }
    for (const std::string& xml :
         {std::string(), std::string("<"), std::string("<root/>"), std::string("<html>x</html>"),
          Named("x").substr(0, 120), Named("x</friendlyName>"), Named("&x;"), nested, Named(nested),
          Described("<a" + attributes + "/>"), "<!DOCTYPE r [<!ENTITY x \"y\">]>" + Named("x"),
          Named("x") + std::string(65536, ' ')}) {
        EXPECT_FALSE(ParseDescription(xml)) << xml.substr(0, 200);
    }
}

}  // namespace
}  // namespace vexotest
