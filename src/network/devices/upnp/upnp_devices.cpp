#include "network/devices/upnp/upnp_devices.h"

#include <arpa/inet.h>

#include <algorithm>
#include <limits>

#include <vexonetwork/network/clientlist.h>

namespace vexonetwork::network {

namespace {

using Clock = UpnpDevices::Clock;

constexpr std::size_t kMaxDevices = 1024;
constexpr std::ptrdiff_t kMaxAtOneAddress = 16;

/// Between two fetches from a device, longer than one may take; and between any two.
constexpr auto kDeviceInterval = std::chrono::seconds(10);
constexpr auto kInterval = std::chrono::milliseconds(50);

/// Some devices tell the number in announcements only.
bool Differs(const std::optional<std::uint32_t>& number,
             const std::optional<std::uint32_t>& other) {
    return number && other && *number != *other;
}

void SetUnlessEmpty(Json::Value& entry, const char* key, const std::string& value) {
    if (!value.empty()) {
        entry[key] = value;
    }
}

Json::Value EntryOf(const std::string& address, const DeviceDescription& description,
                    const std::string& location) {
    Json::Value entry(Json::objectValue);
    entry["ipAddr"] = address;
    SetUnlessEmpty(entry, "friendlyName", description.friendlyName);
    SetUnlessEmpty(entry, "modelName", description.modelName);
    SetUnlessEmpty(entry, "modelDescription", description.modelDescription);
    SetUnlessEmpty(entry, "manufacturer", description.manufacturer);
    entry["upnp_location"] = location;
    return entry;
}

}  // namespace

bool UpnpDevices::Hear(const SsdpMessage& message, in_addr sender, const std::string& ifname,
                       Clock::time_point now) {
    const Key key(ntohl(sender.s_addr), message.usn);
    if (message.kind == SsdpMessage::Kind::kFarewell) {
        Forget(key, now);
        return true;
    }
    Device* device = FindOrAdd(key);
    if (device == nullptr) {
        return false;
    }
    // An update only tells the number that it will have from now on.
    const bool isUpdate = message.kind == SsdpMessage::Kind::kUpdate;
    const bool isNew = device->stage == Stage::kGone;
    const bool hasChanged = isNew || device->location != message.location
                            || Differs(device->configId, message.configId)
                            || (!isUpdate && Differs(device->bootId, message.bootId));
    device->location = message.location;
    device->ifname = ifname;
    device->bootId = message.bootId ? message.bootId : device->bootId;
    device->configId = message.configId ? message.configId : device->configId;
    if (isNew || !isUpdate) {
        device->expiry = now + message.lifetime;
    }
    if (hasChanged) {
        Want(*device, now);
    }
    return true;
}

/// It stays in the table until it may be fetched again, lest it be new each time it comes back.
void UpnpDevices::Forget(const Key& key, Clock::time_point now) {
    const auto found = devices.find(key);
    if (found != devices.end()) {
        Device& device = found->second;
        device.stage = Stage::kGone;
        device.description.reset();
        device.expiry = std::max(now, device.fetchableFrom);
    }
}

UpnpDevices::Device* UpnpDevices::FindOrAdd(const Key& key) {
    const auto found = devices.find(key);
    if (found != devices.end()) {
        return &found->second;
    }
    const auto first = devices.lower_bound({key.first, ""});
    const auto end = std::find_if(first, devices.end(),
                                  [&](const auto& each) { return each.first.first != key.first; });
    if (std::distance(first, end) >= kMaxAtOneAddress || !MakeRoom()) {
        return nullptr;
    }
    return &devices[key];
}

/// Who cannot be described makes room.
bool UpnpDevices::MakeRoom() {
    if (devices.size() < kMaxDevices) {
        return true;
    }
    const auto failed = std::find_if(devices.begin(), devices.end(), [](const auto& each) {
        return each.second.stage == Stage::kFailed;
    });
    if (failed == devices.end()) {
        return false;
    }
    devices.erase(failed);
    return true;
}

void UpnpDevices::Want(Device& device, Clock::time_point now) {
    if (device.stage != Stage::kWanted) {
        device.stage = Stage::kWanted;
        device.wantedSince = now;
    }
}

/// A fetch that has not ended in time was given up, when the scanner was stopped.
bool UpnpDevices::IsWaiting(const Device& device) {
    return device.stage == Stage::kWanted || device.stage == Stage::kFetching;
}

std::optional<UpnpDevices::Fetch> UpnpDevices::NextFetch(Clock::time_point now) {
    if (now < nextFetch) {
        return std::nullopt;
    }
    auto chosen = devices.end();
    for (auto each = devices.begin(); each != devices.end(); ++each) {
        const Device& device = each->second;
        if (IsWaiting(device) && now >= device.fetchableFrom
            && (chosen == devices.end() || device.wantedSince < chosen->second.wantedSince)) {
            chosen = each;
        }
    }
    if (chosen == devices.end()) {
        return std::nullopt;
    }
    auto& [key, device] = *chosen;
    device.stage = Stage::kFetching;
    device.fetchableFrom = now + kDeviceInterval;
    nextFetch = now + kInterval;
    return Fetch{{htonl(key.first)}, key.second, device.location, device.ifname};
}

Clock::time_point UpnpDevices::NextFetchTime() const {
    auto first = Clock::time_point::max();
    for (const auto& [key, device] : devices) {
        if (IsWaiting(device)) {
            first = std::min(first, std::max(device.fetchableFrom, nextFetch));
        }
    }
    return first;
}

void UpnpDevices::Describe(const Fetch& fetch, std::optional<DeviceDescription> description) {
    const auto found = devices.find({ntohl(fetch.address.s_addr), fetch.usn});
    // It may have changed meanwhile, or be gone.
    if (found != devices.end() && found->second.stage == Stage::kFetching) {
        Device& device = found->second;
        device.stage = description ? Stage::kDescribed : Stage::kFailed;
        device.description = std::move(description);
    }
}

void UpnpDevices::RetryFailed(Clock::time_point now) {
    for (auto& [key, device] : devices) {
        if (device.stage == Stage::kFailed) {
            Want(device, now);
        }
    }
}

void UpnpDevices::Expire(Clock::time_point now) {
    std::erase_if(devices, [&](const auto& each) { return each.second.expiry <= now; });
}

Clock::time_point UpnpDevices::NextExpiry() const {
    auto first = Clock::time_point::max();
    for (const auto& [key, device] : devices) {
        first = std::min(first, device.expiry);
    }
    return first;
}

void UpnpDevices::AppendTo(ClientList& list) const {
    std::optional<in_addr_t> last;
    for (const auto& [key, device] : devices) {
        if (!device.description || key.first == last) {
            continue;
        }
        last = key.first;
        const in_addr host = {htonl(key.first)};
        char address[INET_ADDRSTRLEN];
        ::inet_ntop(AF_INET, &host, address, sizeof address);
        list.UpdateKeysByIP(address, EntryOf(address, *device.description, device.location), true);
    }
}

}  // namespace vexonetwork::network
