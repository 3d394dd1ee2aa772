// What uplinks should have in the kernel, how it gets there, and the files that say so.

#include "network/routing/uplink_plan.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <sstream>

#include <vexonetwork/network/static_routes.h>
#include <vexonetwork/network/uplink_policy.h>

#include "network/routing/connection_marks.h"
#include "support/appliance.h"
#include "support/syslog_spy.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::network;
using Lines = std::vector<std::string>;
using Uplink = vexonetwork::network::Uplink;

constexpr char kStatic[] = "/etc/iproute2/config/static-table";

ConnectedAddress At(const std::string& text, const std::string& peer = "") {
    const int family = text.find(':') == text.npos ? AF_INET : AF_INET6;
    return {7, *ParseAddress(family, text.substr(0, text.find('/'))),
            *ParsePrefix(family, peer.empty() ? text : peer, HostBits::kMasked)};
}

/// As ip(8) would be told.
Lines Describe(const std::vector<Change>& changes) {
    static constexpr const char* kWords[] = {"add ", "replace ", "remove "};
    Lines lines;
    for (const auto& [action, object] : changes) {
        std::ostringstream line;
        line << kWords[static_cast<int>(action)];
        if (const Rule* rule = std::get_if<Rule>(&object)) {
            line << "rule " << rule->priority << " from " << ToRouteText(rule->source);
            line << (rule->mark == 0 ? "" : " mark " + std::to_string(rule->mark >> 24U));
            line << " to " << rule->table;
            if (rule->suppressedLength >= 0) {
                line << " beyond /" << rule->suppressedLength;
            }
        } else {
            const auto& route = std::get<Route>(object);
            line << ToRouteText(route.destination) << (route.gateway ? " via " : "")
                 << ToText(route.gateway) << " oif " << route.oif << " table " << route.table;
        }
        lines.push_back(line.str());
    }
    return lines;
}

Prefix Net(const std::string& text) {
    return *ParsePrefix(text.find(':') == text.npos ? AF_INET : AF_INET6, text, HostBits::kRefused);
}

const auto V4 = std::bind_front(ParseAddress, AF_INET);
const auto V6 = std::bind_front(ParseAddress, AF_INET6);

Lines Plan(int family, const std::vector<Uplink>& uplinks) {
    return Describe(Compare(PlanUplinks(family, uplinks), {}).additions);
}

TEST(UplinkPlan, HoldsWhatAnUplinkCanUse) {
    ConnectedAddress routeless = At("198.51.100.5/24");
    routeless.connects = false;
    const std::vector<ConnectedAddress> peer = {At("10.64.0.2/32", "10.64.0.1/32")};
    const std::vector<ConnectedAddress> addresses = {At("192.0.2.10/24"),  At("192.0.2.11/24"),
                                                     At("203.0.113.5/32"), routeless,
                                                     At("fe80::1/64"),     At("2001:db8::10/64")};
    const Uplink dsl{"ppp0", 101, {3, true}, peer, V4("0.0.0.0"), V6("::")};
    const Uplink fibre{"wan0", 102, {4, true}, addresses, V4("192.0.2.1"), V6("fe80::fe")};
    const Uplink unplugged{"wan1", 103, {5, false}, {At("192.0.2.99/24")}, V4("192.0.2.1"), {}};
    const Uplink local{"wan2", 104, {6, true}, {At("fe80::2/64")}, V4("192.0.2.1"), V6("fe80::fe")};

    const auto routes = [&](int family) {
        Lines lines = Plan(family, {dsl, fibre, unplugged, local});
        std::erase_if(lines, [](const auto& line) { return line.starts_with("add rule"); });
        return lines;
    };
    EXPECT_THAT(routes(AF_INET),
                ElementsAre("add 10.64.0.1 oif 3 table 101", "add default oif 3 table 101",
                            "add 192.0.2.0/24 oif 4 table 102",
                            "add default via 192.0.2.1 oif 4 table 102"));
    EXPECT_THAT(routes(AF_INET6), ElementsAre("add 2001:db8::/64 oif 4 table 102",
                                              "add default via fe80::fe oif 4 table 102"));
    EXPECT_THAT(Plan(AF_INET, {unplugged, local}), IsEmpty());
    EXPECT_THAT(SourcesOf(fibre, AF_INET),
                ElementsAre(Net("192.0.2.10/31"), Net("198.51.100.5/32"), Net("203.0.113.5/32")));
    EXPECT_THAT(SourcesOf(local, AF_INET6), IsEmpty());
}

