#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include <vexonetwork/ipv6/router/router6_attr.h>

namespace vexo::network::ipv6::router {

struct StoredRouter;
int ApplyRouter6Lans();

/// A /64 and who has it.
struct Router6PrefixAttr {
    std::string prefix;  ///< in canonical form (RFC 5952), without a length
    std::string wan;     ///< of the router it is routed to
    std::string lan;     ///< "" while it is free
};

/// Hands the /64s of the routers' prefixes to LAN interfaces. A shorter prefix has two of them.
class Router6Prefix {
  public:
    /// Loads; what cannot be loaded is left out, with a log line.
    Router6Prefix();

    /// Reads the routers' files and asks the daemon once for its list of gateways. A file that
    /// names no WAN, or is not the one of its WAN, is left out; of one that lacks a section, or
    /// whose WAN is a PPPoE connection that is down, the rest counts.
    /// @return 0, or -1 when the folder cannot be read; `routers` is then unchanged
    int Load();

    /// Whether a router was read whole: saving any other would lose what its file still has.
    bool IsWhole(const Router6Attr& router) const { return !incomplete.contains(router.wan); }

    /// @return the address in canonical form, or "" when it is no IPv6 address
    static std::string NormalizePrefix(const std::string& text);

    /// The /64s that are handed out of a prefix: itself, or the first two, as texts.
    /// @return nothing for a longer prefix, or an address that is none
    static std::vector<std::string> EnumPrefix64(const std::string& address, int length);

    /// @return the LAN that has the /64 from this router, or ""
    std::string AllocatedTo(const std::string& prefix, const Router6Attr& router) const;

    /// Grants a /64 that is free, or takes it back, in `routers` and in the file. Both read the
    /// files anew, as another process may have granted since, and keep others out meanwhile.
    /// A LAN can have one /64 of a router, for that is what the file has room for.
    /// @return 0, also when there was nothing to take back; -1 with nothing changed
    int Allocate(const std::string& prefix, const std::string& lan);
    int Deallocate(const std::string& prefix, const std::string& lan);

    std::vector<Router6PrefixAttr> List() const;

    std::vector<Router6Attr> routers;  ///< in byte order of their files' names

  private:
    friend int ApplyRouter6Lans();

    /// What Load reads, also of files that name no WAN.
    /// @return nothing, with a log line, when the folder cannot be read
    static std::optional<std::vector<StoredRouter>> LoadStored();
    static std::optional<StoredRouter> LoadRouter(Router6File& file, const std::string& ifname,
                                                  const Router6Attr::PriorityOf& priorityOf);
    int AllocateLocked(const std::string& prefix, const std::string& lan);
    int DeallocateLocked(const std::string& prefix, const std::string& lan);

    std::set<std::string> incomplete;  ///< WANs
};

}  // namespace vexo::network::ipv6::router
