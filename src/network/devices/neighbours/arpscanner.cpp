#include "vexonetwork/network/arpscanner.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>

#include <vexobase/log.h>
#include <vlib/net.h>

#include "network/devices/device_texts.h"
#include "network/devices/neighbours/netbios_lookups.h"

namespace vexonetwork::network {

namespace {

constexpr char kArpTable[] = "/proc/net/arp";
constexpr auto kSilence = std::chrono::minutes(1);
constexpr char kLeases[] = "/etc/dhcpd/dhcpd.conf.leases";

// Network roles of the appliance.
constexpr int kScanning = 2;
constexpr int kServingDhcp = 3;

std::optional<std::string> ReadText(const char* path) {
    std::ifstream file(path);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

void AskLeases(NamesByMac& names) {
    const auto leases = ReadText(kLeases);
    if (!leases) {
        VEXO_LOG(LOG_ERR, "Failed to open dhcp leases file");
        return;
    }
    ReadLeases(*leases, names);
}

}  // namespace

ArpScanner* ArpScanner::Inst() {
    static ArpScanner* const scanner = new ArpScanner;
    return scanner;
}

Json::Value ArpScanner::GetData() {
    clientList.EraseList();
    GetArpTable();
    return clientList.GetClientList();
}

int ArpScanner::GetArpTable() {
    topology = VLIBNetTopologyGet(0);
    if (topology < kScanning) {
        return 0;
    }
    std::ifstream table(kArpTable);
    if (!table) {
        VEXO_LOG(LOG_ERR, "failed to open file (%s)", kArpTable);
        return -1;
    }
    std::vector<ArpDevice> devices;
    for (std::string line; std::getline(table, line);) {
        if (auto device = ParseArpLine(line)) {
            devices.push_back(std::move(*device));
        }
    }
    return Append(devices);
}

int ArpScanner::AppendClientList(const std::string& line) {
    const auto device = ParseArpLine(line);
    return device ? Append({*device}) : 0;
}

void ArpScanner::GetDHCPInfoByMAC(const std::string& mac, std::string& name) {
    NamesByMac names{{mac, ""}};
    AskLeases(names);
    if (!names[mac].empty()) {
        name = names[mac];
    }
}

void ArpScanner::GetNmbInfoByIP(const std::string& ip, std::string& name) {
    const std::string found = LookUpNetbiosNames({ip}).front().value_or("");
    if (!found.empty()) {
        name = found;
    }
}

int ArpScanner::Append(const std::vector<ArpDevice>& devices) {
    const std::vector<std::string> names = FindNames(devices);
    int result = 0;
    for (std::size_t i = 0; i < devices.size(); ++i) {
        if (Update(devices[i], names[i]) != 0) {
            result = -1;
        }
    }
    return result;
}

/// The names of all at once: the leases are read once and nobody waits for another's silence.
std::vector<std::string> ArpScanner::FindNames(const std::vector<ArpDevice>& devices) {
    NamesByMac leased;
    if (topology == kServingDhcp && !devices.empty()) {
        for (const ArpDevice& device : devices) {
            leased.try_emplace(device.mac);
        }
        AskLeases(leased);
    }
    std::vector<std::string> names(devices.size());
    std::vector<std::size_t> nameless;
    std::vector<std::string> addresses;
    for (std::size_t i = 0; i < devices.size(); ++i) {
        names[i] = leased[devices[i].mac];
        if (names[i].empty() && !IsSilent(devices[i].address)) {
            nameless.push_back(i);
            addresses.push_back(devices[i].address);
        }
    }
    const auto asked = LookUpNetbiosNames(addresses);
    const auto now = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < nameless.size(); ++i) {
        names[nameless[i]] = asked[i].value_or("");
        if (!asked[i]) {
            silent[addresses[i]] = now + kSilence;
        }
    }
    std::erase_if(silent, [now](const auto& each) { return each.second <= now; });
    return names;
}

/// One that is silent would have everybody wait who asks for the devices, each time.
bool ArpScanner::IsSilent(const std::string& address) const {
    const auto found = silent.find(address);
    return found != silent.end() && std::chrono::steady_clock::now() < found->second;
}

int ArpScanner::Update(const ArpDevice& device, const std::string& name) {
    Json::Value entry(Json::objectValue);
    if (!name.empty()) {
        entry["friendlyName"] = name;
    }
    entry["netif"] = device.ifname;
    entry["ipAddr"] = device.address;
    entry["macAddr"] = device.mac;
    if (!clientList.UpdateKeysByMac(device.mac, entry, true)) {
        VEXO_LOG(LOG_ERR, "failed to update key for arp data");
        return -1;
    }
    return 0;
}

}  // namespace vexonetwork::network
