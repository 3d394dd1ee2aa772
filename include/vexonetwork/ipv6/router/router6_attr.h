#pragma once

#include <json/json.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <vlib/szhash.h>

namespace vexo::network::ipv6::router {

class Router6File;

/// One set-up of the appliance as an IPv6 router, and its file
/// /etc/sysconfig/networking/ipv6-WAN. Who loads, changes and saves it holds a Router6Lock.
class Router6Attr {
  public:
    using LanList = std::vector<std::pair<std::string, std::string>>;  ///< interface, prefix

    /// Type "off".
    Router6Attr() = default;

    /// Type "native".
    Router6Attr(const std::string& wan, bool is_default_gateway);

    Router6Attr(const std::string& type, const std::string& wan, const std::string& prefix,
                const std::string& local_addr_v4, const std::string& remote_addr_v4,
                const std::string& local_addr_v6, bool is_default_gateway);

    /// Compares everything but the LANs, texts byte by byte.
    bool operator==(const Router6Attr& other) const;

    /// {"type", "is_default_gateway", "config": {…}} without empty texts and the LANs. Member
    /// "remote_addr_v4" of "config" falls back to the local address; there is no "local_addr_v4".
    Json::Value ToJson() const;

    /// Appends a pair, unless one of the two is empty.
    void AddLan(const std::string& lan, const std::string& prefix);

    /// Removes the first pair of exactly these texts, unless one of the two is empty.
    void RemoveLan(const std::string& lan, const std::string& prefix);

    /// The interface that a configured name means: itself, and for "pppoe" that of the present
    /// PPPoE connection, "" without one.
    static std::string ConvertInterface(const std::string& name);

    /// The path of the file; "", with a log line, when the WAN's name is none that the kernel
    /// could have, for it might lead elsewhere. No WAN at all ends the path after "ipv6-".
    std::string GetConfigName() const;

    /// Replaces the file at once. A value that would not be read back unchanged is refused.
    /// @return 0, or -1 with the former file untouched
    int SaveConfig() const;

    /// Reads the file of the WAN: keys that it has replace the fields, its LANs are appended.
    /// `is_default_gateway` is then what the daemon's list of IPv6 gateways says; of an interface
    /// that is not listed, or without a daemon, it is true once the file has the key.
    /// @return 0, also when keys are missing; -1 when the file, or one of its sections, is
    int LoadConfig();

    /// Deletes the file.
    /// @return 0 or -1
    int RemoveConfig() const;

    /// Puts fields into a table, one section's each.
    /// @return how many keys could not be set
    int GenConfSection(PVLIBSZHASH* section) const;
    int GenAddrSection(PVLIBSZHASH* section) const;
    int GenPrefSection(PVLIBSZHASH* section) const;

    /// Take fields from a table.
    /// @return how many keys are missing; GetPrefSection 0, or -1 without a table
    int GetConfSection(PVLIBSZHASH section);
    int GetAddrSection(PVLIBSZHASH section);
    int GetPrefSection(PVLIBSZHASH section);

    std::string type = "off";    ///< "off", "native", "6in4" or "6to4"
    std::string wan;             ///< interface as configured; may be "pppoe"
    std::string prefix;          ///< routed to the appliance, ADDRESS/LENGTH
    std::string local_addr_v4;   ///< near end of a tunnel
    std::string remote_addr_v4;  ///< far end of a tunnel: broker or relay
    std::string local_addr_v6;   ///< address of the near end, ADDRESS/LENGTH
    LanList lans;                ///< which LAN got which part of the prefix
    bool is_default_gateway = false;
    bool is_open = false;  ///< whoever is outside may begin connections to hosts of the LANs

  private:
    friend class Router6Prefix;

    using PriorityOf = std::function<int(const std::string& ifname)>;

    /// What LoadConfig does: takes the fields from a file that was read, then the flag from the
    /// list of gateways, as `priorityOf` tells it.
    int Take(const Router6File& file, const std::string& path, const PriorityOf& priorityOf);
};

}  // namespace vexo::network::ipv6::router
