#include "vexonetwork/network/arpscanner.h"

#include <algorithm>
#include <sstream>

#include <vexobase/file_text.h>
#include <vexobase/log.h>
#include <vlib/net.h>

#include "network/devices/device_texts.h"
#include "network/devices/neighbours/netbios_names.h"

namespace vexonetwork::network {

namespace {

constexpr char kArpTable[] = "/proc/net/arp";

/// Others wait while a list is made, and most devices do not answer.
constexpr auto kNamesInList = std::chrono::seconds(1);
constexpr auto kNameAlone = std::chrono::seconds(5);

constexpr char kLeases[] = "/etc/dhcpd/dhcpd.conf.leases";

// Network roles of the appliance.
constexpr int kScanning = 2;
constexpr int kServingDhcp = 3;

void AskLeases(NamesByMac& names) {
    const auto leases = vexobase::ReadFileText(kLeases);
    if (!leases) {
        VEXO_LOG(LOG_ERR, "Failed to open dhcp leases file");
        return;
    }
    ReadLeases(leases->View(), names);
}

}  // namespace

ArpScanner::ArpScanner() : netbiosNames(std::make_unique<NetbiosNames>()) {}

ArpScanner::~ArpScanner() = default;

ArpScanner* ArpScanner::Inst() {
    static ArpScanner* const scanner = new ArpScanner;
    return scanner;
}

void ArpScanner::Stop() {
    netbiosNames->Stop();
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
    // As a whole, before the first device of it is listed: a read may fail in the middle.
    const auto table = vexobase::ReadFileText(kArpTable);
    if (!table) {
        VEXO_LOG(LOG_ERR, "failed to open file (%s)", kArpTable);
        return -1;
    }
    std::vector<ArpDevice> devices;
    std::istringstream lines{std::string(table->View())};
    for (std::string line; std::getline(lines, line);) {
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
    const std::string found = netbiosNames->Find({ip}, kNameAlone).front();
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
    std::vector<std::string> names;
    std::vector<std::string> nameless;
    for (const ArpDevice& device : devices) {
        if (names.emplace_back(leased[device.mac]).empty()) {
            nameless.push_back(device.address);
        }
    }
    const std::vector<std::string> told = netbiosNames->Find(nameless, kNamesInList);
    auto next = told.begin();
    for (std::string& name : names) {
        if (name.empty()) {
            name = *next++;
        }
    }
    return names;
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