TEST(UplinkPlan, RulesNameWhomTheyConcernAndEndBeforeOthersServe) {
    const Uplink wan{"wan0",
                     102,
                     {4, true},
                     {At("192.0.2.10/24"), At("2001:db8::10/64")},
                     V4("192.0.2.1"),
                     {},
                     {Net("2001:db8:100::/56")}};
    Lines rules = Plan(AF_INET, {wan});
    rules.erase(rules.begin(), rules.begin() + 2);
    EXPECT_THAT(rules, ElementsAre("add rule 31010 from default mark 102 to 102 beyond /0",
                                   "add rule 31010 from 192.0.2.10 to 102 beyond /0",
                                   "add rule 31020 from 192.0.2.10 to 254 beyond /7",
                                   "add rule 31100 from default mark 102 to 102",
                                   "add rule 31100 from 192.0.2.10 to 102",
                                   "add rule 31110 from default mark 102 to 0",
                                   "add rule 31110 from 192.0.2.10 to 0"));
    const Lines v6 = Plan(AF_INET6, {wan});
    EXPECT_THAT(v6, IsSupersetOf({"add rule 31020 from 2001:db8::10 to 254 beyond /7",
                                  "add rule 31100 from 2001:db8:100::/56 to 102",
                                  "add rule 31110 from 2001:db8:100::/56 to 0"}));

    // A thousand addresses in a row are not five thousand rules.
    Uplink many{"wan0", 1002, {4, true}, {}, {}, {}};
    for (int i = 0; i < 1000; ++i) {
        many.addresses.push_back(
            At("10.99." + std::to_string(i / 250) + "." + std::to_string(i % 250) + "/32"));
    }
    const auto sources = SourcesOf(many, AF_INET);
    EXPECT_EQ(sources.size(), 4 * 6U);
    std::uint32_t sum = 0;
    for (const Prefix& each : sources) {
        sum += 1U << (32U - each.Length());
    }
    EXPECT_EQ(sum, 1000U) << "and none of somebody else's";
    EXPECT_EQ(MarkOf(many), 0U) << "its table's number is too great";
}

TEST(UplinkPlan, MarksTouchOurBitsAlone) {
    EXPECT_EQ(ConnectionMarkRules({{"1wan", 102, {}, {}, {}, {}}, {"odd", 1002, {}, {}, {}, {}}}),
              "chain answers {\ntype filter hook prerouting priority mangle; policy accept;\n"
              "iifname \"1wan\" ct state new ct mark set ct mark & 0x00ffffff | 0x66000000\n"
              "ct direction reply ct mark & 0xff000000 == 0x66000000 "
              "meta mark set meta mark & 0x00ffffff | 0x66000000\n}\n");
}

TEST(UplinkPlan, TakesNothingAwayBeforeItsSuccessorStands) {
    Uplink uplink{"wan0", 102, {4, true}, {At("192.0.2.10/24")}, V4("192.0.2.1"), {}};
    RoutingState present = PlanUplinks(AF_INET, {uplink});
    EXPECT_THAT(Compare(present, present).additions, IsEmpty());
    Route foreign = present.routes[0];
    foreign.protocol = 4;
    foreign.metric = 5;
    present.routes.push_back(foreign);

    uplink.addresses = {At("198.51.100.10/24")};
    uplink.gatewayV4 = V4("198.51.100.1");
    const Steps move = Compare(PlanUplinks(AF_INET, {uplink}), present);
    const Lines additions = Describe(move.additions);
    const Lines removals = Describe(move.removals);
    ASSERT_EQ(additions.size(), 2 + 4U);
    EXPECT_EQ(additions[0], "add 198.51.100.0/24 oif 4 table 102");
    EXPECT_EQ(additions[1], "replace default via 198.51.100.1 oif 4 table 102");
    EXPECT_EQ(additions.back(), "add rule 31110 from 198.51.100.10 to 0");
    EXPECT_EQ(removals.front(), "remove rule 31110 from 192.0.2.10 to 0");
    EXPECT_EQ(removals.back(), "remove 192.0.2.0/24 oif 4 table 102");
    const Lines all = Describe(Compare({}, present).removals);
    ASSERT_EQ(all.size(), 7 + 2U);
    EXPECT_EQ(all.front(), "remove rule 31110 from 192.0.2.10 to 0");
    EXPECT_THAT(all[7], StartsWith("remove default"));
}

