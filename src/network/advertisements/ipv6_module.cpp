// The life of the module, and its thread with socket and timers.

#include "vexonetwork/network/module/ipv6_module.h"

#include <netinet/icmp6.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <exception>
#include <system_error>

#include <vexobase/log.h>
#include <vexonetwork/utils/json_reader.h>

#include "network/advertisements/advertisement.h"
#include "network/advertisements/ipv6_module_parts.h"
#include "network/advertisements/router_status.h"

namespace vexonetwork::network::module {
namespace {

using std::chrono::steady_clock;

// The records are published for other processes once a second at most.
constexpr auto kPublicationInterval = std::chrono::seconds(1);
constexpr auto kMaxBurst = std::chrono::seconds(1);

// Links that change all the time are looked over ten times a second.
constexpr auto kBetweenLooks = std::chrono::milliseconds(100);

}  // namespace

IPv6Module::IPv6Module()
    : BaseModule(MODULE_IPV6), parts(std::make_unique<Parts>([this](const std::string& ifname) {
          return Ipv6Enable(ifname);
      })) {}

IPv6Module::~IPv6Module() {
    IPv6Module::TerminateModule();
}

BaseModule* IPv6Module::Create() {
    return new IPv6Module;
}

int IPv6Module::InitialModule() {
    parts->stopping = false;
    if (!parts->wake) {
        parts->wake.Reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }
    if (!parts->wake || !parts->socket.Open()) {
        VEXO_LOG(LOG_ERR, "Failed to open icmpv6 socket");
        return -1;
    }
    return 0;
}

int IPv6Module::StartModule() {
    if (parts->polling.joinable()) {
        return 0;
    }
    parts->records.MarkNews();  // what a former daemon knew is no longer true
    try {
        if (!parts->socket) {
            throw std::system_error(std::make_error_code(std::errc::not_connected));
        }
        // In here, so that it is done before the first election.
        parts->links.Begin(steady_clock::now());
        parts->polling = std::thread([this] { Poll(); });
        ::pthread_setname_np(parts->polling.native_handle(), "router-adverts");
    } catch (const std::exception&) {
        VEXO_LOG(LOG_ERR, "Failed to create ipv6 polling thread");
    }
    return 0;
}

int IPv6Module::TerminateModule() {
    StopPolling();
    parts->socket.Close();
    parts->wake.Reset();
    return 0;
}

void IPv6Module::StopPolling() {
    parts->stopping = true;
    if (parts->polling.joinable()) {
        ::eventfd_write(parts->wake.Get(), 1);
        parts->polling.join();
    }
    parts->links.End();
    parts->records.DropWaiting();
    parts->burst.End();
}

int IPv6Module::ProcessRequest(const Json::Value& in, Json::Value& /*out*/) {
    const std::string ifname = utils::GetString(in, "ifname").value_or("");
    if (utils::GetString(in, "method") == "RESET_IPV6_MODULE" && parts->records.Forget(ifname)
        && parts->polling.joinable()) {
        Publish();
    }
    return 0;
}

const std::map<std::string, RaRecord>& IPv6Module::Records() const {
    return parts->records.All();
}

bool IPv6Module::open_icmpv6_socket(int& fd) {
    vexobase::UniqueFd opened = Icmpv6Socket::Create();
    if (!opened) {
        return false;
    }
    fd = opened.Release();
    return true;
}

int IPv6Module::recv_rs_ra(unsigned char* buf, sockaddr_in6* from, in6_pktinfo** pktinfo) {
    while (!parts->stopping) {
        // First, as in a flood there is always one more.
        if (const auto length = TryReceive(buf, from, pktinfo)) {
            return *length;
        }
        if (!Wait(false)) {
            break;
        }
    }
    return -1;
}

/// @return nothing when there is no datagram
std::optional<int> IPv6Module::TryReceive(unsigned char* buf, sockaddr_in6* from,
                                          in6_pktinfo** pktinfo) {
    if (!parts->socket) {
        VEXO_LOG(LOG_ERR, "Failed to select socket");
        return -1;
    }
    const auto length = parts->socket.Receive(buf, from, pktinfo);
    if (length && !parts->burst.lasts) {
        parts->burst.lasts = true;
        parts->burst.begin = steady_clock::now();
    }
    return length;
}

/// Sleeps until there is something to do.
/// @return false after a log line
bool IPv6Module::Wait(bool withTimers) {
    parts->burst.End();
    const bool mayLook = withTimers && steady_clock::now() >= parts->nextLook;
    std::array<pollfd, 3> events{{{parts->socket.Descriptor(), POLLIN, 0},
                                  {parts->wake.Get(), POLLIN, 0},
                                  {mayLook ? parts->links.Descriptor() : -1, POLLIN, 0}}};
    if (WaitFor(events, withTimers ? NextTimer(mayLook) : std::nullopt) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to select socket");
        return false;
    }
    return true;
}

std::optional<SteadyTime> IPv6Module::NextTimer(bool mayLook) const {
    std::optional<SteadyTime> next =
        Earlier(parts->records.NextDue(), parts->links.Asked().NextDue());
    if (parts->records.HasNews()) {
        next = Earlier(next, parts->nextPublication);
    }
    return mayLook ? next : Earlier(next, parts->nextLook);
}

void IPv6Module::Poll() {
    std::array<unsigned char, kIcmpv6PacketSize> packet;
    while (!parts->stopping) {
        try {
            RunTimers();
            PollOnce(packet.data());
        } catch (const std::exception& error) {
            VEXO_LOG(LOG_ERR, "Failed to handle an advertisement: %.200s", error.what());
        }
    }
}

void IPv6Module::PollOnce(unsigned char* packet) {
    sockaddr_in6 from{};
    in6_pktinfo* pktinfo = nullptr;
    const auto length = TryReceive(packet, &from, &pktinfo);
    if (!length) {
        Wait(true);
        return;
    }
    if (*length <= 0) {
        if (MayLog()) {
            VEXO_LOG(LOG_ERR, "%s",
                     *length == 0 ? "received zero lenght packet" : "recv_rs_ra error");
        }
        return;
    }
    // Without an index there is no telling whose router it is.
    const std::string ifname =
        pktinfo ? parts->socket.InterfaceName(pktinfo->ipi6_ifindex) : std::string();
    if (Handle(packet, *length, from.sin6_addr, parts->socket.HopLimit(), ifname, true)) {
        parts->links.Asked().End(pktinfo->ipi6_ifindex);
    }
}

void IPv6Module::RunTimers() {
    const auto now = steady_clock::now();
    if (now - parts->burst.begin > kMaxBurst) {
        parts->burst.End();
    }
    for (const auto& [ifname, rival, own] : parts->records.TakeDue(now)) {
        if (rival) {
            Consider(ifname, *rival, true);
        }
        if (own && parts->records.Remembers(ifname, own->router)) {
            Consider(ifname, *own, true);
        }
    }
    if (now >= parts->nextLook && (parts->links.Update(now) || parts->burst.lasts)) {
        parts->nextLook = now + kBetweenLooks;
    }
    parts->links.Asked().Run(now, [this](unsigned index) { return parts->socket.Solicit(index); });
    if (now >= parts->nextPublication && parts->records.HasNews()) {
        Publish();
        parts->nextPublication = now + kPublicationInterval;
    }
}

void IPv6Module::Publish() {
    parts->records.Publish(PublishRouters);
}

void IPv6Module::HandlePacket(unsigned char* packet, int len, const in6_addr& sender, int hopLimit,
                              const std::string& ifname) {
    Handle(packet, len, sender, hopLimit, ifname, false);
}

/// @param paced  whether a change soon after another one has to wait
/// @return whether it was the advertisement of a default router
bool IPv6Module::Handle(unsigned char* packet, int len, const in6_addr& sender, int hopLimit,
                        const std::string& ifname, bool paced) {
    if (len < 1) {
        return false;  // whoever has received it says so
    }
    const unsigned messageType = packet[0];
    if (messageType != ND_ROUTER_SOLICIT && messageType != ND_ROUTER_ADVERT) {
        VEXO_LOG(LOG_ERR, "icmpv6 filter failed");
        return false;
    }
    constexpr int kNeverForwarded = 255;
    const auto advertisement = ReadAdvertisement({packet, static_cast<std::size_t>(len)});
    const bool isForHosts = hopLimit == kNeverForwarded && IN6_IS_ADDR_LINKLOCAL(&sender);
    // The interface may have gone in the meantime. Whoever is no default router cannot be the
    // gateway.
    if (!advertisement || !isForHosts || ifname.empty() || advertisement->lifetime == 0) {
        return false;
    }
    char text[INET6_ADDRSTRLEN];
    const Claim claim{.router = print_addr(&sender, text),
                      .managed = advertisement->managed,
                      .other = advertisement->other,
                      .heard = std::time(nullptr)};
    if (Accepts(claim.router, ifname, packet, len, claim.managed)) {
        Consider(ifname, claim, paced);
    }
    return true;
}

}  // namespace vexonetwork::network::module
