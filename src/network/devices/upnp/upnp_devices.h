#pragma once

#include <netinet/in.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "network/devices/upnp/device_description.h"
#include "network/devices/upnp/ssdp_message.h"

namespace vexonetwork::network {

class ClientList;

/// The root devices that made themselves known, and which of their descriptions are to be fetched.
/// A description is fetched once for each change of its device. Anybody can claim to be any number
/// of devices that change all the time: the numbers are bounded, and the pace of fetching.
///
/// A device is an identity at an address: who claims another's identity takes nothing from it.
class UpnpDevices {
  public:
    using Clock = std::chrono::steady_clock;

    /// One description to be fetched.
    struct Fetch {
        in_addr address;
        std::string usn;
        std::string location;
        std::string ifname;
    };

    /// Takes what a device says.
    /// @param ifname  the bridge it was heard on
    /// @return whether there was room for it
    bool Hear(const SsdpMessage& message, in_addr sender, const std::string& ifname,
              Clock::time_point now);

    /// The fetch that has waited longest, which is begun thereby; nothing when none is due.
    /// @return a fetch that ends with Describe within 10 s, or is given up then
    std::optional<Fetch> NextFetch(Clock::time_point now);

    /// When NextFetch may have one; max() when none waits.
    Clock::time_point NextFetchTime() const;

    /// Ends a fetch. Without a description the device is left out until the next RetryFailed.
    void Describe(const Fetch& fetch, std::optional<DeviceDescription> description);

    /// Has the descriptions fetched again that could not be.
    void RetryFailed(Clock::time_point now);

    /// Removes the devices that have not made themselves known again in time.
    void Expire(Clock::time_point now);

    /// When Expire will find one; max() without devices.
    Clock::time_point NextExpiry() const;

    /// Adds the described devices, one for each address in the order of addresses: where there are
    /// several, the one with the least USN.
    void AppendTo(ClientList& list) const;

  private:
    enum class Stage { kGone, kWanted, kFetching, kDescribed, kFailed };

    struct Device {
        Stage stage = Stage::kGone;
        std::string location = {};
        std::string ifname = {};
        std::optional<std::uint32_t> bootId = {};
        std::optional<std::uint32_t> configId = {};
        std::optional<DeviceDescription> description = {};
        Clock::time_point expiry = {};
        Clock::time_point wantedSince = {};
        Clock::time_point fetchableFrom = {};
    };

    /// The address in host order, and the USN.
    using Key = std::pair<in_addr_t, std::string>;

    static void Want(Device& device, Clock::time_point now);
    static bool IsWaiting(const Device& device);
    void Forget(const Key& key, Clock::time_point now);
    Device* FindOrAdd(const Key& key);
    bool MakeRoom();

    std::map<Key, Device> devices;
    Clock::time_point nextFetch = {};  ///< for the pace of all
};

}  // namespace vexonetwork::network
