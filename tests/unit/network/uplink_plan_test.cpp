// What uplinks should have in the kernel, how it gets there, and the files that say so.

#include "network/routing/uplink_plan.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vexonetwork/network/static_routes.h>
#include <vexonetwork/network/uplink_policy.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::network;
using Lines = std::vector<std::string>;
using Uplink = vexonetwork::network::Uplink;

constexpr char kStatic[] = "/etc/iproute2/config/static-table";

int FamilyOfText(const std::string& text) {
    return text.find(':') == text.npos ? AF_INET : AF_INET6;
}

ConnectedAddress At(const std::string& text, const std::string& peer = "") {
    const int family = FamilyOfText(text);
    const Prefix local = *ParsePrefix(family, text);
    return {7, local, NetworkOf(peer.empty() ? local : *ParsePrefix(family, peer))};
}

/// As ip(8) would be told.
std::string Describe(const Change& change) {
    static constexpr const char* kWords[] = {"add", "replace", "remove"};
    const std::string word = kWords[static_cast<int>(change.action)];
    if (const Rule* rule = std::get_if<Rule>(&change.object)) {
        return word + " rule " + std::to_string(rule->priority) + " from " + ToText(rule->source)
               + " lookup " + std::to_string(rule->table)
               + (rule->suppressedLength == 0 ? " suppress" : "");
    }
    const auto& route = std::get<Route>(change.object);
    return word + " " + ToText(route.destination) + (route.gateway ? " via " : "")
           + ToText(route.gateway) + " oif " + std::to_string(route.oif) + " table "
           + std::to_string(route.table);
}

Lines Describe(const std::vector<Change>& changes) {
    Lines lines;
    for (const Change& change : changes) {
        lines.push_back(Describe(change));
    }
    return lines;
}

Lines Plan(int family, const std::vector<Uplink>& uplinks) {
    return Describe(Compare(PlanUplinks(family, uplinks, 90), {}).additions);
}

TEST(UplinkPlan, HoldsWhatAnUplinkCanUse) {
    const auto v4 = [](const char* text) { return ParseAddress(AF_INET, text); };
    const auto v6 = [](const char* text) { return ParseAddress(AF_INET6, text); };
    ConnectedAddress routeless = At("198.51.100.5/24");
    routeless.connects = false;
    const Uplink dsl{"ppp0",        101,     {3, true}, {At("10.64.0.2/32", "10.64.0.1/32")},
                     v4("0.0.0.0"), v6("::")};
    const Uplink fibre{"wan0",
                       102,
                       {4, true},
                       {At("192.0.2.10/24"), At("192.0.2.11/24"), At("203.0.113.5/32"), routeless,
                        At("fe80::1/64"), At("2001:db8::10/64")},
                       v4("192.0.2.1"),
                       v6("fe80::fe")};
    const Uplink unplugged{"wan1", 103, {5, false}, {At("192.0.2.99/24")}, v4("192.0.2.1"), {}};
    const Uplink local{"wan2", 104, {6, true}, {At("fe80::2/64")}, v4("192.0.2.1"), v6("fe80::fe")};

    EXPECT_THAT(
        Plan(AF_INET, {dsl, fibre, unplugged, local}),
        ElementsAre("add 10.64.0.1 oif 3 table 101", "add default oif 3 table 101",
                    "add 192.0.2.0/24 oif 4 table 102", "add default via 192.0.2.1 oif 4 table 102",
                    "add rule 31000 from default lookup 90 suppress",
                    "add rule 31001 from default lookup 254 suppress",
                    "add rule 31100 from 10.64.0.2 lookup 101",
                    "add rule 31100 from 192.0.2.10 lookup 102",
                    "add rule 31100 from 192.0.2.11 lookup 102",
                    "add rule 31100 from 198.51.100.5 lookup 102",
                    "add rule 31100 from 203.0.113.5 lookup 102"));
    EXPECT_THAT(
        Plan(AF_INET6, {dsl, fibre, unplugged, local}),
        ElementsAre("add 2001:db8::/64 oif 4 table 102", "add default via fe80::fe oif 4 table 102",
                    "add rule 31000 from default lookup 90 suppress",
                    "add rule 31001 from default lookup 254 suppress",
                    "add rule 31100 from 2001:db8::10 lookup 102"));
    EXPECT_THAT(Plan(AF_INET, {unplugged, local}), IsEmpty());
}

