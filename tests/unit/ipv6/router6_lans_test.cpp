// Routers' files and what their clients tell on one side, what LANs have of it in the kernel and in
// files on the other. The announcer is not run: its configuration says what it would announce.

#include <gmock/gmock.h>

#include <filesystem>
#include <set>

#include <vexo/systemd.h>
#include <vexonetwork/ipv6/router/router6_lans.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>

#include "support/files.h"
#include "support/killed_at.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {
bool announces = false;
}  // namespace

/// What is run is the system manager's program, to start the announcer.
extern "C" int VLIBCExecl(int /*options*/, const char* /*path*/, ...) {
    announces = true;
    return 0;
}
extern "C" bool VEXOCSystemdStop(const char* /*unit*/) {
    announces = false;
    return true;
}
extern "C" int VEXOCSystemdActiveStatusGet(const char* /*unit*/) {
    return announces ? 1 : 0;
}

namespace vexotest {
namespace {

using namespace vexo::network::ipv6::router;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const std::string kFolder = "/etc/sysconfig/networking/";

/// "lan0 2001:db8::1/64" for each, in the order of the interfaces.
std::string LanAddresses() {
    std::string text;
    const Arguments words = Words(Must("ip -6 -o address show scope global"));
    for (std::size_t i = 3; i < words.size(); ++i) {
        text += words[i - 1] == "inet6" ? words[i - 2] + " " + words[i] + "\n" : "";
    }
    return text;
}

std::string Unreachable() {
    std::string text;
    const Arguments words = Words(Must("ip -6 route show type unreachable"));
    for (std::size_t i = 1; i < words.size(); ++i) {
        text += words[i - 1] == "unreachable" ? words[i] + " " : "";
    }
    return text;
}

std::string Mark(const std::string& lan) {
    return ReadFile("/etc/sysconfig/network-scripts/ifcfg-" + lan);
}

std::string Announced() {
    return ReadFile("/run/vexo/radvd.conf");
}

/// Everything that a LAN's hosts see of us.
std::string Seen() {
    return LanAddresses() + Unreachable() + Mark("lan0") + Mark("lan1") + Announced();
}

void Configure(Router6Attr router, const Router6Attr::LanList& lans) {
    router.lans = lans;
    EXPECT_EQ(router.SaveConfig(), 0);
}

Router6Attr Tunnel(const std::string& wan, const std::string& prefix) {
    return {"6in4", wan, prefix, "192.0.2.10", "192.0.2.1", "2001:db8:f::2/64", false};
}

/// What the client tells, and what follows from it.
int Delegate(const std::string& told) {
    WriteFile("/run/vexo/router6/wan0.delegated",
              told + (told == "none" ? "\n" : " forever forever\n"));
    return ApplyRouter6Lans();
}

class Router6Lans : public testing::Test {
  protected:
    Router6Lans() {
        std::filesystem::create_directories(kFolder);
        std::filesystem::create_directories("/etc/sysconfig/network-scripts");
        std::filesystem::create_directories("/var/lib/vexonet");
        for (const std::string lan : {"lan0", "lan1", "lan2"}) {
            Must("ip link add " + lan + " type bridge");
        }
    }

