// What DHCPv6 clients leave about delegated prefixes, and what LANs are told of it.

#include "ipv6/lan/announcements.h"

#include <gmock/gmock.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace vexotest {
namespace {

using namespace vexo::network::ipv6::router;
using namespace testing;

constexpr std::time_t kNow = 1'800'000'000;
constexpr Moment kMoment{.since1970 = kNow, .sinceBoot = 1000};

vexobase::IpPrefix Prefix(const std::string& text) {
    return vexobase::ParsePrefix(AF_INET6, text, vexobase::HostBits::kMasked).value();
}
const vexobase::IpPrefix kFirst = Prefix("2001:db8:1::/56");
const vexobase::IpPrefix kSecond = Prefix("2001:db8:2::/60");
const vexobase::IpPrefix kNone;

Delegation Lasting(const vexobase::IpPrefix& prefix, std::time_t preferred, std::time_t valid) {
    return {prefix, {kNow + preferred, kNow + valid}};
}

TEST(ToldByClient, IsTakenLineByLine) {
    SyslogSpy log;
    const auto read = [](std::string_view text) { return ReadTold(text, kMoment, "FILE"); };
    EXPECT_EQ(read("2001:db8:1::/56 1060 1120\n2001:db8:2::/60 1000 forever\n"
                   "dns 2001:db8::53 nonsense 2001:db8::54 2001:db8::55 2001:db8::56\n"),
              (Told{{Lasting(kFirst, 60, 120), {kSecond, {kNow, Lifetimes::kForever}}},
                    {"2001:db8::53", "2001:db8::54", "2001:db8::55"}}));
    EXPECT_EQ(read("none\n"), Told());
    EXPECT_THAT(log.Messages(), IsEmpty());

    for (const char* nasty :
         {"", "\n", "dns 2001:db8::53", "2001:db8::/56", "2001:db8::/56 1 2 3", "/56 1 2",
          "2001:db8::/56 -1 2", "2001:db8::/56 1 0x2", "2001:db8::/56 1 999999999999",
          "2001:db8::/65 1 2", "2001:db8::/0 1 2", "2001:db8::/56/56 1 2", "nonesuch"}) {
        EXPECT_EQ(read(nasty), std::nullopt) << nasty;
    }
    EXPECT_EQ(read(std::string("2001:db8::\0/56 1 2", 18)), std::nullopt);
    // What makes sense beside what does not is the client's word.
    EXPECT_EQ(read("<<<<\n2001:db8:1::/56 1060 1120"), (Told{{Lasting(kFirst, 60, 120)}, {}}));
    std::string many;
    for (int i = 0; i < 500; ++i) {
        many += "2001:db8::/56 1 2\n";
    }
    EXPECT_EQ(read(many)->prefixes.size(), 8U);
    log.Clear();
    EXPECT_EQ(read(std::string(3000, '\n') + "x\nx\nx"), std::nullopt);
    EXPECT_THAT(log.Messages(), SizeIs(1));
}

TEST(ToldByClient, TheBestOfSeveralPrefixesIsTaken) {
    const struct {
        const char* why;
        std::vector<Delegation> prefixes;
        vexobase::IpPrefix current;
        vexobase::IpPrefix best;
    } cases[] = {
        {"nothing", {}, kFirst, kNone},
        {"no longer valid", {Lasting(kFirst, 0, 0)}, kFirst, kNone},
        {"deprecated, but all there is", {Lasting(kFirst, 0, 60)}, kNone, kFirst},
        {"a deprecated one does not replace the live one",
         {Lasting(kFirst, 0, 9000), Lasting(kSecond, 60, 60)},
         kSecond,
         kSecond},
        {"the live one replaces a deprecated one",
         {Lasting(kFirst, 0, 9000), Lasting(kSecond, 60, 60)},
         kFirst,
         kSecond},
        {"LANs do not change for some seconds",
         {Lasting(kFirst, 90, 90), Lasting(kSecond, 60, 60)},
         kSecond,
         kSecond},
        {"preferred longest",
         {Lasting(kFirst, 60, 9000), Lasting(kSecond, 90, 90)},
         kNone,
         kSecond},
        {"the largest", {Lasting(kSecond, 60, 90), Lasting(kFirst, 60, 60)}, kNone, kFirst},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(BestPrefix(each.prefixes, each.current, kNow), each.best) << each.why;
    }
}

class Announced : public Test {
  protected:
    /// What a LAN with the first /64 of a prefix is told of it: preferred, valid, count down.
    static std::string Terms(const Delegation& delegation) {
        Outside outside{.prefixes = {delegation}, .nameServers = {}, .isReached = true};
        const auto next = NextAnnouncements({}, {Grant("2001:db8:1::")}, outside, kNow);
        const std::string text = RadvdConfiguration(next, outside, kNow);
        if (!next.empty()) {
            WriteFile("/etc/radvd.conf", text);
            EXPECT_EQ(Must("radvd --configtest"), "") << text;
        }
        return Numbers(text);
    }

    static LanPrefix Grant(const std::string& network) {
        return {.lan = "lan0", .network = Prefix(network + "/64")};
    }

