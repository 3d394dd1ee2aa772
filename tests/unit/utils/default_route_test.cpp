#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include <vexonetwork/utils/get_default_route.h>

#include "support/process.h"
#include "support/syslog_spy.h"
#include "utils/field_scanner.h"

namespace {

using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;
using vexotest::Must;

template <typename Field>
bool ReadField(std::istringstream& in, Field& field) {
    return static_cast<bool>(in >> field);
}

bool ReadField(FieldScanner& in, int& field) {
    return in.Read(field);
}

bool ReadField(FieldScanner& in, std::string& field) {
    std::string_view word;
    const bool read = in.Read(word);
    field = word;
    return read;
}

/// Reads a line as `reads` says, a letter a field, and tells what was read up to a failure.
template <typename Input>
std::string ReadFields(const char* line, const std::string& reads) {
    Input in(line);
    std::string log;
    for (const char kind : reads) {
        std::string word;
        int number = 0;
        if (kind == 'w' ? !ReadField(in, word) : !ReadField(in, number)) {
            return log + "failed";
        }
        log += (kind == 'w' ? word : std::to_string(number)) + "|";
    }
    return log;
}

TEST(FieldScanner, ReadsAsAStreamDoes) {
    for (const char* line : {"",
                             " ",
                             "a",
                             " a\tb\v\f c \r\n",
                             "1 2 3",
                             "12ab 7",
                             "0003 0x1F 0B",
                             "+5 -6 +7",
                             "+-5",
                             "-+5",
                             "--5",
                             "+",
                             "-",
                             "- 5",
                             "+ 5 6",
                             "5+6-7",
                             "2147483647 -2147483648",
                             "2147483648",
                             "-2147483649 1",
                             "99999999999999999999",
                             "00000000000000000012",
                             "1,2 3.4 1e5",
                             "\xA0 1",
                             "5\x7F 6"}) {
        for (const char* reads : {"iii", "iiw", "iwi", "iww", "wii", "wiw", "wwi", "www"}) {
            EXPECT_EQ(ReadFields<FieldScanner>(line, reads),
                      ReadFields<std::istringstream>(line, reads))
                << line << " as " << reads;
        }
    }
}

template <typename Parser>
std::string Parse(const std::string& line) {
    std::vector<routeparse::Route> routes;
    Parser()(line.c_str(), routes);
    if (routes.empty()) {
        return "";
    }
    return std::to_string(routes[0].metric) + " " + routes[0].gateway + " " + routes[0].ifname;
}

TEST(DefaultRoute, ParsesIPv4Lines) {
    const std::map<std::string, std::string> lines = {
        {"eth0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0", "100 192.168.1.1 eth0"},
        {"eth0 0 0101A8C0 0007 0 0 -5", "-5 192.168.1.1 eth0"},
        // Hexadecimal flags read as decimal: the rest of their word shifts the fields.
        {"eth0 00000000 0101A8C0 3F 0 7 0 0", "7 192.168.1.1 eth0"},
        {"eth0 00000000 00000000 0001 0 0 0 00000000", ""},  // no gateway
        {"eth0 00000000 0101A8C0 0002 0 0 0 00000000", ""},  // down
        {"eth0 0001A8C0 0101A8C0 0003 0 0 0 00FFFFFF", ""},  // no default route
        {"eth0 00000000 0101A8C0 0003 0 0", ""},             // cut
        {"eth0 00000000 0101A8C0 0003 0 0 99999999999 0", ""},
        {"Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask", ""}};
    for (const auto& [line, route] : lines) {
        EXPECT_EQ(Parse<routeparse::ParseV4>(line), route) << line;
    }
}

TEST(DefaultRoute, ParsesIPv6Lines) {
    const std::string zero(32, '0');
    const std::string begin = zero + " 00 " + zero + " 00 ";
    const std::string hop = "fe800000000000000000000000000001";
    const std::string counts = " 00000001 00000000 ";
    const std::map<std::string, std::string> lines = {
        {begin + hop + " 00000400" + counts + "00000003     eth0", "400 fe80::1 eth0"},
        {begin + hop + " 00000400" + counts + "00000003  tun1000", ""},
        {begin + hop + " 00000400" + counts + "00000001     eth0", ""},
        {begin + hop + " 00000400" + counts + "00000003", ""},
        {begin + hop.substr(1) + " 00000400" + counts + "00000003 eth0", "400  eth0"},
        {"2" + (begin + hop).substr(1) + " 00000400" + counts + "00000003 eth0", ""},
        // Read as decimal the metric is cut at its letter, which shifts the fields.
        {begin + hop + " 0000000a 1 3 eth0", "0 fe80::1 eth0"}};
    for (const auto& [line, route] : lines) {
        EXPECT_EQ(Parse<routeparse::ParseV6>(line), route) << line;
    }
}

TEST(DefaultRoute, ReadsTheKernelsTables) {
    vexotest::SyslogSpy spy;
    EXPECT_EQ(GetNumDefaultRoutes<AF_INET>(), 0);
    EXPECT_EQ(GetNumDefaultRoutes<AF_INET6>(), 0);
    EXPECT_EQ(GetDefaultRoute<AF_INET>(), "");
    EXPECT_EQ(GetDefaultRoute<AF_INET6>(), "");
    Must("ip link add wan0 type veth peer name tun1000");
    Must("ip addr add 192.0.2.10/24 dev wan0");
    for (const std::string ifname : {"wan0", "tun1000"}) {
        Must("ip link set " + ifname + " up");
        Must("ip addr add 2001:db8::" + std::to_string(ifname.size()) + "/64 dev " + ifname
             + " nodad");
    }
    Must("ip route add default via 192.0.2.1 metric 100");
    Must("ip route add default via 192.0.2.2");
    Must("ip route add 10.0.0.0/8 via 192.0.2.3");
    Must("ip -6 route add default via 2001:db8::1 dev wan0 metric 1024");
    Must("ip -6 route add default via 2001:db8::2 dev wan0 metric 512");
    Must("ip -6 route add default via 2001:db8::3 dev tun1000 metric 1");
    EXPECT_EQ(GetNumDefaultRoutes<AF_INET>(), 2);
    EXPECT_EQ(GetDefaultRoute<AF_INET>(), "192.0.2.2");
    EXPECT_EQ(GetNumDefaultRoutes<AF_INET6>(), 2);
    EXPECT_EQ(GetDefaultRoute<AF_INET6>(), "2001:db8::2");
    EXPECT_THAT(spy.Messages(), IsEmpty());

    Must("mount -t tmpfs none /proc");
    EXPECT_EQ(GetNumDefaultRoutes<AF_INET>(), -1);
    EXPECT_EQ(GetDefaultRoute<AF_INET6>(), "");
    EXPECT_THAT(spy.Messages(), ElementsAre("Unable to open route file: /proc/net/route",
                                            "Unable to open route file: /proc/net/ipv6_route"));
    Must("umount /proc");
}

}  // namespace