TEST(UplinkPlan, TakesNothingAwayOnceItIsOutOfDate) {
    MakeUplink(0);
    const Route route = OurRoute(90, *ParsePrefix(AF_INET, "10.1.0.0/16", HostBits::kRefused), 0,
                                 *V4("192.0.2.1"), 0);
    const Scope scope{AF_INET, {90}, 31000, 31100};
    RouteSocket socket;
    Complaints complaints;
    bool isCurrent = true;
    const auto ask = [&isCurrent] { return isCurrent; };
    EXPECT_TRUE(BringInStep(socket, scope, {{route}, {}}, ask, complaints));
    isCurrent = false;
    EXPECT_FALSE(BringInStep(socket, scope, {}, ask, complaints));
    EXPECT_THAT(Must("ip route show table 90"), StartsWith("10.1.0.0/16 via 192.0.2.1"));
}

TEST(UplinkFiles, GoodLinesServeAndBadOnesAreNamedOnce) {
    MakeUplink(0);
    WriteFile("/etc/iproute2/config/policy",
              "nonsense\nenabled=no\n[wan0]\nenabled = yes\n[main]\nenabled=yes\n"
              "[x y]\nenabled=yes\n[lo]\nenabled=yes\n[wan1]\nenabled=no\n[empty]\n"
              "[wan2]\nenabled=ja\nenable=yes\n");
    const SyslogSpy log;
    UplinkPolicy policy;
    EXPECT_EQ(policy.Synchronise() + policy.Synchronise(), 0);
    EXPECT_THAT(policy.Interfaces(), ElementsAre("wan0"));
    EXPECT_THAT(log.Messages(),
                ElementsAre("Bad line [nonsense] in [/etc/iproute2/config/policy]",
                            "Bad line [enabled=no] in [/etc/iproute2/config/policy]",
                            "Bad interface [main] in [/etc/iproute2/config/policy]",
                            "Bad interface [x y] in [/etc/iproute2/config/policy]",
                            "Bad interface [lo] in [/etc/iproute2/config/policy]",
                            "Bad line [enable=yes] in [/etc/iproute2/config/policy]",
                            HasSubstr("[wan2] is enabled neither with yes nor no, but [ja]")));
}

TEST(UplinkFiles, NobodySharesATable) {
    MakeUplink(0);
    MakeUplink(1);
    WriteFile("/etc/iproute2/rt_tables", "100 static\n100 wan0\n101 wan1\n");
    ASSERT_EQ(StaticRoutes().Add({"default", "192.0.2.1", "wan0", ""}), "");
    UplinkPolicy policy;
    EXPECT_THAT(policy.Enable({"wan0", "wan1"}),
                HasSubstr("[wan0] has no routing table of its own"));
    EXPECT_EQ(policy.Status()[1].table, 101U);
    EXPECT_THAT(Must("ip route show table 100"), StartsWith("default via 192.0.2.1 dev wan0"));

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
            bool areAdded = true;
            for (int third = 0; third < kRoutes; ++third) {
                const std::string net = std::to_string(writer) + "." + std::to_string(third);
                areAdded &= routes.Add({"10.2" + net + ".0/24", "", "wan0", ""}).empty();
            }
            ::_exit(areAdded ? 0 : 1);
        }
    }
    for (int status = 0; ::wait(&status) > 0;) {
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(StaticRoutes().List().size(), 1U + kWriters * kRoutes);
    EXPECT_EQ(Count(Must("ip route show proto 86"), "10.2"), size_t(kWriters * kRoutes));
    EXPECT_THAT(ReadFile(kStatic), StartsWith("# kept\n[by hand]\ndestination=10.1.0.0/16\n"));
}

}  // namespace
}  // namespace vexotest
