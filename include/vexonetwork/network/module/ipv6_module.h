#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>
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

struct AdvertisedOptions;
struct Claim;
struct Decision;
struct NeighbourAnswer;

/// Follows router advertisements (RFC 4861): the first usable router of an interface becomes its
/// IPv6 gateway, and the flags M and O choose the interface's IPv6 method. Another router takes its
/// place only when it does not answer neighbour discovery, or was silent for more than 900 s.
///
/// The polling thread has changes that come within three seconds of another one wait until these
/// are over: the last state counts then, and what another router claims is decided anew then.
///
/// The members below may be called without a polling thread too; they then change at once. Beside
/// it only ProcessRequest may be called.
class IPv6Module : public BaseModule {
  public:
    IPv6Module();
    ~IPv6Module() override;

    static BaseModule* Create();

    /// Serves "RESET_IPV6_MODULE": forgets the router of "ifname", before it returns. Other methods
    /// are ignored. @return 0 always
    int ProcessRequest(const Json::Value& in, Json::Value& out) override;

    // In any order and as often as one likes.

    /// Opens the socket. One that is open stays, and so does a thread that polls it.
    /// @return 0, or -1 after a log line
    int InitialModule() override;

    /// Starts the polling thread; one that runs goes on. @return 0, also when that failed and was
    /// logged
    int StartModule() override;

    /// Ends the polling thread, also where it waits for ndisc6(8), and closes the socket.
    /// @return 0
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

    /// What is remembered; not to be read beside the polling thread.
    const std::map<std::string, RaRecord>& Records() const;

  private:
    struct Parts;

    void Poll();
    void PollOnce(unsigned char* packet);
    void RunTimers();
    bool Wait(bool withTimers);
    std::optional<std::chrono::steady_clock::time_point> NextTimer(bool mayLook) const;
    std::optional<int> TryReceive(unsigned char* buf, sockaddr_in6* from, in6_pktinfo** pktinfo);
    void StopPolling();

    bool Handle(unsigned char* packet, int len, const in6_addr& sender, int hopLimit,
                const std::string& ifname, bool paced);
    AdvertisedOptions Options(const unsigned char* ra, int len);
    bool Accepts(const std::string& router, const std::string& ifname, unsigned char* ra, int len,
                 bool managed);
    void Consider(const std::string& ifname, const Claim& claim, bool paced);
    bool Follows(const std::string& ifname);
    std::optional<NeighbourAnswer> AskNeighbour(const std::string& ifname,
                                                const std::string& gateway);
    void LogKept(const Decision& decision);
    void Apply(const std::string& ifname, const Claim& claim);
    void AddGateway(const std::string& router, const std::string& ifname);
    bool MayLog();
    void Publish();

    const std::unique_ptr<Parts> parts;
};

}  // namespace vexonetwork::network::module
