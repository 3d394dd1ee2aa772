#pragma once

#include <linux/netlink.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include <vexonetwork/emitter/address_list.h>

namespace vexonetwork {

/// Listens to the kernel's routing socket (rtnetlink(7)) and turns link, address and route changes
/// into platform events, hooks, and elections of the default gateway.
///
/// One thread owns it: Start() on that thread does everything, Stop() is the only call for others.
/// Steps return 0, or -1 when there was nothing to do or after a log line.
class NetworkEventEmitter {
  public:
    NetworkEventEmitter();
    ~NetworkEventEmitter();
    NetworkEventEmitter(const NetworkEventEmitter&) = delete;
    NetworkEventEmitter& operator=(const NetworkEventEmitter&) = delete;

    /// Opens the socket and subscribes to links, addresses and IPv4 routes, unless it is open.
    /// Throws std::runtime_error when that fails.
    void Initialize();

    /// The start-up sweep over the first 32 interfaces: announces their addresses, delivers the
    /// link of those that are up.
    int InitInterface();

    /// Handles messages until Stop() is called or the socket is closed.
    int StartPolling();

    /// Initialize(), InitInterface(), StartPolling().
    int Start();

    /// Closes the socket; the maps stay.
    void Terminate();

    /// Has StartPolling(), the next one when none runs, return after the round it is in.
    void Stop();

    /// One round of StartPolling(): handles a datagram, waiting for it at most `timeout`. When none
    /// is there, does what was put off until the burst is over: taking stock after the socket has
    /// overrun, elections.
    /// @return whether there was anything to do
    bool PollOnce(std::chrono::milliseconds timeout);

    /// Receives one datagram and handles it. @return -1 when nothing was received
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
    const std::map<std::string, std::string>& IPv4Addresses() const { return ipv4; }
    const std::map<std::string, AddressList>& IPv6Addresses() const { return ipv6; }
    const std::map<std::string, bool>& Links() const { return linkUp; }

  private:
    /// What has changed of an interface, or-ed together.
    enum Change : unsigned { kLinkChange = 1, kIPv4Change = 2, kIPv6Change = 4, kOtherChange = 8 };

    void Subscribe();
    void Handle(nlmsghdr* message);
    void Overrun(const char* what);
    void LogLanPort(const std::string& ifname, bool running, bool slave) const;
    void DeliverLinkEvent(const std::string& ifname, bool running);
    std::string NameOf(unsigned index);
    bool IsHeard(const char* event);

    void LearnIPv6();
    void TakeStock();
    void TakeStockOfLinks(const std::map<std::string, unsigned>& links);
    void TakeStockOfIPv4(const std::map<std::string, AddressList>& addresses);
    void TakeStockOfIPv6(const std::map<std::string, AddressList>& addresses);

    void PutOffElection(const std::string& ifname, Change change);
    std::chrono::milliseconds Patience() const;
    bool IsElectionDue() const;
    void Elect();
    void Follow(const std::map<std::string, unsigned>& changed);

    int fd = -1;
    std::string none = "none";  ///< stands for an unknown or removed address
    std::map<std::string, std::string> ipv4;
    std::map<std::string, AddressList> ipv6;
    std::map<unsigned, std::string> names;
    std::map<std::string, bool> linkUp;

    int wake;  ///< an eventfd that ends the waiting
    std::atomic<bool> stopping = false;

    // What waits until no message is left, an election only so long.
    bool stockDue = false;
    bool stockTaken = false;                  ///< what was lost may concern any interface
    std::map<std::string_view, bool> hooks;   ///< whether there are hooks; asked once in a burst
    std::map<std::string, unsigned> changes;  ///< by interface, Change or-ed together
    std::chrono::steady_clock::time_point firstChange;
};

}  // namespace vexonetwork
