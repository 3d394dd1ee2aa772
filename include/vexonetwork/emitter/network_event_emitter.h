#pragma once

#include <linux/netlink.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <span>
#include <string>

#include <vexonetwork/emitter/address_list.h>
#include <vexonetwork/network/gateway_follower.h>

namespace vexonetwork {

class Agenda;
class EventSocket;
class HookPresence;
class InterfaceBook;
struct AddressEvent;
struct LinkEvent;

/// Listens to the kernel's routing socket (rtnetlink(7)) and turns link, address and route changes
/// into platform events, hooks, and elections of the default gateway.
///
/// One thread owns it: Start() on that thread does everything, Stop() is the only call for others.
/// Steps return 0, or -1 when there was nothing to do or after a log line.
class NetworkEventEmitter {
  public:
    /// @param gateways  is told of changes, and must outlive the emitter; null for whatever is the
    ///                  route module of the ModuleManager at the moment
    explicit NetworkEventEmitter(network::module::GatewayFollower* gateways);
    NetworkEventEmitter() : NetworkEventEmitter(nullptr) {}
    ~NetworkEventEmitter();
    NetworkEventEmitter(const NetworkEventEmitter&) = delete;
    NetworkEventEmitter& operator=(const NetworkEventEmitter&) = delete;

    /// Opens the socket and subscribes to links, addresses and IPv4 routes, unless it is open.
    /// Throws std::runtime_error when that fails.
    void Initialize();

    /// The start-up sweep over the first 32 interfaces: announces their IPv4 addresses, delivers
    /// the link of those that are up. Whatever it finds, or fails to find, an election is due; and
    /// a resync, which tells of the others, when it may not have seen all.
    int InitInterface();

    /// Handles messages until Stop() is called or the socket is closed.
    int StartPolling();

    /// Initialize(), InitInterface(), the election that is then due, StartPolling().
    int Start();

    /// Closes the socket; what is known of the interfaces stays.
    void Terminate();

    /// Has StartPolling(), the next one when none runs, return after the round it is in. From then
    /// on no hook is run, no link delivered and nothing elected.
    void Stop();

    /// One round of StartPolling(): waits at most `timeout` for a datagram and handles it, with
    /// some more that are there. When none is, does what waits for the end of the burst: a resync
    /// after messages were lost, an election; or has repaired what others have taken away.
    /// @return whether there was anything to do
    bool PollOnce(std::chrono::milliseconds timeout);

    /// Receives one datagram and handles it, if it is the kernel's. @return -1 when nothing was
    /// received
    int AnalysisNetlinkMessage();

    /// Handles the messages of a datagram, aligned as nlmsghdr is. Lengths that lie end it.
    void HandleDatagram(std::span<std::byte> datagram);

    // Each looks at one message, whose nlmsg_len is true.
    int CheckNewLinkEvent(nlmsghdr* message);
    int CheckIPChangeEvent(nlmsghdr* message);
    int CheckRouteChangeEvent(nlmsghdr* message);

    /// Notes the state of a link, and delivers a change to the platform unless the interface is a
    /// slave, by its flags (IFF_…) or its configuration file.
    /// @return 1 when the link is down, 0 when it is up
    int HandleLinkEvent(const std::string& ifname, short flags);
    int OnInterfaceStatusChange(const std::string& ifname, bool running, bool slave);

    /// Announces the address that an interface has now.
    int HandleIpEvent(const std::string& ifname);

    /// Has the platform configure an interface anew that is set up for DHCP.
    int RequestDHCPIP(const std::string& ifname) const;

    /// Note an address that came or went, and run the hooks when that changes something.
    void ProcessIPv4Event(const std::string& ifname, const std::string& address, int prefix,
                          bool isNew);
    void ProcessIPv6Event(const std::string& ifname, const std::string& address, int prefix,
                          bool isNew);

    /// The name that was last seen for an index; for an unknown one `fallback`, which is then
    /// remembered.
    std::string IndexToName(unsigned index, std::string fallback);

    // What is known of the interfaces by name; "none" is an IPv4 address that went.
    const std::map<std::string, std::string>& IPv4Addresses() const;
    const std::map<std::string, AddressList>& IPv6Addresses() const;
    const std::map<std::string, bool>& Links() const;

  private:
    void Handle(nlmsghdr* message);
    int Handle(const LinkEvent& event);
    void Handle(const AddressEvent& event);
    void NoteFlags(const LinkEvent& event);
    void NoteName(unsigned index, const std::string& ifname, bool isCurrent);
    std::string NameOf(unsigned index);
    void DeliverLinkEvent(const std::string& ifname, bool running);

    void LearnWhatIsThere();
    void Resync();
    void NoteLoss(const char* what);

    int Receive(int flags);
    bool ReceiveWithin(std::chrono::nanoseconds timeout);
    void RepairIfBehind();
    void Elect();
    void ElectFor(const std::map<std::string, unsigned>& changed);

    const std::string none = "none";  ///< stands for an unknown or removed address
    network::module::GatewayFollower& gateways;
    std::unique_ptr<EventSocket> socket;
    std::unique_ptr<InterfaceBook> book;
    std::unique_ptr<Agenda> agenda;
    std::unique_ptr<HookPresence> hooks;
    int wake;  ///< an eventfd that ends the waiting
    std::atomic<bool> stopping = false;
};

}  // namespace vexonetwork
