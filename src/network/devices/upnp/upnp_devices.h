#pragma once

#include <netinet/in.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "network/devices/upnp/device_description.h"
#include "network/devices/upnp/ssdp_message.h"

namespace vexonetwork::network {

class ClientList;

/// The root devices that have answered a search, and which of their descriptions are to be fetched.
/// A description is fetched once for each change of its device. Anybody can claim to be any number
/// of devices that change all the time: the numbers are bounded, and the pace of fetching. Of one
/// address only one is fetched at a time, and where fetches have failed, others come first.
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

    /// Whether a device is here already: what others announce of themselves is no answer to a
    /// search of ours.
    bool Knows(const SsdpMessage& message, in_addr sender) const;

    /// Takes what a device says that the kernel knows as a neighbour.
    /// @param ifname  the bridge it was heard on
    /// @return whether there was room for it
    bool Hear(const SsdpMessage& message, in_addr sender, const std::string& ifname,
              Clock::time_point now);

    /// The fetch that has waited longest, which is begun thereby; nothing when none is due.
    /// @return a fetch that ends with Describe within 10 s, or is given up then
    std::optional<Fetch> NextFetch(Clock::time_point now);

    /// When NextFetch may have one; max() when none waits.
    Clock::time_point NextFetchTime() const;

    /// Ends a fetch. Without a description the device is left out until the next ForgetFailed.
    void Describe(const Fetch& fetch, std::optional<DeviceDescription> description);

    /// Forgets the devices that could not be described: they are new when they answer again.
    void ForgetFailed(Clock::time_point now);

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

    using Devices = std::map<Key, Device>;

    /// The next fetch from an address.
    struct Turn {
        Devices::const_iterator device;
        Clock::time_point from;    ///< when it may begin
        std::size_t failures = 0;  ///< of others there
    };

    static void Want(Device& device, Clock::time_point now);
    static void Forget(Device& device, Clock::time_point now);
    std::vector<Turn> Turns() const;
    std::optional<Turn> TurnAt(Devices::const_iterator first, Devices::const_iterator end) const;
    Device* FindOrAdd(const Key& key);
    bool MakeRoom();

    Devices devices;
    Clock::time_point nextFetch = {};  ///< for the pace of all
};

}  // namespace vexonetwork::network
