#include "vexo/interfaces/ifcfg.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <strings.h>

#include <cerrno>

#include <vexobase/key_value_text.h>

#include "vlib/file_text.h"
#include "vlib/ipv4.h"

namespace vexoplatform {

namespace {

constexpr char kFilePrefix[] = "/etc/sysconfig/network-scripts/ifcfg-";

// RFC 791: every link carries 68 bytes; the length field ends at 65535.
constexpr int kLeastMtu = 68;
constexpr int kMaxMtu = 65535;

using Values = ConfigValues;

/// The value as the shell that reads such files elsewhere would see it.
std::string ShellValue(std::string_view value) {
    for (const char* comment : {" #", "\t#"}) {
        value = value.substr(0, value.find(comment));
    }
    return std::string(vexobase::Unquote(value));
}

/// A key without a value says as little as one that is not there.
Values ReadValues(std::string_view text) {
    Values values;
    std::string_view line;
    while (vexobase::CutLine(text, line)) {
        const vexobase::Line parsed = vexobase::ParseLine(vexobase::LineText(line));
        if (parsed.kind == vexobase::LineKind::kPair) {
            values.insert_or_assign(std::string(parsed.name), ShellValue(parsed.value));
        }
    }
    std::erase_if(values, [](const auto& pair) { return pair.second.empty(); });
    return values;
}

bool IsWord(const std::string* value, const char* word) {
    return value != nullptr && ::strcasecmp(value->c_str(), word) == 0;
}

std::optional<vexobase::FileText> ReadConfigFile(const std::string& ifname) {
    if (ifname.empty() || ifname.size() >= IFNAMSIZ || ifname.find('/') != ifname.npos) {
        errno = ENOENT;
        return std::nullopt;
    }
    return vlib::ReadFileText(ConfigPath(ifname).c_str());
}

bool IsHostAddress(in_addr address) {
    const auto number = ntohl(address.s_addr);
    return number != INADDR_ANY && !IN_MULTICAST(number) && !IN_BADCLASS(number);
}

std::string Complaint(std::string_view key, const std::string& value, const char* what) {
    return std::string(key) + "=" + value + " is left out: " + what;
}

std::optional<int> ReadPrefix(const Values& values, InterfaceConfig& config) {
    const std::string* prefix = FindValue(values, "PREFIX");
    const std::string* chosen = prefix != nullptr ? prefix : FindValue(values, "NETMASK");
    if (chosen == nullptr) {
        config.complaints.emplace_back("IPADDR is left out: neither PREFIX nor NETMASK is given");
        return std::nullopt;
    }
    const auto length = vlib::ParsePrefix(*chosen);
    if (!length || *length == 0) {
        config.complaints.push_back(Complaint(prefix != nullptr ? "PREFIX" : "NETMASK", *chosen,
                                              "it is no prefix length and no netmask"));
        return std::nullopt;
    }
    return length;
}

void ReadAddress(const Values& values, InterfaceConfig& config) {
    const std::string* text = FindValue(values, "IPADDR");
    if (text == nullptr) {
        return;
    }
    const auto address = vlib::ParseIpv4(*text);
    if (!address || !IsHostAddress(*address)) {
        config.complaints.push_back(
            Complaint("IPADDR", *text, "it is no IPv4 address of an interface"));
        config.addressIsBad = true;
    } else if (const auto prefix = ReadPrefix(values, config)) {
        config.address = LinkAddress{*address, *prefix};
    } else {
        config.addressIsBad = true;
    }
}

void ReadMtu(const Values& values, InterfaceConfig& config) {
    const std::string* text = FindValue(values, "MTU");
    if (text == nullptr) {
        return;
    }
    config.mtu = vlib::ParseDecimal(*text, kMaxMtu);
    if (!config.mtu || *config.mtu < kLeastMtu) {
        config.mtu.reset();
        config.complaints.push_back(Complaint("MTU", *text, "it is no number from 68 to 65535"));
    }
}

}  // namespace

InterfaceConfig ParseInterfaceConfig(std::string_view text) {
    const Values values = ReadValues(text);
    InterfaceConfig config;
    ReadMtu(values, config);
    const std::string* protocol = FindValue(values, "BOOTPROTO");
    const std::string* slave = FindValue(values, "SLAVE");
    config.slave = slave != nullptr && ::strncasecmp(slave->c_str(), "yes", 3) == 0;
    config.dhcp = IsWord(protocol, "dhcp") && !config.slave;
    if (config.slave && (IsWord(protocol, "dhcp") || FindValue(values, "IPADDR") != nullptr)) {
        config.complaints.emplace_back("BOOTPROTO and IPADDR are left out: SLAVE=yes");
    }
    if (protocol != nullptr && !IsWord(protocol, "dhcp") && !IsWord(protocol, "static")
        && !IsWord(protocol, "none")) {
        config.complaints.push_back(
            Complaint("BOOTPROTO", *protocol, "it is none of dhcp, static and none"));
    }
    if (!config.slave && !config.dhcp) {
        ReadAddress(values, config);
    }
    return config;
}

const std::string* FindValue(const ConfigValues& values, std::string_view key) {
    const auto place = values.find(key);
    return place == values.end() ? nullptr : &place->second;
}

std::string ConfigPath(const std::string& ifname) {
    return kFilePrefix + ifname;
}

std::optional<ConfigValues> ReadConfigValues(const std::string& ifname) {
    const auto file = ReadConfigFile(ifname);
    return file ? std::optional(ReadValues(file->View())) : std::nullopt;
}

std::optional<InterfaceConfig> ReadInterfaceConfig(const std::string& ifname) {
    const auto file = ReadConfigFile(ifname);
    return file ? std::optional(ParseInterfaceConfig(file->View())) : std::nullopt;
}

}  // namespace vexoplatform
