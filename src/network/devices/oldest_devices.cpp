#include "network/devices/oldest_devices.h"

#include <algorithm>
#include <utility>

#include <vexonetwork/network/clientlist.h>

#include "network/devices/clientlist_index.h"

namespace vexonetwork::network {

namespace {

std::string TextIn(const Json::Value& entry, const char* name) {
    const Json::Value* member = FindMember(entry, name);
    return member == nullptr ? "" : TextOf(*member).value_or("");
}

bool IsLabelled(const Json::Value& entry) {
    return !TextIn(entry, "userdef_displayName").empty()
           || !TextIn(entry, "userdef_deviceType").empty();
}

}  // namespace

std::vector<std::string> OldestDevices(const Json::Value& entries, std::size_t count,
                                       const std::unordered_set<std::string>& kept,
                                       std::time_t now) {
    std::vector<std::pair<std::time_t, std::string>> devices;
    for (const Json::Value& entry : entries) {
        std::string mac = TextIn(entry, "macAddr");
        if (!mac.empty() && !IsLabelled(entry) && !kept.contains(mac)) {
            const auto time = ClientList::ParseLocalTime(TextIn(entry, "asso_time"), now);
            devices.emplace_back(time.value_or(0), std::move(mac));
        }
    }
    std::ranges::stable_sort(devices, {}, [](const auto& device) { return device.first; });
    devices.resize(std::min(count, devices.size()));
    std::vector<std::string> macs;
    for (auto& [time, mac] : devices) {
        macs.push_back(std::move(mac));
    }
    return macs;
}

}  // namespace vexonetwork::network
