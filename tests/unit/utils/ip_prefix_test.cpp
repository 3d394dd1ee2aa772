// The one value for networks of both families, and the texts that it is read from.

#include <gtest/gtest.h>

#include <vexobase/ip_prefix.h>

namespace vexotest {
namespace {

using vexobase::HostBits;
using vexobase::IpAddress;
using vexobase::IpPrefix;

IpPrefix Net(const std::string& text) {
    const int family = text.find(':') == text.npos ? AF_INET : AF_INET6;
    return vexobase::ParsePrefix(family, text, HostBits::kMasked).value_or(IpPrefix());
}

TEST(IpPrefix, ReadsNetworksAndClearsOrRefusesHostBits) {
    struct Row {
        const char* text;
        const char* masked;
        bool isNetwork;
    };
    constexpr Row kRows[] = {
        {"10.20.0.0/16", "10.20.0.0/16", true},
        {"10.20.3.7/20", "10.20.0.0/20", false},
        {"192.0.2.1", "192.0.2.1/32", true},
        {"255.255.255.255/0", "0.0.0.0/0", false},
        {"2001:DB8:0:f::5/60", "2001:db8::/60", false},
        {"2001:db8::/127", "2001:db8::/127", true},
        {"::1", "::1/128", true},
        {"::/0", "::/0", true},
        {"10.0.0.0/33", "", false},
        {"10.0.0.0/", "", false},
        {"10.0.0.0/+8", "", false},
        {"10.0.0.0/8 ", "", false},
        {"10.0.0/8", "", false},
        {"2001:db8::/129", "", false},
        {"2001:db8::/-1", "", false},
        {"/64", "", false},
        {"", "", false},
    };
    for (const auto& [text, masked, isNetwork] : kRows) {
        EXPECT_EQ(ToText(Net(text)), masked) << text;
        const int family = Net(text).Family();
        EXPECT_EQ(vexobase::ParsePrefix(family, text, HostBits::kRefused).has_value(), isNetwork)
            << text;
    }
    EXPECT_FALSE(vexobase::ParseAddress(AF_INET, std::string_view("10.0.0.1\0x", 10)));
    EXPECT_EQ(ToRouteText(Net("0.0.0.0/0")) + " " + ToRouteText(Net("::1/128")) + " "
                  + ToRouteText(Net("10.0.0.0/31")) + ToRouteText(IpPrefix()),
              "default ::1 10.0.0.0/31");
    EXPECT_EQ(IpPrefix(Net("10.1.2.3").Network(), 200), Net("10.1.2.3"));
    EXPECT_EQ(IpPrefix(IpAddress(), 8), IpPrefix());
}

TEST(IpPrefix, HoldsAndOverlapsOthersOfItsFamily) {
    EXPECT_TRUE(Net("10.0.0.0/8").Contains(Net("10.255.0.0/16")));
    EXPECT_TRUE(Net("10.0.0.0/8").Contains(Net("10.0.0.0/8")));
    EXPECT_FALSE(Net("10.255.0.0/16").Contains(Net("10.0.0.0/8")));
    EXPECT_TRUE(Net("10.255.0.0/16").Overlaps(Net("10.0.0.0/8")));
    EXPECT_FALSE(Net("10.254.0.0/16").Overlaps(Net("10.255.0.0/16")));
    EXPECT_TRUE(Net("2001:db8::/61").Contains(Net("2001:db8:0:7:8::").Network()));
    EXPECT_FALSE(Net("2001:db8::/61").Contains(Net("2001:db8:0:8::").Network()));
    EXPECT_FALSE(Net("::/0").Contains(Net("10.0.0.0/8")));
    EXPECT_FALSE(IpPrefix().Overlaps(Net("0.0.0.0/0")) || Net("0.0.0.0/0").Overlaps(IpPrefix()));
}

TEST(IpPrefix, IsDividedIntoParts) {
    const auto part = [](const char* whole, int length, std::uint64_t index) {
        return ToText(Net(whole).Part(length, index).value_or(IpPrefix()));
    };
    EXPECT_EQ(part("2001:db8:0:10::/60", 64, 0), "2001:db8:0:10::/64");
    EXPECT_EQ(part("2001:db8:0:10::/60", 64, 15), "2001:db8:0:1f::/64");
    EXPECT_EQ(part("2001:db8:0:10::/60", 64, 16), "");
    EXPECT_EQ(part("2001:db8::/52", 64, 0x234), "2001:db8:0:234::/64");
    EXPECT_EQ(part("2001:db8::/64", 64, 0), "2001:db8::/64");
    EXPECT_EQ(part("2001:db8::/64", 64, 1), "");
    EXPECT_EQ(part("2001:db8::/64", 60, 0), "");
    EXPECT_EQ(part("::/0", 128, ~std::uint64_t{0}), "::ffff:ffff:ffff:ffff/128");
    EXPECT_EQ(part("10.0.0.0/8", 33, 0), "");
}

}  // namespace
}  // namespace vexotest