    SyslogSpy log;
};

TEST_F(Router6Lans, ComeBackToTheirPlaces) {
    Configure({"wan0", true}, {{"lan1", "2001:db8:8000:101::"}, {"lan0", "2001:db8:8000:100::"}});
    EXPECT_EQ(Delegate("2001:db8:8000:100::/60"), 0) << testing::PrintToString(log.Messages());
    EXPECT_EQ(LanAddresses(), "lan0 2001:db8:8000:100::1/64\nlan1 2001:db8:8000:101::1/64\n");
    EXPECT_EQ(Unreachable(), "2001:db8:8000:100::/60 ");
    EXPECT_EQ(Mark("lan1"), "IPV6ROUTER=yes\n");
    // Room for one; its number says nothing of places.
    EXPECT_EQ(Delegate("2001:db8:8000:205::/64"), 0);
    EXPECT_EQ(LanAddresses(), "lan0 2001:db8:8000:205::1/64\n");
    EXPECT_THAT(Announced(), HasSubstr("prefix 2001:db8:8000:101::/64\n    {\n"
                                       "        AdvPreferredLifetime 0;"));
    EXPECT_EQ(Delegate("none"), 0);
    EXPECT_EQ(Seen(), "IPV6ROUTER=no\nIPV6ROUTER=no\n");
    std::filesystem::remove_all("/run/vexo");  // as a power cut leaves it
    EXPECT_EQ(Delegate("2001:db8:8000:300::/60"), 0);
    EXPECT_EQ(LanAddresses(), "lan0 2001:db8:8000:300::1/64\nlan1 2001:db8:8000:301::1/64\n");
    EXPECT_THAT(Announced(), HasSubstr("prefix 2001:db8:8000:205::/64\n    {\n"
                                       "        AdvPreferredLifetime 0;"));

    // Who comes first has the only one, wherever it belongs.
    EXPECT_EQ(Router6Prefix().Deallocate("2001:db8:8000:300::", "lan0"), 0);
    EXPECT_EQ(Delegate("2001:db8:8000:206::/64"), 0);
    EXPECT_EQ(LanAddresses(), "lan1 2001:db8:8000:206::1/64\n");
    EXPECT_THAT(Announced(), HasSubstr("interface lan0"));
    Configure({"lan0", true}, {});  // a WAN from here on, and no business of LANs
    EXPECT_EQ(Delegate("2001:db8:8000:300::/60"), 0);
    EXPECT_EQ(Router6Prefix().Allocate("2001:db8:8000:300::", "lan2"), 0);
    EXPECT_EQ(Delegate("2001:db8:8000:400::/56"), 0);
    EXPECT_EQ(LanAddresses(), "lan1 2001:db8:8000:401::1/64\nlan2 2001:db8:8000:400::1/64\n");

    // A provider that cannot make up its mind: the last ones are still told to be let go.
    for (int i = 10; i < 30; ++i) {
        ASSERT_EQ(Delegate("2001:db8:80" + std::to_string(i) + "::/60"), 0);
    }
    EXPECT_EQ(Count(Announced(), "AdvValidLifetime 0;"), 8U + 8U);
    EXPECT_EQ(Count(Announced(), "prefix 2001:db8:8028:"), 2U);
    EXPECT_EQ(Mark("lan0"), "IPV6ROUTER=yes\n");
}

TEST_F(Router6Lans, KeepWhatBelongsToWhatCannotBeRead) {
    const std::string tunnel = kFolder + "ipv6-wan1";
    Configure(Tunnel("wan1", "2001:db8:1::/48"), {{"lan0", "2001:db8:1::"}});
    Must("ip tuntap add name ppp0 mode tun");
    Must("ip link set ppp0 up");
    Configure(Tunnel("pppoe", "2001:db8:2::/48"), {{"lan1", "2001:db8:2:1::"}});
    ASSERT_EQ(ApplyRouter6Lans(), 0) << testing::PrintToString(log.Messages());
    const std::string seen = Seen();
    ASSERT_THAT(seen, AllOf(HasSubstr("lan0 2001:db8:1::1/64"), HasSubstr("lan1 2001:db8:2:1::1")));
    const std::string whole = ReadFile(tunnel);
    const std::string unaddressed = whole.substr(0, whole.find("[addr]"));
    const std::pair<const char*, std::function<void()>> kFaults[] = {
        {"no folder", [] { std::filesystem::rename(kFolder, "/etc/sysconfig/away"); }},
        {"no list", [] { WriteFile("/etc/sysconfig/networking", "a file"); }},
        {"no address section", [&] { WriteFile(tunnel, unaddressed); }},
        {"noise", [&] { WriteFile(tunnel, "\1\2"); }},
        {"empty WAN", [&] { WriteFile(tunnel, "[conf]\nwan=\n[addr]\n[lan]\n"); }},
        {"dangling link",
         [&] {
             std::filesystem::remove(tunnel);
             std::filesystem::create_symlink("nowhere", tunnel);
         }},
        {"connection down", [] { Must("ip link set ppp0 down"); }},
    };
    for (const auto& [what, fault] : kFaults) {
        fault();
        EXPECT_EQ(ApplyRouter6Lans(), -1) << what;
        EXPECT_EQ(Seen(), seen) << what;
        if (std::filesystem::exists("/etc/sysconfig/away") && what != std::string("no folder")) {
            std::filesystem::remove("/etc/sysconfig/networking");
            std::filesystem::rename("/etc/sysconfig/away", kFolder);
        }
    }
    // Both are unknown now; a third one is served, and what is known again follows.
    Configure(Tunnel("wan2", "2001:db8:3::/48"), {{"lan2", "2001:db8:3::"}});
    EXPECT_EQ(ApplyRouter6Lans(), -1);
    EXPECT_EQ(Count(LanAddresses(), "\n"), 3U);
    Must("ip link set ppp0 up");
    std::filesystem::remove(tunnel);
    EXPECT_EQ(ApplyRouter6Lans(), 0);
    EXPECT_EQ(LanAddresses(), "lan1 2001:db8:2:1::1/64\nlan2 2001:db8:3::1/64\n");
    WriteFile(kFolder + "ipv6-wan1.tmp.a1B2c3", "[conf]\n");
    EXPECT_EQ(ApplyRouter6Lans(), 0) << "what a power cut has left is no router";
}

TEST_F(Router6Lans, TakeNothingThatIsNoPrefixOrAnothersAlready) {
    Must("ip address add 2001:db8:f::9/64 dev lan2");
    Configure({"wan0", true}, {{"lan0", "2001:db8:8000:100::"}});
    ASSERT_EQ(Delegate("2001:db8:8000:100::5/60"), 0);
    const std::string seen = Seen();
    const std::string addresses = "lan0 2001:db8:8000:100::1/64\nlan2 2001:db8:f::9/64\n";
    ASSERT_THAT(seen, HasSubstr(addresses + "2001:db8:8000:100::/60 "));
    for (const char* told : {"::/1", "fe80::/10", "2002::/16", "ff00::/16", "2000::/15", "::/64",
                             "2001:db8::/65", "2001:db8::", "2001:db8::/64 }; interface evil {"}) {
        EXPECT_EQ(Delegate(told), 0) << told;
        EXPECT_EQ(Seen(), seen) << told;
    }
    std::filesystem::remove("/run/vexo/router6/wan0.delegated");
    Must("mkfifo /run/vexo/router6/wan0.delegated");
    EXPECT_EQ(ApplyRouter6Lans(), 0) << "and it does not wait for a word";
    EXPECT_EQ(Seen(), seen);
    WriteFile("/run/vexo/router6/wan1.delegated", "2001:db8:8000:200::/60 forever forever\n");
    // Written by hand: one /64 in two files and two texts.
    Configure(Tunnel("wan1", "2001:db8:8000:100::/56"), {{"lan1", "2001:db8:8000:100::7"}});
    Configure(Tunnel("wan2", "::/1"), {{"lan2", "::"}});
    EXPECT_EQ(ApplyRouter6Lans(), 0);
    EXPECT_EQ(LanAddresses(), addresses);
    EXPECT_EQ(Unreachable(), "2001:db8:8000:100::/60 2001:db8:8000:100::/56 ");
    EXPECT_THAT(log.Messages(), testing::Contains(HasSubstr("[lan1] does not get")));
}

/// At each step of a change from one prefix to the next, and of taking the last LAN away.
TEST_F(Router6Lans, RememberWhatAPowerCutInterrupts) {
    const auto changeAndGo = [](bool isLast) {
        if (isLast) {
            Router6Prefix().Deallocate("2001:db8:8000:205::", "lan0");
        }
        Delegate(isLast ? "none" : "2001:db8:8000:205::/64");
    };
    int step = 0;
    for (bool isCut = true; isCut;) {
        ++step;
        Configure({"wan0", true},
                  {{"lan0", "2001:db8:8000:100::"}, {"lan1", "2001:db8:8000:101::"}});
        ASSERT_EQ(Delegate("2001:db8:8000:100::/60"), 0);
        isCut = KilledAt(step, [&] {
            changeAndGo(false);
            changeAndGo(true);
        });
        std::filesystem::remove_all("/run/vexo");
        ASSERT_EQ(Delegate("none"), 0);
        EXPECT_EQ(Mark("lan0") + Mark("lan1"), "IPV6ROUTER=no\nIPV6ROUTER=no\n") << step;
        ASSERT_EQ(Delegate("2001:db8:8000:300::/60"), 0);
        EXPECT_THAT(LanAddresses(), HasSubstr("lan1 2001:db8:8000:301::1/64\n")) << step;
        EXPECT_THAT(LanAddresses(), Not(HasSubstr("lan0 2001:db8:8000:301::"))) << step;
    }
    EXPECT_GT(step, 10);
}

}  // namespace
}  // namespace vexotest
