// What the interfaces are like at start, and after events were lost.

#include <arpa/inet.h>
#include <net/if.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>
#include <vector>

#include <vexonetsdk/sdk_s.h>
#include <vexonetwork/emitter/network_event_emitter.h>
#include <vlib/error.h>
#include <vlib/net.h>

#include "emitter/interface_kind.h"
#include "emitter/kernel_state.h"

#define VEXO_LOG_SOURCE "network_event_emitter"
#include <vexobase/log.h>

namespace vexonetwork {
namespace {

constexpr std::chrono::milliseconds kPauseBeforeRetry(200);

const AddressList& Find(const std::map<std::string, AddressList>& addresses,
                        const std::string& ifname) {
    static const AddressList kNone;
    const auto found = addresses.find(ifname);
    return found == addresses.end() ? kNone : found->second;
}

bool HasAddress(const AddressList& list, const std::string& address) {
    return std::ranges::any_of(list.Entries(), [&address](const AddressList::Entry& entry) {
        return entry.first == address;
    });
}

}  // namespace

int NetworkEventEmitter::InitInterface() {
    std::array<VLIBNETIF, 32> interfaces{};
    const int count = VLIBNetGetInterfaceInfo(interfaces.data(), interfaces.size());
    if (count < 0) {
        VEXO_LOG(LOG_ERR, "Failed to get net interface, errno=0x%X",
                 static_cast<unsigned>(VLIBCErrGet()));
        return -1;
    }
    for (const VLIBNETIF& entry : std::span(interfaces).first(static_cast<std::size_t>(count))) {
        if (stopping) {
            return 0;
        }
        if ((entry.flags & IFF_UP) != 0) {
            HandleIpEvent(entry.name);
        }
        if (entry.linkStatus == VLIB_LINK_UP) {
            HandleLinkEvent(entry.name, static_cast<short>(entry.flags));
        } else {
            linkUp[entry.name] = false;
        }
        // The kernel may still route by what was true when the daemon last ran.
        PutOffElection(entry.name, kLinkChange);
    }
    LearnIPv6();
    return 0;
}

/// Without a word to anyone: so that what goes later is known to have been there.
void NetworkEventEmitter::LearnIPv6() {
    auto state = ReadKernelState();
    if (!state) {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 addresses: %s", ::strerror(errno));
        return;
    }
    std::erase_if(state->ipv6, [](const auto& interface) {
        return IsDocker(interface.first) || IsTap(interface.first);
    });
    ipv6 = std::move(state->ipv6);
}

int NetworkEventEmitter::HandleIpEvent(const std::string& ifname) {
    VEXONETIFINFO info{};
    if (vexonetsdk::sdk_s::VEXONetIFGetInfo_S(ifname.c_str(), &info, 0) < 0) {
        VEXO_LOG(LOG_ERR, "Get %s net info failed", ifname.c_str());
        return -1;
    }
    in_addr address{};
    if (::inet_pton(AF_INET, info.ip, &address) == 1) {
        ProcessIPv4Event(ifname, info.ip, VEXONetNetmaskToPrefix(info.netmask), true);
    }
    return 0;
}

/// What the lost messages would have told: every difference between the maps and the kernel is
/// handled as the event that it was.
void NetworkEventEmitter::TakeStock() {
    const auto state = ReadKernelState();
    if (!state) {
        VEXO_LOG(LOG_ERR, "Failed to take stock of the interfaces: %s", ::strerror(errno));
        std::this_thread::sleep_for(kPauseBeforeRetry);
        stockDue = true;
        return;
    }
    TakeStockOfIPv4(state->ipv4);
    TakeStockOfIPv6(state->ipv6);
    TakeStockOfLinks(state->links);
}

void NetworkEventEmitter::TakeStockOfLinks(const std::map<std::string, unsigned>& links) {
    for (const auto& [ifname, flags] : links) {
        if (!IsTransition(flags)) {
            HandleLinkEvent(ifname, static_cast<short>(flags));
        }
    }
    std::vector<std::string> gone;
    for (const auto& [ifname, running] : linkUp) {
        if (running && !links.contains(ifname)) {
            gone.push_back(ifname);
        }
    }
    for (const std::string& ifname : gone) {
        OnInterfaceStatusChange(ifname, false, false);
    }
}

void NetworkEventEmitter::TakeStockOfIPv4(const std::map<std::string, AddressList>& addresses) {
    std::vector<std::string> gone;
    for (const auto& [ifname, address] : ipv4) {
        if (address != none && !addresses.contains(ifname)) {
            gone.push_back(ifname);
        }
    }
    for (const std::string& ifname : gone) {
        ProcessIPv4Event(ifname, ipv4[ifname], 0, false);
    }
    for (const auto& [ifname, list] : addresses) {
        if (!IsDocker(ifname) && !IsTap(ifname)
            && !HasAddress(list, ipv4.try_emplace(ifname, none).first->second)) {
            const auto& [address, prefix] = list.Entries().back();
            ProcessIPv4Event(ifname, address, prefix, true);
        }
    }
}

void NetworkEventEmitter::TakeStockOfIPv6(const std::map<std::string, AddressList>& addresses) {
    std::map<std::string, std::vector<AddressList::Entry>> gone;
    for (const auto& [ifname, known] : ipv6) {
        for (const AddressList::Entry& entry : known.Entries()) {
            if (!Find(addresses, ifname).Contains(entry)) {
                gone[ifname].push_back(entry);
            }
        }
    }
    for (const auto& [ifname, entries] : gone) {
        for (const auto& [address, prefix] : entries) {
            ProcessIPv6Event(ifname, address, prefix, false);
        }
    }
    for (const auto& [ifname, list] : addresses) {
        for (const auto& [address, prefix] : list.Entries()) {
            if (!IsDocker(ifname) && !IsTap(ifname)) {
                ProcessIPv6Event(ifname, address, prefix, true);
            }
        }
    }
}

}  // namespace vexonetwork
