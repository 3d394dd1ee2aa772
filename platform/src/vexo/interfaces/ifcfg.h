#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vexo/interfaces/link.h"

namespace vexoplatform {

/// The keys of a file with their values as people mean them; a key without a value is not there.
using ConfigValues = std::map<std::string, std::string, std::less<>>;

/// @return null when there is no such key
const std::string* FindValue(const ConfigValues& values, std::string_view key);

/// The path of an interface's file.
std::string ConfigPath(const std::string& ifname);

/// @return nothing with errno, as ReadInterfaceConfig
std::optional<ConfigValues> ReadConfigValues(const std::string& ifname);

/// What /etc/sysconfig/network-scripts/ifcfg-NAME says of an interface.
struct InterfaceConfig {
    bool slave = false;  ///< SLAVE=yes: part of a bond, without addresses of its own
    bool dhcp = false;   ///< BOOTPROTO=dhcp, and no slave
    std::optional<LinkAddress> address;  ///< IPADDR with PREFIX or NETMASK
    bool addressIsBad = false;           ///< one is named, but cannot be understood
    std::optional<int> mtu;
    std::vector<std::string> complaints;  ///< what is left out and why, for the log
};

/// Values are taken as people write them: blanks around them, one pair of quotes and a comment
/// behind a blank do not count, nor does the case of words. Of a key's several lines the last
/// wins; PREFIX comes before NETMASK; keys of other programs are passed over.
InterfaceConfig ParseInterfaceConfig(std::string_view text);

/// @return nothing with errno when there is no such file (ENOENT), also for a name that no
///         interface can have, or when it cannot be read
std::optional<InterfaceConfig> ReadInterfaceConfig(const std::string& ifname);

}  // namespace vexoplatform
