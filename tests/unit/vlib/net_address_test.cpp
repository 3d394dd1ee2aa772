#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include <vlib/net.h>

#include "support/files.h"

namespace {

TEST(NetAddress, SplitsOctets) {
    const std::vector<std::pair<const char*, int>> cases = {
        {"192.0.2.255", 4}, {"0.0.0.0", 4},  {"10.1", 2},     {"7", 1},         {"", 0},
        {"1.2.3.4.5", 0},   {"1..2.3", 0},   {"1.2.3.", 0},   {"1.2.3.256", 0}, {"1.2.3.-4", 0},
        {"1.2.3. 4", 0},    {"1.2.3.04", 0}, {"1.2.3.4a", 0}, {"a.b.c.d", 0}};
    for (const auto& [text, count] : cases) {
        std::array<int, 4> parts{-1, -1, -1, -1};
        EXPECT_EQ(cVLIBISepIP(text, parts.data()), count) << text;
        EXPECT_EQ(parts[0] == -1, count == 0) << text;
    }
    int parts[4];
    cVLIBISepIP("192.0.2.255", parts);
    EXPECT_THAT(parts, ::testing::ElementsAre(192, 0, 2, 255));
}

TEST(NetAddress, TurnsANetmaskIntoASubnet) {
    const std::vector<std::pair<const char*, std::string>> cases = {
        {"192.168.1.10/255.255.255.0", "192.168.1.0/24"},
        {"255.255.255.255/255.255.255.255", "255.255.255.255/32"},
        {"10.1.2.3/0.0.0.0", "0.0.0.0/0"},
        {"172.16.31.9/20", "172.16.16.0/20"},
        {"10.0.0.1/", "unchanged"},
        {"10.0.0.1", "unchanged"},
        {"10.0.0.1/255.0.255.0", "unchanged"},
        {"10.0.0.1/33", "unchanged"},
        {"10.0.0/255.0.0.0", "unchanged"},
        {"fe80::1/64", "unchanged"}};
    for (const auto& [text, expected] : cases) {
        char subnet[19] = "unchanged";
        EXPECT_EQ(ErrVLIBIpMaskToSubnet(text, subnet), expected == "unchanged" ? -1 : 0) << text;
        EXPECT_EQ(subnet, expected) << text;
    }
}

TEST(NetAddress, KnowsAddresses) {
    for (const char* text : {"192.0.2.1", "::", "2001:db8::1", "::ffff:192.0.2.1"}) {
        EXPECT_EQ(BlVLIBIsIpAddr(text), 1) << text;
    }
    for (const char* text : {"", "192.0.2", "192.0.2.1/24", "fe80::1%eth0", " ::1", "host"}) {
        EXPECT_EQ(BlVLIBIsIpAddr(text), 0) << text;
    }
    EXPECT_EQ(BlVLIBIsIpAddr(nullptr), 0);
}

TEST(NetTopology, ComesFromTheSystemInfoFile) {
    EXPECT_EQ(VLIBNetTopologyGet(0), 2);
    for (const auto& [value, role] : std::vector<std::pair<std::string, int>>{
             {"3", 3}, {"\"1\"", 1}, {"0", 0}, {"", 2}, {"-1", 2}, {"router", 2}, {"999", 2}}) {
        vexotest::WriteFile("/etc/vexoinfo.conf", "net_topology=" + value + "\n");
        EXPECT_EQ(VLIBNetTopologyGet(0), role) << value;
    }
}

}  // namespace
