// What a DHCP server says reaches the scripts of the clients by their environment. Whatever it is,
// nothing of it is run, and what is no address, prefix or number goes no further.

#include <gmock/gmock.h>

#include <ctime>
#include <filesystem>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kOwned[] = "/tmp/owned";
const std::string kCommand = "$(touch /tmp/owned)";
const std::string kHandedOn = "/var/lib/vexonet/dhclient4-wan0.handed-on";
const std::string kDelegated = "/run/vexo/router6/wan0.delegated";

class DhcpScript : public Test {
  protected:
    DhcpScript() {
        Must("ip address flush dev wan0 scope global");
        Must("mkdir -p /var/lib/vexonet /run/vexo/router6 /tmp/state");
        appliance.StartDaemon();
    }
    ~DhcpScript() override { EXPECT_FALSE(std::filesystem::exists(kOwned)); }

    /// Calls a script with its usual values, but for these.
    static Outcome Call(const std::string& script, Environment values) {
        const std::string soon = std::to_string(std::time(nullptr) + 600);
        values.merge(Environment{{"interface", "wan0"},
                                 {"reason", "BOUND"},
                                 {"new_ip_address", "192.0.2.100"},
                                 {"new_subnet_mask", "255.255.255.0"},
                                 {"new_expiry", soon},
                                 {"new_routers", "192.0.2.1"},
                                 {"new_domain_name_servers", "192.0.2.53"},
                                 {"new_life_starts", "1800000000"},
                                 {"new_max_life", "4294967295"},
                                 {"new_preferred_life", "600"},
                                 {"state", "/tmp/state"},
                                 {"PATH", std::filesystem::path(CtlProgram()).parent_path().string()
                                              + ":/usr/sbin:/usr/bin:/sbin:/bin"}});
        return vexotest::Run({VEXO_SOURCE_DIR "/appliance/dhcp/" + script}, values);
    }
    static Outcome Call4(const Environment& values) { return Call("dhclient4-script", values); }
    static Outcome Call6(Environment values) {
        values.emplace("reason", "BOUND6");
        return Call("dhclient6-script", values);
    }
    static std::string Addresses() {
        return Must("ip -o address show dev wan0 scope global -tentative");
    }
    static std::string Stored(const std::string& family, const std::string& member) {
        return Parsed(Ctl("gateway show wan0 --json " + family).out)[member].asString();
    }

    Uplink wan0 = MakeUplink(0);
    Appliance appliance;
};

