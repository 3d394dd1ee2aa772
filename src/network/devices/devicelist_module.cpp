#include <array>
#include <ctime>
#include <unordered_set>
#include <utility>
#include <vector>

#include <vexobase/log.h>
#include <vexobase/log_text.h>
#include <vexonetwork/network/arpscanner.h>
#include <vexonetwork/network/keloscanner.h>
#include <vexonetwork/network/module/devicelist_module.h>
#include <vexonetwork/network/upnpscanner.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/file.h>

#include "network/devices/clientlist_index.h"
#include "network/devices/oldest_devices.h"

namespace vexonetwork::network::module {

using vexobase::LogText;

namespace {

constexpr char kPath[] = "/tmp/connectionlist_upnpscanner.json";
constexpr char kEntries[] = "ClientList";

/// Devices stay, and a stranger can be a new one all the time: what is kept must have an end.
constexpr unsigned int kMaxDevices = 20'000;

/// The text of a member that a request must have; nothing after a log line.
std::optional<std::string> Required(const Json::Value& in, const char* member) {
    auto text = utils::GetString(in, member);
    if (!text) {
        VEXO_LOG(LOG_ERR, "indata has no member (%s) or wrong format", member);
    }
    return text;
}

const Json::Value* FindEntries(const Json::Value& list) {
    const Json::Value* entries = FindMember(list, kEntries);
    return entries != nullptr && entries->isArray() ? entries : nullptr;
}

/// An address of a reported device; "" when there is none.
std::string AddressIn(const Json::Value& device, const char* member) {
    const Json::Value* address = FindMember(device, member);
    return address == nullptr ? "" : TextOf(*address).value_or("");
}

template <typename Scanner>
int StartScanner(Scanner*& scanner) {
    if (scanner == nullptr) {
        scanner = Scanner::Inst();
    }
    return scanner->Start();
}

template <typename Scanner>
void StopScanner(Scanner* scanner) {
    if (scanner != nullptr) {
        scanner->Stop();
    }
}

template <typename Scanner>
int GetScannerData(Scanner* scanner, const char* name, Json::Value& out) {
    if (scanner == nullptr) {
        VEXO_LOG(LOG_ERR, "no %s scanner when getting data", name);
        return -1;
    }
    out = scanner->GetData();
    return 0;
}

}  // namespace

DeviceListModule::DeviceListModule()
    : BaseModule(MODULE_DEVICE_LIST), clientList(std::make_unique<ClientList>()) {}

BaseModule* DeviceListModule::Create() {
    return new DeviceListModule;
}

int DeviceListModule::ProcessRequest(const Json::Value& in, Json::Value& out) {
    const std::lock_guard guard(serving);
    const int result = Serve(in, out);
    RenewLostList();
    return result;
}

/// The next request would wait for ever for the lock of a list that was lost.
void DeviceListModule::RenewLostList() {
    if (clientList->IsLockLost()) {
        auto next = std::make_unique<ClientList>();
        next->Exchange(*clientList);
        clientList = std::move(next);
    }
}

int DeviceListModule::Serve(const Json::Value& in, Json::Value& out) {
    const auto method = Required(in, "method");
    if (!method) {
        return -1;
    }
    int result = -1;
    if (*method == "get") {
        if ((result = GetDataByScannerType(in, out)) != 0) {
            VEXO_LOG(LOG_ERR, "failed to get data by scannertype");
        }
    } else if (*method == "set") {
        if ((result = SetData(in)) != 0) {
            VEXO_LOG(LOG_ERR, "failed to set data");
        }
    } else if (*method == "del") {
        if ((result = DeleteData(in)) != 0) {
            VEXO_LOG(LOG_ERR, "failed to del data");
        }
    } else {
        VEXO_LOG(LOG_ERR, "unknown type from input (%s)", LogText(*method).c_str());
    }
    return result;
}

int DeviceListModule::InitialModule() {
    InitClientList();
    StartUpnpScanner();
    StartKeloScanner();
    StartArpScanner();
    return 0;
}

int DeviceListModule::TerminateModule() {
    TerminateClientList();
    StopUpnpScanner();
    StopKeloScanner();
    StopArpScanner();
    return 0;
}

int DeviceListModule::StartUpnpScanner() {
    return StartScanner(upnpScanner);
}
int DeviceListModule::StartKeloScanner() {
    return StartScanner(keloScanner);
}
int DeviceListModule::StartArpScanner() {
    return StartScanner(arpScanner);
}

void DeviceListModule::StopUpnpScanner() {
    StopScanner(upnpScanner);
}
void DeviceListModule::StopKeloScanner() {
    StopScanner(keloScanner);
}
void DeviceListModule::StopArpScanner() {
    StopScanner(arpScanner);
}

int DeviceListModule::GetUpnpScannerData(Json::Value& out) {
    return GetScannerData(upnpScanner, "upnp", out);
}
int DeviceListModule::GetKeloScannerData(Json::Value& out) {
    return GetScannerData(keloScanner, "kelo", out);
}
int DeviceListModule::GetArpScannerData(Json::Value& out) {
    return GetScannerData(arpScanner, "arp", out);
}

void DeviceListModule::InitClientList() {
    if (VLIBCFileExist(kPath) != 1) {
        return;
    }
    if (!clientList->LoadClientList(kPath) || FindEntries(clientList->GetClientList()) == nullptr) {
        VEXO_LOG(LOG_ERR, "failed to read (%s) to client list, skip it", kPath);
        clientList->EraseList();
    } else if (const unsigned int erased = clientList->EraseEntriesWithoutMac(); erased != 0) {
        VEXO_LOG(LOG_ERR, "%u entries of (%s) are left out, as they have no MAC", erased, kPath);
    }
}

void DeviceListModule::TerminateClientList() {
    if (!clientList->WriteToFile(kPath)) {
        VEXO_LOG(LOG_ERR, "failed to write (%s) to client list when terminate", kPath);
    }
}

int DeviceListModule::MergeList(const Json::Value& list, const bool& add) {
    const Json::Value* devices = FindEntries(list);
    if (devices == nullptr) {
        VEXO_LOG(LOG_ERR, "wrong format of input list");
        return -1;
    }
    if (add) {
        MakeRoom(*devices);
    }
    bool isComplete = true;
    for (const Json::Value& device : *devices) {
        const bool mayAdd = add && clientList->Size() < kMaxDevices;
        const std::string mac = AddressIn(device, "macAddr");
        const std::string ip = AddressIn(device, "ipAddr");
        bool isMerged = false;
        if (!mac.empty()) {
            isMerged = clientList->UpdateKeysByMac(mac, device, mayAdd);
        } else if (!ip.empty()) {
            isMerged = clientList->UpdateKeysByIP(ip, device, mayAdd);
        } else {
            VEXO_LOG(LOG_ERR, "cannot get ip or mac from list object");
            return -1;
        }
        isComplete = isComplete && (isMerged || mayAdd == add);
    }
    if (!isComplete) {
        VEXO_LOG(LOG_ERR, "The list is full with %u devices, new ones are left out: forget some",
                 kMaxDevices);
    }
    return 0;
}

/// Has those go that were seen longest ago, but none of those that come, nor what the user has
/// named.
void DeviceListModule::MakeRoom(const Json::Value& devices) {
    if (clientList->Size() + devices.size() <= kMaxDevices) {
        return;
    }
    std::unordered_set<std::string> present;
    unsigned int wanted = clientList->Size();
    for (const Json::Value& device : devices) {
        const std::string mac = AddressIn(device, "macAddr");
        unsigned int place = 0;
        if (present.insert(mac).second && !clientList->VerifyMacIsExist(mac, place)) {
            ++wanted;
        }
    }
    if (wanted <= kMaxDevices) {
        return;
    }
    const Json::Value list = clientList->GetClientList();
    unsigned int forgotten = 0;
    for (const std::string& mac :
         OldestDevices(*FindEntries(list), wanted - kMaxDevices, present, std::time(nullptr))) {
        unsigned int place = 0;
        // One that is not found would cost the list its lock.
        forgotten += clientList->VerifyMacIsExist(mac, place) && clientList->EraseObject(mac);
    }
    if (forgotten != 0) {
        VEXO_LOG(LOG_ERR, "The list is full with %u devices: the %u seen longest ago are forgotten",
                 kMaxDevices, forgotten);
    }
}

int DeviceListModule::MergeFrom(Getter getter, const char* scanner, bool add) {
    Json::Value found(Json::objectValue);
    found[kEntries] = Json::Value(Json::arrayValue);
    if ((this->*getter)(found) != 0) {
        VEXO_LOG(LOG_ERR, "cannot get %s data", scanner);
        return -1;
    }
    if (MergeList(found, add) != 0) {
        VEXO_LOG(LOG_ERR, "cannot merge list from %s data", scanner);
        return -1;
    }
    return 0;
}

int DeviceListModule::GetAllScannerData(Json::Value& out) {
    if (MergeFrom(&DeviceListModule::GetArpScannerData, "arp", true) != 0
        || MergeFrom(&DeviceListModule::GetUpnpScannerData, "upnp", false) != 0
        || MergeFrom(&DeviceListModule::GetKeloScannerData, "kelo", false) != 0) {
        return -1;
    }
    if (!clientList->WriteToFile(kPath)) {
        VEXO_LOG(LOG_ERR, "failed to write back to (%s)", kPath);
        return -1;
    }
    out = clientList->GetClientList();
    return 0;
}

int DeviceListModule::GetDataByScannerType(const Json::Value& in, Json::Value& out) {
    struct Source {
        const char* type;
        Getter getter;
        const char* failure;
    };
    // Two share a message: whoever searches logs for it finds both.
    static constexpr std::array kSources = {
        Source{"all", &DeviceListModule::GetAllScannerData, "failed to get all list data"},
        Source{"upnp", &DeviceListModule::GetUpnpScannerData, "failed to get upnp data"},
        Source{"kelo", &DeviceListModule::GetKeloScannerData, "failed to get upnp data"},
    };
    const auto scannerType = Required(in, "scannertype");
    if (!scannerType) {
        return -1;
    }
    for (const Source& source : kSources) {
        if (*scannerType != source.type) {
            continue;
        }
        if ((this->*source.getter)(out) != 0) {
            VEXO_LOG(LOG_ERR, "%s", source.failure);
            return -1;
        }
        return 0;
    }
    VEXO_LOG(LOG_ERR, "unknown type from input (%s)", LogText(*scannerType).c_str());
    return -1;
}

int DeviceListModule::SetData(const Json::Value& in) {
    const auto mac = Required(in, "macAddr");
    const auto name = mac ? Required(in, "userdef_displayName") : std::nullopt;
    const auto deviceType = name ? Required(in, "userdef_deviceType") : std::nullopt;
    if (!deviceType) {
        return -1;
    }
    if (mac->empty() || name->empty() || deviceType->empty()) {
        VEXO_LOG(LOG_ERR, "input string should not be empty");
        return -1;
    }
    if (unsigned int place = 0; !clientList->VerifyMacIsExist(*mac, place)) {
        VEXO_LOG(LOG_ERR, "failed to get object (%s) from list", LogText(*mac).c_str());
        return -1;
    }
    Json::Value keys(Json::objectValue);
    keys["userdef_deviceType"] = *deviceType;
    keys["userdef_displayName"] = *name;
    clientList->UpdateKeysByMac(*mac, keys, false);
    return 0;
}

int DeviceListModule::DeleteData(const Json::Value& in) {
    const auto mac = Required(in, "macAddr");
    if (!mac) {
        return -1;
    }
    if (mac->empty()) {
        VEXO_LOG(LOG_ERR, "input mac should not be empty");
        return -1;
    }
    if (!clientList->EraseObject(*mac)) {
        VEXO_LOG(LOG_ERR, "failed to erase object (%s) from list", LogText(*mac).c_str());
        return -1;
    }
    return 0;
}

}  // namespace vexonetwork::network::module
