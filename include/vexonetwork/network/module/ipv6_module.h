#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <vexonetwork/network/module/base_module.h>

namespace vexonetwork::network::module {

/// The flags of the router advertisement that was last applied to an interface.
enum RaState : std::int32_t {
    RA_STATE_NONE = 0,     ///< nothing applied yet
    RA_STATE_MANAGED = 1,  ///< M set
    RA_STATE_SLAAC = 2,    ///< M and O clear
    RA_STATE_OTHER = 3,    ///< M clear, O set
};

/// What is remembered of the router of one interface.
struct RaRecord {
    std::string gateway;  ///< its address, without a scope; "" when there is none
    std::time_t last_ra_time = 0;
    RaState state = RA_STATE_NONE;
};

class LogBudget;
class ResetRequests;

/// Follows router advertisements (RFC 4861): the first usable router of an interface becomes its
/// IPv6 gateway, and the flags M and O choose the interface's IPv6 method. Another router takes its
/// place only when it does not answer neighbour discovery, or was silent for more than 900 s.
///
/// The polling thread alone touches the records. A request to forget one is handed to it.
class IPv6Module : public BaseModule {
  public:
    IPv6Module();
    ~IPv6Module() override;

    static BaseModule* Create();

    /// Serves "RESET_IPV6_MODULE": forgets the router of "ifname". Other methods are ignored.
    /// @return 0 always
    int ProcessRequest(const Json::Value& in, Json::Value& out) override;

    /// Opens the socket. @return 0, or -1 after a log line
    int InitialModule() override;

    /// Starts the polling thread. @return 0, also when that failed and was logged
    int StartModule() override;

    /// Ends the polling thread, closes the socket. @return 0
    int TerminateModule() override;

    /// Opens a raw ICMPv6 socket that receives router solicitations and advertisements
    /// (RFC 3542). @return whether it could; the failure is then logged
    bool open_icmpv6_socket(int& fd);

    /// Waits for a datagram and receives it.
    /// @param buf      1,500 bytes
    /// @param pktinfo  where the kernel says the datagram came in; unchanged when it does not
    /// @return its length; -1 after a log line, or without one when the module is to end
    int recv_rs_ra(unsigned char* buf, sockaddr_in6* from, in6_pktinfo** pktinfo);

    /// Handles one ICMPv6 message. What RFC 4861 section 6.1.2 has a host discard is discarded: a
    /// code other than 0, fewer than 16 bytes, a hop limit other than 255, a sender whose address
    /// is not link-local; so is who says that it is no default router. A bad option only ends the
    /// walk over the options.
    /// @param hopLimit  -1 when it is not known
    void HandlePacket(unsigned char* packet, int len, const in6_addr& sender, int hopLimit,
                      const std::string& ifname);

    /// @param text  46 bytes @return `text`
    const char* print_addr(const in6_addr* addr, char* text);

    /// Whether the interface follows router advertisements.
    bool Ipv6Enable(const std::string& ifname);

    /// The prefixes of an advertisement that are for stateless autoconfiguration (RFC 4861 section
    /// 4.6.2, flag A).
    std::vector<std::string> RaAutoPrefixGet(unsigned char* ra, int len, const char* ifname);

    /// Whether an advertisement says how to get an address.
    bool IsRaValid(unsigned char* ra, int len, const std::string& ifname, bool managed);

    /// Whether the remembered router was silent for too long.
    bool IsRaExchangeable(const std::string& ifname);

    /// Whether the remembered router answers neighbour discovery (ndisc6(8)), asked for at most
    /// five seconds.
    bool IsGatewayReachable(const std::string& ifname);

    /// Whether the flags differ from those that were last applied.
    bool IsRaStateChange(const std::string& ifname, bool managed, bool other);

    void ProcessRA(const std::string& router, const std::string& ifname, unsigned char* ra, int len,
                   bool managed, bool other);

    // Of the polling thread, or of the caller where there is none.
    const std::map<std::string, RaRecord>& Records() const { return ra_records; }

  private:
    void Poll();
    void PollOnce(unsigned char* packet);
    bool Wait();
    ssize_t Receive(unsigned char* buf, sockaddr_in6* from, unsigned char* control,
                    in6_pktinfo** pktinfo);
    bool TakeControl(const msghdr& message, in6_pktinfo** pktinfo);
    void ForgetRequested();
    using Question = bool (IPv6Module::*)(const std::string& ifname);
    bool AskOnceInBurst(Question question, std::map<std::string, bool>& answers,
                        const std::string& ifname);
    bool IsHasty(const std::string& router, const std::string& ifname, bool managed, bool other);
    void AddGateway(const std::string& router, const std::string& ifname);
    void ApplyFlags(const std::string& ifname, bool managed, bool other);
    bool MayLog();
    int MillisecondsToPublication() const;
    void Publish();

    std::int32_t sock = -1;
    std::map<std::string, RaRecord> ra_records;

    int hop_limit = -1;  ///< of the datagram received last
    std::unique_ptr<LogBudget> log_budget;

    // Datagrams that came without a pause are held against one reading of the configuration and
    // one look for the router, for a second at most: a flood must not become one of that.
    bool in_burst = false;
    std::map<std::string, bool> burst_answers;     ///< of Ipv6Enable, by interface
    std::map<std::string, bool> burst_neighbours;  ///< of IsGatewayReachable, by interface

    std::map<std::string, std::chrono::steady_clock::time_point> last_changes;  ///< by interface
    int wake = -1;  ///< an eventfd that ends the waiting
    std::atomic<bool> stopping = false;
    std::unique_ptr<ResetRequests> resets;
    std::thread polling;

    // The records are published for other processes once a second at most.
    bool published = true;  ///< since the last change
    std::chrono::steady_clock::time_point next_publication;
};

}  // namespace vexonetwork::network::module
