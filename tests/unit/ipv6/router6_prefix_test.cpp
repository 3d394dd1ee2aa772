// The files of IPv6 routers and the grants of their /64s.

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include <vexonetwork/ipv6/router/router6_prefix.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"

namespace vexotest {
namespace {

using namespace vexo::network::ipv6::router;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

const std::string kFolder = "/etc/sysconfig/networking/";

Router6Attr Tunnel(const std::string& wan, const std::string& prefix) {
    return {"6in4", wan, prefix, "192.0.2.10", "192.0.2.1", "2001:db8:f::2/64", false};
}

std::string FileOf(const std::string& ifname) {
    return ReadFile(kFolder + "ipv6-" + ifname);
}

/// "PREFIX WAN LAN" for each row of the list.
Texts Rows() {
    Texts rows;
    for (const Router6PrefixAttr& row : Router6Prefix().List()) {
        rows.push_back(row.prefix + " " + row.wan + " " + row.lan);
    }
    return rows;
}

class Router6Files : public testing::Test {
  protected:
    Router6Files() { std::filesystem::create_directories(kFolder); }

    SyslogSpy log;
};

TEST_F(Router6Files, KeepWhatWasSaved) {
    Router6Attr saved = Tunnel("wan0", "2001:db8::/48");
    saved.AddLan("eth1", "2001:db8::");
    saved.AddLan("", "2001:db8:0:1::");
    saved.AddLan("eth2", "");
    ASSERT_EQ(saved.SaveConfig(), 0);
    EXPECT_EQ(FileOf("wan0"),
              "[conf]\n\ttype=6in4\n\twan=wan0\n\tprefix=2001:db8::/48\n\tis_default_gateway=no\n"
              "[addr]\n\tlocal_addr_v4=192.0.2.10\n\tremote_addr_v4=192.0.2.1\n"
              "\tlocal_addr_v6=2001:db8:f::2/64\n[lan]\n\teth1=2001:db8::\n");
    Router6Attr loaded("wan0", false);
    ASSERT_EQ(loaded.LoadConfig(), 0);
    EXPECT_TRUE(loaded.is_default_gateway) << "no daemon knows better";
    EXPECT_EQ(loaded.LoadConfig(), 0);
    EXPECT_EQ(loaded.lans, Router6Attr::LanList(2, {"eth1", "2001:db8::"}));
    loaded.RemoveLan("eth1", "2001:db8::");
    loaded.lans.emplace_back("eth2", "");
    loaded.RemoveLan("eth2", "");
    EXPECT_EQ(loaded.lans, (Router6Attr::LanList{{"eth1", "2001:db8::"}, {"eth2", ""}}));
    loaded.is_default_gateway = false;
    EXPECT_EQ(loaded, saved) << "LANs take no part";
    EXPECT_EQ(loaded.RemoveConfig(), 0);
    EXPECT_EQ(loaded.LoadConfig(), -1);
    EXPECT_EQ(Router6Attr().ToJson(), Parsed(R"({"type": "off", "is_default_gateway": false})"));
    EXPECT_EQ(saved.ToJson()["config"]["remote_addr_v4"], "192.0.2.1");
    saved.remote_addr_v4.clear();
    EXPECT_EQ(saved.ToJson()["config"]["remote_addr_v4"], "192.0.2.10");
}

TEST_F(Router6Files, TakeNoTextThatWouldReadDifferently) {
    const Router6Attr whole = Tunnel("wan0", "2001:db8::/48");
    ASSERT_EQ(whole.SaveConfig(), 0);
    const std::string former = FileOf("wan0");
    for (const std::string& text : {std::string("x\nwan=evil"), std::string("a\0b", 3)}) {
        for (const auto field : {&Router6Attr::type, &Router6Attr::prefix,
                                 &Router6Attr::local_addr_v4, &Router6Attr::local_addr_v6}) {
            Router6Attr attr = whole;
            attr.*field = text;
            EXPECT_EQ(attr.SaveConfig(), -1);
        }
    }
    for (const std::string wan : {"../ifcfg-eth0", "a/b", "sixteen-letters-", "a b", "a\nb"}) {
        EXPECT_EQ(Router6Attr(wan, true).SaveConfig(), -1) << wan;
        EXPECT_EQ(Router6Attr(wan, true).GetConfigName(), "") << wan;
    }
    EXPECT_EQ(Router6Attr("pppoe", true).GetConfigName(), kFolder + "ipv6-") << "no connection";
    EXPECT_EQ(FileOf("wan0"), former);
    EXPECT_EQ(Must("find /etc/sysconfig -type f"), kFolder + "ipv6-wan0\n");
}

TEST_F(Router6Files, OfOthersAreLeftOut) {
    ASSERT_EQ(Tunnel("wan0", "2001:db8::/64").SaveConfig(), 0);
    WriteFile(kFolder + "ipv6-wan0.bak", FileOf("wan0"));
    WriteFile(kFolder + "ipv6-half", "[conf]\nwan=half\ntype=6in4\nprefix=2001:db8:1::/64\n");
    WriteFile(kFolder + "ipv6-evil", "[conf]\nwan=../evil\n");
    WriteFile(kFolder + "ipv6-noise", std::string("\0\xff[conf", 7));
    // Missing sections and keys and bad prefixes are the router's own matter.
    WriteFile(kFolder + "ipv6-bare", "[conf]\nwan=bare\n[addr]\n[lan]\n");
    WriteFile(kFolder + "ipv6-bad", "[conf]\nwan=bad\nprefix=2001:xyz::/64\n[addr]\n[lan]\n");

    EXPECT_THAT(Rows(), ElementsAre("2001:db8:1:: half ", "2001:db8:: wan0 "));
    EXPECT_EQ(Router6Prefix().routers.size(), 4U);
    EXPECT_TRUE(log.Has("router6_prefix", "Failed to get wan from " + kFolder + "ipv6-noise"));
    const std::string half = FileOf("half");
    EXPECT_EQ(Router6Prefix().Allocate("2001:db8:1::", "eth1"), -1) << "others may have a part";
    EXPECT_EQ(FileOf("half"), half);
    std::filesystem::remove_all(kFolder);
    EXPECT_THAT(Rows(), IsEmpty());
    EXPECT_TRUE(log.Has("router6_prefix", "Failed to load (some of) IPv6 router config"));
}

TEST_F(Router6Files, OfferTwoSubnets) {
    const std::pair<std::pair<const char*, int>, Texts> kCases[] = {
        {{"2001:db8:0:10::", 60}, {"2001:db8:0:10::", "2001:db8:0:11::"}},
        {{"2001:db8:0:11::5", 48}, {"2001:db8:0:10::5", "2001:db8:0:11::5"}},
        {{"2001:DB8:0:10:0::", 64}, {"2001:DB8:0:10:0::"}},
        {{"2001:db8::", 65}, {}},
        {{"2001:db8", 48}, {}}};
    for (const auto& [prefix, subnets] : kCases) {
        EXPECT_EQ(Router6Prefix::EnumPrefix64(prefix.first, prefix.second), subnets);
    }
    EXPECT_TRUE(log.Has("router6_prefix",
                        "Error: require larger prefix range for splitting (cur: 65, max: 63)"));
    for (const std::string prefix :
         {"2001:db8::", "/64", "2001:db8::/64x", "2001:db8::/-1", "2001:db8::/129"}) {
        ASSERT_EQ(Tunnel("wan0", prefix).SaveConfig(), 0);
        EXPECT_THAT(Rows(), IsEmpty());
    }
    EXPECT_TRUE(log.Has("router6_prefix",
                        "Error: require larger prefix range for splitting (cur: 129, max: 63)"));
}

TEST_F(Router6Files, GrantEachSubnetOnce) {
    ASSERT_EQ(Tunnel("wan0", "2001:db8:0:1f::5/60").SaveConfig(), 0);
    ASSERT_EQ(Tunnel("wan1", "2001:db8:0:10::/64").SaveConfig(), 0);
    Router6Prefix one;
    Router6Prefix other;
    EXPECT_EQ(one.Allocate("2001:DB8:0:10:0::", "eth1"), 0);
    EXPECT_EQ(other.Allocate("2001:db8:0:10::", "eth2"), -1) << "granted since it was loaded";
    EXPECT_TRUE(log.Has("router6_prefix",
                        "Unable to find matching prefix 2001:db8:0:10:: allocate for eth2"));
    EXPECT_EQ(other.Allocate("2001:db8:0:12::", "eth2"), -1);
    EXPECT_EQ(other.Allocate("nonsense", "eth2"), -1);
    EXPECT_EQ(other.Allocate("2001:db8:0:11::", ""), -1);
    EXPECT_EQ(other.Allocate("2001:db8:0:11::", "eth1"), -1) << "its first one would be lost";
    EXPECT_THAT(Rows(), ElementsAre("2001:db8:0:10:: wan0 eth1", "2001:db8:0:11:: wan0 ",
                                    "2001:db8:0:10:: wan1 "));

    EXPECT_EQ(other.Deallocate("2001:db8:0:10::", "eth1"), 0);
    EXPECT_EQ(other.Deallocate("2001:db8:0:10::", "eth1"), 0);
    EXPECT_TRUE(log.Has("router6_prefix",
                        "No matching prefix 2001:db8:0:10:: on eth1 to remove, possibly gone"));
    Router6Attr edited = Tunnel("wan1", "2001:db8:0:10::/64");
    edited.AddLan("eth1", "2001:DB8:0:10:0::");
    ASSERT_EQ(edited.SaveConfig(), 0);
    EXPECT_EQ(other.Deallocate("2001:db8:0:10::", "eth1"), 0);
    EXPECT_EQ(other.Allocate("2001:db8:0:10::", "eth2"), 0) << "written by hand, taken back too";

    ASSERT_EQ(one.routers[0].RemoveConfig(), 0);
    EXPECT_EQ(one.Allocate("2001:db8:0:11::", "eth1"), -1) << "the router is gone";
    EXPECT_EQ(FileOf("wan0"), "");
}

TEST_F(Router6Files, AreChangedByOneProcessAtATime) {
    constexpr int kWans = 8;
    for (int i = 0; i < kWans; ++i) {
        const std::string n = std::to_string(i);
        ASSERT_EQ(Tunnel("wan" + n, "2001:db8:" + n + "::/48").SaveConfig(), 0);
    }
    // Each asks for every subnet, all at once: they go when the pipe ends.
    int start[2];
    ASSERT_EQ(::pipe(start), 0);
    std::vector<pid_t> children;
    for (const char* lan : {"eth1", "eth2", "eth3", "eth4"}) {
        children.push_back(::fork());
        if (children.back() == 0) {
            ::close(start[1]);
            char byte;
            int granted = static_cast<int>(::read(start[0], &byte, 1));
            for (const Router6PrefixAttr& row : Router6Prefix().List()) {
                granted += Router6Prefix().Allocate(row.prefix, lan) == 0;
            }
            ::_exit(granted);
        }
    }
    ::close(start[1]);
    int granted = 0;
    for (const pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        granted += WEXITSTATUS(status);
    }
    const Texts rows = Rows();
    EXPECT_EQ(granted, std::ranges::count_if(rows, [](auto& row) { return !row.ends_with(' '); }));
    EXPECT_GE(granted, kWans);
}

}  // namespace
}  // namespace vexotest
