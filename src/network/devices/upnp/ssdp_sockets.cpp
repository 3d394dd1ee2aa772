#include "network/devices/upnp/ssdp_sockets.h"

#include <arpa/inet.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "network/devices/upnp/ssdp_message.h"

#define VEXO_LOG_SOURCE "upnpscanner"
#include <vexobase/log.h>

namespace vexonetwork::network {

static_assert(kMaxSsdpBytes <= LanSocket::kMaxBytes);

namespace {

constexpr in_addr_t kGroup = 0xEFFFFFFA;  // 239.255.255.250
constexpr in_port_t kPort = 1900;
constexpr int kHops = 2;

std::string SearchText(const std::string& host) {
    return "M-SEARCH * HTTP/1.1\r\nHOST: " + host
           + ":1900\r\nMAN: \"ssdp:discover\"\r\nMX: 2\r\nST: upnp:rootdevice\r\n\r\n";
}

LanSocket OpenAnswers() {
    LanSocket socket = LanSocket::Open(PlaceOf(INADDR_ANY, 0), LanSocket::Port::kOwn);
    const bool isOpen = socket && socket.Set(IPPROTO_IP, IP_MULTICAST_TTL, kHops) == 0
                        && socket.Set(IPPROTO_IP, IP_MULTICAST_LOOP, 0) == 0;
    return isOpen ? std::move(socket) : LanSocket();
}

/// Bound to the group's address: what is sent to the appliance alone is not for us. What comes by
/// memberships of others is not either.
LanSocket OpenGroup() {
    LanSocket socket = LanSocket::Open(PlaceOf(kGroup, kPort), LanSocket::Port::kShared);
    const bool isOpen = socket && socket.Set(IPPROTO_IP, IP_MULTICAST_ALL, 0) == 0;
    return isOpen ? std::move(socket) : LanSocket();
}

bool ChangeMembership(const LanSocket& socket, int option, unsigned index) {
    const ip_mreqn membership = {{htonl(kGroup)}, {}, static_cast<int>(index)};
    return ::setsockopt(socket.Descriptor(), IPPROTO_IP, option, &membership, sizeof membership)
           == 0;
}

}  // namespace

SsdpSockets::SsdpSockets() : answers(OpenAnswers()) {
    if (!answers) {
        VEXO_LOG(LOG_ERR, "Failed to open a socket for UPnP devices: %s", ::strerror(errno));
    }
}

void SsdpSockets::Join(const Bridge& bridge) {
    if (!JoinSome(bridge.index)) {
        VEXO_LOG(LOG_ERR, "Failed to listen for UPnP devices on [%s]: %s", bridge.ifname.c_str(),
                 ::strerror(errno));
    }
}

bool SsdpSockets::JoinSome(unsigned index) {
    for (Group& group : groups) {
        if (ChangeMembership(group.socket, IP_ADD_MEMBERSHIP, index)) {
            group.members.push_back(index);
            return true;
        }
        if (errno != ENOBUFS) {
            return false;
        }
    }
    Group group = {OpenGroup(), {index}};
    if (!group.socket || !ChangeMembership(group.socket, IP_ADD_MEMBERSHIP, index)) {
        return false;
    }
    groups.push_back(std::move(group));
    return true;
}

void SsdpSockets::Leave(const Bridge& bridge) {
    for (Group& group : groups) {
        if (std::erase(group.members, bridge.index) != 0) {
            ChangeMembership(group.socket, IP_DROP_MEMBERSHIP, bridge.index);
        }
    }
    std::erase_if(groups, [](const Group& group) { return group.members.empty(); });
}

void SsdpSockets::HearOnly(const Bridges& bridges) const {
    if (answers && answers.HearOnly(bridges) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to filter the answers of UPnP devices: %s", ::strerror(errno));
    }
}

void SsdpSockets::Search(const Bridge& bridge) const {
    static const std::string kText = SearchText("239.255.255.250");
    // A device without a gateway can answer its own network alone.
    for (const BridgeNetwork& network : bridge.networks) {
        if (answers
            && answers.Send(bridge.index, {network.address}, PlaceOf(kGroup, kPort), kText) != 0) {
            VEXO_LOG(LOG_ERR, "Failed to search for UPnP devices on [%s]: %s",
                     bridge.ifname.c_str(), ::strerror(errno));
        }
    }
}

void SsdpSockets::SearchAt(const Bridge& bridge, const BridgeNetwork& network, in_addr host) const {
    char address[INET_ADDRSTRLEN];
    const std::string text = SearchText(::inet_ntop(AF_INET, &host, address, sizeof address));
    if (answers) {
        // A host that is not there is no failure of ours.
        static_cast<void>(answers.Send(bridge.index, {network.address},
                                       PlaceOf(ntohl(host.s_addr), kPort), text));
    }
}

void SsdpSockets::AppendTo(std::vector<pollfd>& events) const {
    events.push_back({answers.Descriptor(), POLLIN, 0});
    for (const Group& group : groups) {
        events.push_back({group.socket.Descriptor(), POLLIN, 0});
    }
}

void SsdpSockets::Receive(std::span<const pollfd> events, const Take& take) const {
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (events[i].revents == 0) {
            continue;
        }
        const bool isAnswer = i == 0;
        const LanSocket& socket = isAnswer ? answers : groups[i - 1].socket;
        socket.Receive([&](unsigned index, const sockaddr_in& sender, std::string_view datagram) {
            take(index, sender.sin_addr, isAnswer, datagram);
        });
    }
}

}  // namespace vexonetwork::network
