// Links that come and go.

#include <linux/rtnetlink.h>
#include <net/if.h>

#include <charconv>
#include <string_view>

#include <vexo/event_log.h>
#include <vexo/system.h>
#include <vexonetsdk/sdk_s.h>
#include <vexonetwork/emitter/net_link_flag.h>
#include <vexonetwork/emitter/network_event_emitter.h>
#include <vlib/error.h>
#include <vlib/file.h>
#include <vlib/net.h>

#include "emitter/agenda.h"
#include "emitter/event_reader.h"
#include "emitter/interface_book.h"
#include "emitter/interface_kind.h"

#define VEXO_LOG_SOURCE "network_event_emitter"
#include <vexobase/log.h>

namespace vexonetwork {
namespace {

using std::chrono::steady_clock;

constexpr int kBootStepUp = 4;
constexpr int kEventLinkUp = 0x11801322;
constexpr int kEventLinkDown = 0x11801323;

bool IsSlaveByConfiguration(const std::string& ifname) {
    const std::string file = "/etc/sysconfig/network-scripts/ifcfg-" + ifname;
    char value[1024] = "";
    VLIBCFileGetKeyValue(file.c_str(), "SLAVE", value, sizeof value, 0);
    return std::string_view(value).starts_with("yes");
}

/// "LAN 1" for eth0: as it is printed on the case.
std::string DisplayName(const std::string& ifname) {
    const std::string_view number = std::string_view(ifname).substr(3);
    int index = 0;
    const auto [end, error] = std::from_chars(number.begin(), number.end(), index);
    return error == std::errc() && end == number.end() ? "LAN " + std::to_string(index + 1)
                                                       : ifname;
}

void LogLanPort(const std::string& ifname, bool running, bool slave) {
    constexpr std::size_t kShorterThan = 6;
    const bool isPort =
        !IsGuest(ifname) && ifname.starts_with("eth") && ifname.size() < kShorterThan;
    if (!isPort || VEXOSystemGetBootStep() != kBootStepUp) {
        return;
    }
    const std::string name = DisplayName(ifname) + (slave ? " (slave)" : "");
    VEXOLogSet1(1, 1, running ? kEventLinkUp : kEventLinkDown, name.c_str(), "", "", "");
}

class ProcessingFlag {
  public:
    ProcessingFlag() { utils::SetNetLinkIsProcessing(); }
    ~ProcessingFlag() { utils::UnsetNetLinkIsProcessing(); }
    ProcessingFlag(const ProcessingFlag&) = delete;
    ProcessingFlag& operator=(const ProcessingFlag&) = delete;
};

}  // namespace

int NetworkEventEmitter::CheckNewLinkEvent(nlmsghdr* message) {
    if (message == nullptr) {
        VEXO_LOG(LOG_ERR, "Null pointer");
        return -1;
    }
    if (message->nlmsg_type != RTM_NEWLINK) {
        VEXO_LOG(LOG_ERR, "Not RTM_NEWLINK event");
        return -1;
    }
    const auto link = ReadLinkEvent(*message);
    if (!link) {
        return -1;
    }
    NoteFlags(*link);
    return IsTransition(link->flags) ? -1 : Handle(*link);
}

void NetworkEventEmitter::NoteFlags(const LinkEvent& event) {
    using FlagChange = InterfaceBook::FlagChange;
    const FlagChange change = book->NoteFlags(event.ifname, event.flags);
    if (change != FlagChange::kNone) {
        agenda->NoteChange(event.ifname, change == FlagChange::kLink ? kLinkChange : kOtherChange,
                           steady_clock::now());
    }
}

int NetworkEventEmitter::Handle(const LinkEvent& event) {
    if (event.index != 0) {
        NoteName(event.index, event.ifname, KernelName(event.index) == event.ifname);
    }
    return HandleLinkEvent(event.ifname, static_cast<short>(event.flags));
}

const std::map<std::string, bool>& NetworkEventEmitter::Links() const {
    return book->Links();
}

int NetworkEventEmitter::HandleLinkEvent(const std::string& ifname, short flags) {
    const bool slave = (flags & IFF_SLAVE) != 0 || IsSlaveByConfiguration(ifname);
    return OnInterfaceStatusChange(ifname, (flags & IFF_RUNNING) != 0, slave);
}

int NetworkEventEmitter::OnInterfaceStatusChange(const std::string& ifname, bool running,
                                                 bool slave) {
    const bool same = !book->NoteLink(ifname, running);
    if (!same) {
        LogLanPort(ifname, running, slave);
        // Routes may lead by any interface, whoever else looks after it.
        agenda->NoteChange(ifname, kOtherChange, steady_clock::now());
    }
    if (!slave && !same) {
        DeliverLinkEvent(ifname, running);
    } else {
        VEXO_LOG(LOG_DEBUG, "Drop event by slave=[%d], linkStatus=[%d]", slave, same);
    }
    return running ? 0 : 1;
}

void NetworkEventEmitter::DeliverLinkEvent(const std::string& ifname, bool running) {
    if (IsTap(ifname) || stopping) {
        return;
    }
    {
        const ProcessingFlag processing;
        if (IsDocker(ifname)) {
            return;
        }
        if (running) {
            vexonetsdk::sdk_s::VLIBNetIfLinkUpEvent_S(ifname.c_str());
        } else {
            vexonetsdk::sdk_s::VLIBNetIfLinkDownEvent_S(ifname.c_str());
        }
    }
    if (running) {
        RequestDHCPIP(ifname);
        gateways.OnLinkUp(ifname);
    }
    agenda->NoteChange(ifname, kLinkChange, steady_clock::now());
}

int NetworkEventEmitter::RequestDHCPIP(const std::string& ifname) const {
    if (ifname.starts_with("wlan")) {
        return 0;
    }
    if (VLIBNetBridgeIfIsSlave(ifname.c_str()) == 1
        || !vexonetsdk::sdk_s::BlVEXOLnxIsDHCP_S(ifname.c_str())) {
        return -1;
    }
    VEXONETIFINFO info{};
    if (vexonetsdk::sdk_s::VEXONetIFGetInfo_S(ifname.c_str(), &info, 0) < 0) {
        VEXO_LOG(LOG_ERR, "Get %s net info failed", ifname.c_str());
        return -1;
    }
    if (vexonetsdk::sdk_s::VEXONetSetCard1_S(&info) < 0) {
        VEXO_LOG(LOG_ERR, "VEXONetSetCard1_S failed, vexoerr=[0x%04X]",
                 static_cast<unsigned>(VLIBCErrGet()));
        return -1;
    }
    return 0;
}

}  // namespace vexonetwork
