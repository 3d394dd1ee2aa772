#include "vexonetwork/emitter/network_event_emitter.h"

#include <linux/rtnetlink.h>
#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <vector>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexonetlink/message.h>

#include "emitter/agenda.h"
#include "emitter/event_socket.h"
#include "emitter/hook_presence.h"
#include "emitter/interface_book.h"
#include "emitter/registered_gateways.h"

namespace vexonetwork {
namespace {

using network::module::GatewayFollower;
using network::module::GTYPE_V4;
using network::module::GTYPE_V6;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPollTimeout = std::chrono::seconds(6);

constexpr int kMaxAtOnce = 32;

/// Before a socket that fails is read again.
constexpr milliseconds kPauseAfterFailure(200);

bool WaitFor(std::span<pollfd> events, nanoseconds timeout) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(timeout);
    const timespec wait{seconds.count(), (timeout - seconds).count()};
    return ::ppoll(events.data(), events.size(), &wait, nullptr) > 0;
}

}  // namespace

NetworkEventEmitter::NetworkEventEmitter(GatewayFollower* follower)
    : gateways(follower == nullptr ? RegisteredGateways() : *follower),
      socket(std::make_unique<EventSocket>()),
      book(std::make_unique<InterfaceBook>()),
      agenda(std::make_unique<Agenda>()),
      hooks(std::make_unique<HookPresence>()),
      wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

NetworkEventEmitter::~NetworkEventEmitter() {
    Terminate();
    const vexobase::UniqueFd closed(wake);
}

void NetworkEventEmitter::Initialize() {
    if (socket->Descriptor() < 0) {
        socket->Open();
    }
}

void NetworkEventEmitter::Terminate() {
    socket->Close();
}

void NetworkEventEmitter::Stop() {
    stopping = true;
    // It can only fail when it is set already.
    ::eventfd_write(wake, 1);
}

int NetworkEventEmitter::StartPolling() {
    if (socket->Descriptor() < 0) {
        VEXO_LOG(LOG_ERR, "Bad RTNETLINK fd [%d]", socket->Descriptor());
        return 0;
    }
    while (socket->Descriptor() >= 0 && !stopping) {
        try {
            PollOnce(kPollTimeout);
        } catch (const std::exception& error) {
            VEXO_LOG(LOG_ERR, "Failed to handle an event: %.200s", error.what());
        }
    }
    return 0;
}

bool NetworkEventEmitter::PollOnce(milliseconds timeout) {
    using Task = Agenda::Task;
    const HookPresence::Remembering remembering(*hooks);
    const auto now = steady_clock::now();
    Task task = agenda->WithMessages(now);
    if (task == Task::kListen) {
        const auto deadline = agenda->Deadline();
        const auto wait = deadline ? std::max(*deadline - now, nanoseconds(0)) : timeout;
        if (ReceiveWithin(wait)) {
            return true;
        }
        task = agenda->WithoutMessages(steady_clock::now());
        if (task == Task::kListen) {
            hooks->EndBurst();
            RepairIfBehind();
            return deadline.has_value();
        }
    }
    if (task == Task::kRepair) {
        agenda->NoteRepair(steady_clock::now());
        gateways.RepairNetwork();
    } else {
        task == Task::kResync ? Resync() : Elect();
    }
    RepairIfBehind();
    return true;
}

/// No event tells of a file that has changed, or of a lock that is free again.
void NetworkEventEmitter::RepairIfBehind() {
    if (!agenda->AwaitsRepair() && gateways.IsNetworkBehind()) {
        agenda->NoteHarm(steady_clock::now());
    }
}

