// What the interfaces are like at start, and after events were lost.

#include <arpa/inet.h>
#include <net/if.h>
#include <string.h>

#include <array>
#include <cerrno>
#include <span>
#include <variant>

#include <vexonetsdk/sdk_s.h>
#include <vexonetwork/emitter/network_event_emitter.h>
#include <vlib/error.h>
#include <vlib/net.h>

#include "emitter/agenda.h"
#include "emitter/interface_book.h"

#define VEXO_LOG_SOURCE "network_event_emitter"
#include <vexobase/log.h>

namespace vexonetwork {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kMaxSwept = 32;

}  // namespace

int NetworkEventEmitter::Start() {
    Initialize();
    try {
        InitInterface();
        if (agenda->AwaitsResync()) {
            Resync();
        }
        Elect();
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "Failed to look at all interfaces: %.200s", error.what());
    }
    return StartPolling();
}

int NetworkEventEmitter::InitInterface() {
    // The kernel may still route by what was true when the daemon last ran.
    agenda->NoteChangeOfAll(steady_clock::now());
    LearnWhatIsThere();
    std::array<VLIBNETIF, kMaxSwept> interfaces{};
    const int count = VLIBNetGetInterfaceInfo(interfaces.data(), interfaces.size());
    if (count < 0) {
        VEXO_LOG(LOG_ERR, "Failed to get net interface, errno=0x%X",
                 static_cast<unsigned>(VLIBCErrGet()));
        agenda->NoteLoss(steady_clock::now());
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
            book->NoteLink(entry.name, false);
        }
    }
    if (static_cast<std::size_t>(count) == kMaxSwept) {
        agenda->NoteLoss(steady_clock::now());  // of those for which there was no room
    }
    return 0;
}

void NetworkEventEmitter::LearnWhatIsThere() {
    if (const auto snapshot = ReadInterfaces()) {
        book->Learn(*snapshot);
    } else {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 addresses: %s", ::strerror(errno));
    }
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

void NetworkEventEmitter::NoteLoss(const char* what) {
    if (!agenda->AwaitsResync()) {
        VEXO_LOG(LOG_ERR, "Resync with the kernel when the burst is over: %s", what);
    }
    agenda->NoteLoss(steady_clock::now());
}

/// What differs from the kernel is handled as the events that were lost. What came and went among
/// them differs in nothing, so there is an election in any case.
void NetworkEventEmitter::Resync() {
    const auto snapshot = ReadInterfaces();
    if (!snapshot) {
        VEXO_LOG(LOG_ERR, "Failed to read the interfaces: %s", ::strerror(errno));
        agenda->NoteFailedResync(steady_clock::now());
        return;
    }
    agenda->NoteResync(steady_clock::now());
    for (const LinkEvent& link : snapshot->links) {
        book->NoteFlags(link.ifname, link.flags);
    }
    const auto handle = [this](const auto& event) { Handle(event); };
    for (const InterfaceEvent& event : book->LinkEventsTo(*snapshot)) {
        std::visit(handle, event);
    }
    for (const InterfaceEvent& event : book->AddressEventsTo(*snapshot)) {
        std::visit(handle, event);
    }
}

}  // namespace vexonetwork