TEST_F(DhcpScript, OfIpv4TakesAddressesAndNumbersOnly) {
    for (const auto& [name, value] :
         {std::pair<std::string, std::string>{"new_ip_address", "192.0.2.100/0"},
          {"new_ip_address", "999.0.2.100"},
          {"new_ip_address", "192.0.2.100\n-batch"},
          {"new_ip_address", kCommand},
          {"new_subnet_mask", "128.0.0.0"},
          {"new_subnet_mask", "255.0.255.0"},
          {"new_subnet_mask", "255.255.08.0"},
          {"new_subnet_mask", "255.256.0.0"},
          {"new_subnet_mask", "255." + kCommand},
          {"new_expiry", "a[" + kCommand + "]"},
          {"new_expiry", "09"},
          {"new_expiry", std::string(40, '9')},
          {"new_expiry", ""}}) {
        const Outcome outcome = Call4({{name, value}});
        EXPECT_EQ(outcome.status, 1) << name << " " << value;
        EXPECT_THAT(outcome.err, HasSubstr("refused: address ")) << name << " " << value;
    }
    EXPECT_EQ(Addresses(), "");

    for (const std::string& value :
         {kCommand, std::string("192.0.2.1;touch /tmp/owned"), std::string("192.0.2.1\n192.0.2.2"),
          std::string("--help"), std::string("* *"), std::string("0.0.0.0"),
          std::string("127.0.0.1"), std::string("255.255.255.255"), std::string("1.2.3.4.5"),
          std::string("192.0.2.100"), std::string("192.0.2.0"), std::string("192.0.2.255"),
          std::string("192.0.2.08"), std::string(60'000, '1')}) {
        EXPECT_EQ(Call4({{"new_routers", value}, {"new_interface_mtu", value}}).status, 0);
        EXPECT_EQ(ReadFile(kHandedOn), "gateway none\ndns 192.0.2.53\n") << value;
        EXPECT_EQ(Stored("-4", "gateway"), "") << value;
    }
    for (const char* mtu : {"68", "1279", "99999", "09999", "1400\n1400", "-1"}) {
        EXPECT_EQ(Call4({{"new_interface_mtu", mtu}, {"old_ip_address", "0.0.0.0/0"}}).status, 0);
        EXPECT_THAT(Must("ip link show wan0"), HasSubstr("mtu 1500")) << mtu;
    }
    EXPECT_EQ(ReadFile(kHandedOn), "gateway 192.0.2.1\ndns 192.0.2.53\n");
    EXPECT_EQ(Call4({{"new_routers", "* 192.0.2.255 192.0.2.1 192.0.2.2"},
                     {"new_domain_name_servers", "127.0.0.53 192.0.2.54"}})
                  .status,
              0);
    EXPECT_EQ(ReadFile(kHandedOn), "gateway 192.0.2.1\ndns 192.0.2.54\n") << "the first good";

    // The same address with another netmask takes the place of the former; in a subnet of two both
    // are hosts.
    for (const auto& [mask, router, length] : {std::tuple{"255.255.255.128", "192.0.2.1", "/25"},
                                               {"255.255.254.0", "192.0.2.255", "/23"},
                                               {"255.255.255.254", "192.0.2.101", "/31"}}) {
        EXPECT_EQ(Call4({{"new_subnet_mask", mask}, {"new_routers", router}}).status, 0);
        EXPECT_EQ(Count(Addresses(), "inet"), 1U) << Addresses();
        EXPECT_THAT(Addresses(), HasSubstr(std::string("192.0.2.100") + length));
        EXPECT_THAT(ReadFile(kHandedOn), HasSubstr(std::string("gateway ") + router + "\n"));
    }

    // One without end is the client's too, and goes with the lease.
    const auto never = std::to_string(std::time(nullptr) + 5'000'000'000);
    EXPECT_EQ(Call4({{"new_expiry", never}}).status, 0);
    EXPECT_THAT(Addresses(), HasSubstr("192.0.2.100/24 brd 192.0.2.255 scope global dynamic"));
    EXPECT_EQ(Call4({{"reason", "EXPIRE"}}).status, 0);
    EXPECT_EQ(Addresses() + ReadFile(kHandedOn), "");
}

TEST_F(DhcpScript, OfIpv6TakesAddressesPrefixesAndNumbersOnly) {
    for (const auto& [name, value] :
         {std::pair<std::string, std::string>{"new_ip6_address", "2001:db8::9/0"},
          {"new_ip6_address", "fe80::9"},
          {"new_ip6_address", "ff02::9"},
          {"new_ip6_address", "12345::9"},
          {"new_ip6_address", "2001:db8::9\n::"},
          {"new_ip6_address", kCommand},
          {"new_max_life", "a[" + kCommand + "]"},
          {"new_max_life", "0900"},
          {"new_max_life", "599"},
          {"new_life_starts", "x[" + kCommand + "]"},
          {"new_preferred_life", std::string(40, '9')}}) {
        Environment values{{name, value}, {"kind", "na"}};
        values.emplace("new_ip6_address", "2001:db8::9");
        EXPECT_EQ(Call6(values).status, 3) << name << " " << value;
    }
    EXPECT_EQ(Addresses(), "");

    for (const std::string& value :
         {kCommand, std::string("fe80::53"), std::string("2001:db8::53%wan0"),
          std::string("2001:db8::53\nnameserver 192.0.2.66"), std::string("--help")}) {
        EXPECT_EQ(Call6({{"new_dhcp6_name_servers", value}, {"kind", "info"}}).status, 0);
        EXPECT_EQ(Stored("-6", "dns") + ReadFile("/tmp/state/dns"), "") << value;
    }
    EXPECT_EQ(Call6({{"new_dhcp6_name_servers", "::1 2001:db8::53"}, {"kind", "info"}}).status, 0);
    EXPECT_EQ(Stored("-6", "dns"), "2001:db8::53");

    for (const auto& [name, value] :
         {std::pair<std::string, std::string>{"new_ip6_prefix", kCommand + "/56"},
          {"new_ip6_prefix", "2001:db8::/0"},
          {"new_ip6_prefix", "2001:db8::/65"},
          {"new_ip6_prefix", "fe80::/56"},
          {"new_ip6_prefix", "2001:db8::/56\nnone"},
          {"new_ip6_prefix", "/56"},
          {"new_ip6_prefix", "2001:db8::/56/56"},
          {"new_ip6_prefix", "none"},
          {"new_life_starts", "x[" + kCommand + "]"},
          {"new_max_life", "599"},
          {"new_max_life", kCommand},
          {"new_preferred_life", "-1"}}) {
        Environment values{{name, value}, {"kind", "pd"}};
        values.emplace("new_ip6_prefix", "2001:db8::/56");
        EXPECT_EQ(Call6(values).status, 0);
        EXPECT_EQ(ReadFile(kDelegated), "") << name << " " << value;
    }
}

/// Of each prefix until when it is preferred and valid, by the clock that nobody sets.
TEST_F(DhcpScript, KeepsEachPrefixWithItsLifetimes) {
    const auto call = [](const std::string& prefix, Environment values) {
        values.merge(Environment{{prefix[0] == '-' ? "old_ip6_prefix" : "new_ip6_prefix",
                                  prefix.substr(prefix[0] == '-' ? 1 : 0)},
                                 {"new_life_starts", std::to_string(std::time(nullptr))},
                                 {"kind", "pd"}});
        EXPECT_EQ(Call6(values).status, 0);
        // Times are told in hundreds of seconds from now.
        std::string told;
        for (const std::string& word : Words(ReadFile(kDelegated))) {
            const long end = std::atol(word.c_str()) - std::atol(ReadFile("/proc/uptime").c_str());
            const bool isTime = word.find_first_not_of("0123456789") == word.npos;
            told += (told.empty() ? "" : " ") + (isTime ? std::to_string((end + 50) / 100) : word);
        }
        return told;
    };
    const std::string a = "2001:db8:a::/56";
    const std::string b = "2001:db8:b::/60";
    EXPECT_EQ(call(a, {}), a + " 6 forever dns");
    const std::string dns = "2001:db8::53 * 192.0.2.1 $(touch /tmp/owned) ::1 2001:db8::54";
    EXPECT_EQ(
        call(b, {{"reason", "RENEW6"}, {"new_max_life", "700"}, {"new_dhcp6_name_servers", dns}}),
        b + " 6 7 " + a + " 6 forever dns 2001:db8::53 2001:db8::54");
    EXPECT_EQ(call(a, {{"reason", "REBIND6"}, {"new_preferred_life", "0"}}),
              a + " 0 forever " + b + " 6 7 dns");
    // A clock that was set makes a lifetime no longer.
    EXPECT_EQ(
        call(a, {{"reason", "RENEW6"}, {"new_life_starts", "4000000000"}, {"new_max_life", "900"}}),
        a + " 6 9 " + b + " 6 7 dns");
    EXPECT_EQ(call("-" + a, {{"reason", "EXPIRE6"}}), b + " 6 7 dns");
    // Two of one new binding, of which the former has no part.
    const std::string starts = std::to_string(std::time(nullptr) - 100);
    const std::string c = "2001:db8:c::/60";
    EXPECT_EQ(call(a, {{"new_life_starts", starts}}), a + " 5 forever dns");
    EXPECT_EQ(call(c, {{"new_life_starts", starts}}), c + " 5 forever " + a + " 5 forever dns");
    EXPECT_EQ(call(a, {{"reason", "RENEW6"}, {"new_preferred_life", "0"}, {"new_max_life", "0"}}),
              c + " 5 forever dns");
    EXPECT_EQ(call("-", {{"reason", "STOP6"}}), "none");
    for (int i = 0; i < 10; ++i) {
        call("2001:db8:" + std::to_string(i) + "::/56", {{"reason", "RENEW6"}});
    }
    EXPECT_THAT(Words(ReadFile(kDelegated)), SizeIs(8 * 3 + 1));
}

}  // namespace
}  // namespace vexotest