TEST(UplinkPlan, TakesNothingAwayBeforeItsSuccessorStands) {
    Uplink uplink{"wan0", 102, {4, true}, {At("192.0.2.10/24")}, ParseAddress(AF_INET, "192.0.2.1"),
                  {}};
    RoutingState present = PlanUplinks(AF_INET, {uplink}, 90);
    EXPECT_THAT(Compare(present, present).additions, IsEmpty());
    Route foreign = present.routes[0];
    foreign.protocol = 4;
    foreign.metric = 5;
    present.routes.push_back(foreign);

    uplink.addresses = {At("198.51.100.10/24")};
    uplink.gatewayV4 = ParseAddress(AF_INET, "198.51.100.1");
    const Steps move = Compare(PlanUplinks(AF_INET, {uplink}, 90), present);
    EXPECT_THAT(Describe(move.additions),
                ElementsAre("add 198.51.100.0/24 oif 4 table 102",
                            "replace default via 198.51.100.1 oif 4 table 102",
                            "add rule 31100 from 198.51.100.10 lookup 102"));
    EXPECT_THAT(Describe(move.removals), ElementsAre("remove rule 31100 from 192.0.2.10 lookup 102",
                                                     "remove 192.0.2.0/24 oif 4 table 102"));
    EXPECT_THAT(Describe(Compare({}, present).removals),
                ElementsAre("remove rule 31100 from 192.0.2.10 lookup 102",
                            "remove rule 31001 from default lookup 254 suppress",
                            "remove rule 31000 from default lookup 90 suppress",
                            "remove default via 192.0.2.1 oif 4 table 102",
                            "remove 192.0.2.0/24 oif 4 table 102"));
}

TEST(UplinkFiles, GoodLinesServeAndBadOnesAreNamedOnce) {
    MakeUplink(0);
    WriteFile("/etc/iproute2/config/policy",
              "nonsense\nenabled=no\n[wan0]\nenabled = yes\n[main]\nenabled=yes\n"
              "[x y]\nenabled=yes\n[wan1]\nenabled=no\n[empty]\n[wan2]\nenabled=ja\nenable=yes\n");
    const SyslogSpy log;
    UplinkPolicy policy;
    EXPECT_EQ(policy.Synchronise() + policy.Synchronise(), 0);
    EXPECT_THAT(policy.Interfaces(), ElementsAre("wan0"));
    EXPECT_THAT(log.Messages(),
                ElementsAre("Bad line [nonsense] in [/etc/iproute2/config/policy]",
                            "Bad line [enabled=no] in [/etc/iproute2/config/policy]",
                            "Bad interface [main] in [/etc/iproute2/config/policy]",
                            "Bad interface [x y] in [/etc/iproute2/config/policy]",
                            "Bad line [enable=yes] in [/etc/iproute2/config/policy]",
                            HasSubstr("[wan2] is enabled neither with yes nor no, but [ja]")));
}

TEST(UplinkFiles, NobodySharesATable) {
    MakeUplink(0);
    MakeUplink(1);
    WriteFile("/etc/iproute2/rt_tables", "100 static\n100 wan0\n101 wan1\n");
    ASSERT_EQ(StaticRoutes().Add({"10.1.0.0/16", "", "wan0", ""}), "");
    UplinkPolicy policy;
    EXPECT_THAT(policy.Enable({"wan0", "wan1"}),
                HasSubstr("[wan0] has no routing table of its own"));
    EXPECT_EQ(policy.Status()[1].table, 101U);
    EXPECT_THAT(Must("ip route show table 100"), StartsWith("10.1.0.0/16 dev wan0"));

    Must("rm /etc/iproute2/config/policy");
    Must("mkdir /etc/iproute2/config/policy");
    EXPECT_EQ(policy.Synchronise(), -1);
    EXPECT_THAT(Must("ip rule"), HasSubstr("lookup wan1")) << "what cannot be read says nothing";
}

TEST(UplinkFiles, WritersAtOnceLoseNothing) {
    MakeUplink(0);
    WriteFile(kStatic, "# kept\n[by hand]\ndestination=10.1.0.0/16\nifname=wan0\n");
    constexpr int kWriters = 3;
    constexpr int kRoutes = 15;
    for (int writer = 0; writer < kWriters; ++writer) {
        if (::fork() == 0) {
            StaticRoutes routes;
            for (int third = 0; third < kRoutes; ++third) {
                const std::string to =
                    "10.2" + std::to_string(writer) + "." + std::to_string(third) + ".0/24";
                if (!routes.Add({to, "", "wan0", ""}).empty()) {
                    ::_exit(1);
                }
            }
            ::_exit(0);
        }
    }
    for (int status = 0; ::wait(&status) > 0;) {
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(StaticRoutes().List().size(), 1U + kWriters * kRoutes);
    EXPECT_EQ(Count(Must("ip route show table static"), "10.2"), size_t(kWriters * kRoutes));
    EXPECT_THAT(ReadFile(kStatic), StartsWith("# kept\n[by hand]\ndestination=10.1.0.0/16\n"));
}

}  // namespace
}  // namespace vexotest