/// @return whether there was a datagram, or a failure in its place, or harm
bool NetworkEventEmitter::ReceiveWithin(nanoseconds timeout) {
    // Who harms us again and again wakes nobody before the repair.
    const int harm = agenda->AwaitsRepair() ? -1 : gateways.HarmDescriptor();
    std::array<pollfd, 3> events{
        {{socket->Descriptor(), POLLIN, 0}, {wake, POLLIN, 0}, {harm, POLLIN, 0}}};
    if (!WaitFor(events, timeout)) {
        return false;
    }
    const bool isHarmed = events[2].revents != 0;
    if (isHarmed) {
        agenda->NoteHarm(steady_clock::now());
    }
    if (events[0].revents == 0) {
        return isHarmed;
    }
    AnalysisNetlinkMessage();
    if (socket->IsBroken()) {
        // A failure that lasts must not keep a processor busy.
        WaitFor(std::span(events).subspan(1, 1), kPauseAfterFailure);
        return true;
    }
    // Not waiting for each: that costs as much as reading it.
    const auto mayGoOn = [this] {
        return !stopping && agenda->WithMessages(steady_clock::now()) == Agenda::Task::kListen;
    };
    for (int more = kMaxAtOnce; more > 0 && mayGoOn() && Receive(MSG_DONTWAIT) == 0; --more) {
    }
    return true;
}

int NetworkEventEmitter::AnalysisNetlinkMessage() {
    return Receive(0);
}

int NetworkEventEmitter::Receive(int flags) {
    alignas(nlmsghdr) std::array<std::byte, 4096> buffer;
    const EventSocket::Received received = socket->Receive(buffer, flags);
    if (received.length < 1) {
        if (received.error == ENOBUFS) {
            NoteLoss("the kernel has dropped events");
        }
        return -1;
    }
    if (!received.isFromKernel) {
        return 0;
    }
    if (received.isTruncated) {
        NoteLoss("an event was too long");
    }
    if (agenda->AwaitsResync()) {
        agenda->NoteDatagram(steady_clock::now());
    }
    HandleDatagram(std::span(buffer).first(static_cast<std::size_t>(received.length)));
    return 0;
}

void NetworkEventEmitter::HandleDatagram(std::span<std::byte> datagram) {
    vexonetlink::Messages messages(datagram);
    for (std::size_t left = datagram.size(); messages.Next(); left = messages.Left().size()) {
        Handle(reinterpret_cast<nlmsghdr*>(datagram.last(left).data()));
    }
}

void NetworkEventEmitter::Handle(nlmsghdr* message) {
    switch (message->nlmsg_type) {
        case RTM_NEWADDR:
        case RTM_DELADDR:
            // What a flood of addresses comes to is told by the resync, without hooks for each.
            if (!agenda->AwaitsResync()) {
                CheckIPChangeEvent(message);
            }
            break;
        case RTM_NEWLINK:
            CheckNewLinkEvent(message);
            break;
        case RTM_NEWROUTE:
        case RTM_DELROUTE:
            CheckRouteChangeEvent(message);
            break;
        default:
            break;
    }
}

/// The routes of uplinks and static ones follow first: they are quicker in their place than an
/// election.
void NetworkEventEmitter::Elect() {
    hooks->EndBurst();
    const Agenda::Changes changes = agenda->TakeChanges();
    if (stopping) {
        return;
    }
    if (changes.everything) {
        gateways.FollowNetwork({});
        gateways.Elect(std::nullopt);
    } else if (!changes.interfaces.empty()) {
        ElectFor(changes.interfaces);
    }
}

/// An election takes the default route away for a moment, so only the interfaces that are in a
/// gateway list cause one.
void NetworkEventEmitter::ElectFor(const std::map<std::string, unsigned>& changed) {
    std::vector<std::string> ifnames;
    std::ranges::transform(changed, std::back_inserter(ifnames),
                           [](const auto& entry) { return entry.first; });
    gateways.FollowNetwork(ifnames);
    const auto concerns = [&](ChangeKind kind, auto list) {
        return std::ranges::any_of(changed, [&](const auto& entry) {
            return (entry.second & kind) != 0 && gateways.HasGateway(list, entry.first);
        });
    };
    if (concerns(kLinkChange, std::nullopt)) {
        gateways.Elect(std::nullopt);
        return;
    }
    if (concerns(kIPv4Change, GTYPE_V4)) {
        gateways.Elect(GTYPE_V4);
    }
    if (concerns(kIPv6Change, GTYPE_V6)) {
        gateways.Elect(GTYPE_V6);
    }
}

}  // namespace vexonetwork
