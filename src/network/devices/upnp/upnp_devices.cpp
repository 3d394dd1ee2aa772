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

bool UpnpDevices::Knows(const SsdpMessage& message, in_addr sender) const {
    return devices.contains({ntohl(sender.s_addr), message.usn});
}

bool UpnpDevices::Hear(const SsdpMessage& message, in_addr sender, const std::string& ifname,
                       Clock::time_point now) {
    const Key key(ntohl(sender.s_addr), message.usn);
    if (message.kind == SsdpMessage::Kind::kFarewell) {
        const auto found = devices.find(key);
        if (found != devices.end()) {
            Forget(found->second, now);
        }
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
void UpnpDevices::Forget(Device& device, Clock::time_point now) {
    device.stage = Stage::kGone;
    device.description.reset();
    device.expiry = std::max(now, device.fetchableFrom);
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

std::vector<UpnpDevices::Turn> UpnpDevices::Turns() const {
    std::vector<Turn> turns;
    for (auto first = devices.begin(); first != devices.end();) {
        const auto end = std::find_if(first, devices.end(), [&](const auto& each) {
            return each.first.first != first->first.first;
        });
        if (const auto turn = TurnAt(first, end)) {
            turns.push_back(*turn);
        }
        first = end;
    }
    return turns;
}

/// A fetch that has not ended in time was given up, when the scanner was stopped.
std::optional<UpnpDevices::Turn> UpnpDevices::TurnAt(Devices::const_iterator first,
                                                     Devices::const_iterator end) const {
    const auto order = [](const Device& device) {
        return std::pair(device.fetchableFrom, device.wantedSince);
    };
    Turn turn{devices.end(), {}, 0};
    Clock::time_point busyUntil = {};
    for (auto each = first; each != end; ++each) {
        const Device& device = each->second;
        const bool isFetching = device.stage == Stage::kFetching;
        turn.failures += device.stage == Stage::kFailed ? 1 : 0;
        busyUntil = isFetching ? std::max(busyUntil, device.fetchableFrom) : busyUntil;
        if ((isFetching || device.stage == Stage::kWanted)
            && (turn.device == devices.end() || order(device) < order(turn.device->second))) {
            turn.device = each;
        }
    }
    if (turn.device == devices.end()) {
        return std::nullopt;
    }
    turn.from = std::max(busyUntil, turn.device->second.fetchableFrom);
    return turn;
}

std::optional<UpnpDevices::Fetch> UpnpDevices::NextFetch(Clock::time_point now) {
    if (now < nextFetch) {
        return std::nullopt;
    }
    std::vector<Turn> turns = Turns();
    std::erase_if(turns, [now](const Turn& turn) { return turn.from > now; });
    const auto chosen = std::ranges::min_element(turns, {}, [](const Turn& turn) {
        return std::pair(turn.failures, turn.device->second.wantedSince);
    });
    if (chosen == turns.end()) {
        return std::nullopt;
    }
    const Key& key = chosen->device->first;
    Device& device = devices[key];
    device.stage = Stage::kFetching;
    device.fetchableFrom = now + kDeviceInterval;
    nextFetch = now + kInterval;
    return Fetch{{htonl(key.first)}, key.second, device.location, device.ifname};
}

Clock::time_point UpnpDevices::NextFetchTime() const {
    auto first = Clock::time_point::max();
    for (const Turn& turn : Turns()) {
        first = std::min(first, std::max(turn.from, nextFetch));
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

void UpnpDevices::ForgetFailed(Clock::time_point now) {
    for (auto& [key, device] : devices) {
        if (device.stage == Stage::kFailed) {
            Forget(device, now);
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
