#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/appliance.h"

namespace vexotest {

template <typename Source>
testing::AssertionResult Comes(const std::string& text, Source source) {
    return testing::AssertionResult(
               Eventually([&] { return source().find(text) != std::string::npos; }))
           << source();
}
template <typename Source>
testing::AssertionResult Goes(const std::string& text, Source source) {
    return testing::AssertionResult(
               Eventually([&] { return source().find(text) == std::string::npos; }))
           << source();
}

/// A provider's DHCP server at the far end of wan0.
class DhcpServer {
  public:
    /// In the place of the former one, of whose leases it knows nothing.
    void Start(const std::string& family, const std::string& configuration) {
        Stop();
        WriteFile("/etc/dhcpd.conf", "authoritative; " + configuration);
        WriteFile("/etc/leases", "");
        WriteFile("/etc/dhcpd.log", "");
        process = Process(Words("ip netns exec isp-wan0 dhcpd " + family
                                + " -d -cf /etc/dhcpd.conf -lf /etc/leases -pf /etc/dhcpd.pid far"),
                          "/etc/dhcpd.log");
        ASSERT_TRUE(Comes("Server starting service", Log));
    }

    /// Leases last nine seconds and are renewed after two.
    void Start6(const std::string& options, const std::string& range) {
        Start("-6",
              "default-lease-time 9; preferred-lifetime 6; option dhcp-renewal-time 2;"
              "option dhcp-rebinding-time 5;"
                  + options + "subnet6 2001:db8::/64 { " + range + "; }");
    }

    void Stop() { process = Process(); }
    static std::string Log() { return ReadFile("/etc/dhcpd.log"); }

  private:
    Process process;
};

}  // namespace vexotest