    /// Those of the prefix, and of the interface before it.
    static std::string Numbers(const std::string& text) {
        std::string numbers;
        for (const char* name :
             {"AdvPreferredLifetime ", "AdvValidLifetime ", "DecrementLifetimes ",
              "AdvDefaultLifetime ", "MaxRtrAdvInterval ", "AdvRDNSSLifetime "}) {
            const auto at = text.find(name);
            if (at != text.npos) {
                const auto begin = at + std::string(name).size();
                numbers += (numbers.empty() ? "" : " ")
                           + text.substr(begin, text.find(';', begin) - begin);
            }
        }
        return numbers;
    }
};

TEST_F(Announced, NothingOutlivesTheDelegation) {
    // Whatever happens to the announcer: static values are looked at again before they are wrong
    // by more than their distance from the end, and radvd counts three quarters at least.
    EXPECT_EQ(Terms({kFirst, {}}), "2700 5400 1800 600");
    EXPECT_EQ(Terms(Lasting(kFirst, 86400, 86400)), "2700 5400 1800 600");
    EXPECT_EQ(Terms(Lasting(kFirst, 3900, 6600)), "2700 5400 1800 600");
    EXPECT_EQ(Terms(Lasting(kFirst, 3899, 6600)), "2700 4950 on 1800 600");
    EXPECT_EQ(Terms(Lasting(kFirst, 1800, 14400)), "1350 5400 on 1800 600");
    EXPECT_EQ(Terms(Lasting(kFirst, 800, 800)), "600 600 on 600 200");
    EXPECT_EQ(Terms(Lasting(kFirst, 6, 9)), "4 6 on 30 10");
    // Deprecated, but the only one.
    EXPECT_EQ(Terms(Lasting(kFirst, 0, 86400)), "0 5400 1800 600");
    EXPECT_EQ(Terms(Lasting(kFirst, 0, 1800)), "0 600 600 200");
    EXPECT_EQ(Terms(Lasting(kFirst, 0, 600)), "0 0 0 600");
    EXPECT_EQ(Terms(Lasting(kFirst, 0, 0)), "");
}

TEST_F(Announced, WhatTheClientHasNotToldGoesOnAsItWas) {
    const std::vector<LanPrefix> grants{Grant("2001:db8:1::")};
    const auto first = NextAnnouncements({}, grants, {}, kNow);
    EXPECT_THAT(first,
                ElementsAre(Announcement{"lan0", "2001:db8:1::", {kNow + 2700, kNow + 5400}, 0}));
    EXPECT_EQ(NextAnnouncements(first, grants, {}, kNow + 3000), first);
    EXPECT_THAT(LansOf(NextAnnouncements(first, grants, {}, kNow + 5400)), IsEmpty());
}

TEST_F(Announced, AStalePrefixIsToldForTwoHours) {
    const Outside outside{
        .prefixes = {{Prefix("2001:db8::/32"), {}}}, .nameServers = {}, .isReached = false};
    const Announcements former{{"lan0", "2001:db8:1::", {}, 0},
                               {"lan0", "2001:db8:9::", {}, kNow},
                               {"lan0", "2001:db8:a::", {}, kNow + 999'999}};
    const auto next = NextAnnouncements(former, {Grant("2001:db8:2::")}, outside, kNow);
    EXPECT_THAT(next, ElementsAre(Announcement{"lan0", "2001:db8:2::", {}, 0},
                                  Announcement{"lan0", "2001:db8:1::", {}, kNow + 7200},
                                  Announcement{"lan0", "2001:db8:a::", {}, kNow + 7200}));
    EXPECT_THAT(RadvdConfiguration(next, outside, kNow),
                HasSubstr("    prefix 2001:db8:1::/64\n    {\n        AdvPreferredLifetime 0;\n"
                          "        AdvValidLifetime 0;\n    };\n"));
    // Also while there is nothing to announce.
    const auto between = NextAnnouncements(next, {}, outside, kNow + 60);
    EXPECT_THAT(between, ElementsAre(Announcement{"lan0", "2001:db8:2::", {}, kNow + 7260}, next[1],
                                     next[2]));
    EXPECT_THAT(NextAnnouncements(between, {}, outside, kNow + 7260), IsEmpty());
}

TEST_F(Announced, OnlyAMachineWithADefaultRouteIsARouter) {
    Outside outside{.prefixes = {{kFirst, {}}},
                    .nameServers = {"2001:db8::53", "2001:db8::54"},
                    .isReached = true};
    const auto next = NextAnnouncements({}, {Grant("2001:db8:1::")}, outside, kNow);
    EXPECT_THAT(RadvdConfiguration(next, outside, kNow),
                HasSubstr("    RDNSS 2001:db8::53 2001:db8::54\n    {\n"
                          "        AdvRDNSSLifetime 1200;\n    };\n"));
    WriteFile("/etc/radvd.conf", RadvdConfiguration(next, outside, kNow));
    EXPECT_EQ(Must("radvd --configtest"), "");
    outside.isReached = false;
    const std::string without = RadvdConfiguration(next, outside, kNow);
    EXPECT_EQ(Numbers(without), "2700 5400 0 600");
    EXPECT_THAT(without, Not(HasSubstr("RDNSS")));

    EXPECT_THAT(ReachableNameServers("nameserver 192.0.2.53\nnameserver ::1\n# nameserver 2001::1\n"
                                     "nameserver\tfd00::53 \nnameserver fe80::1%lan0\n"
                                     "nameserver 2001:db8::53\nnameserver 2001:db8::53\n"),
                ElementsAre("fd00::53", "2001:db8::53"));
}

}  // namespace
}  // namespace vexotest
