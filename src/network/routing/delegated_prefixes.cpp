#include "network/routing/delegated_prefixes.h"

#include <algorithm>
#include <string_view>

#include "network/routing/section_file.h"

namespace vexonetwork::network {
namespace {

constexpr std::string_view kTunnel = "6in4-";

bool IsTunnel(const std::string& ifname) {
    return ifname.starts_with(kTunnel);
}

/// Of global addresses or local ones (RFC 4193), as long as providers give them.
bool CanBeDelegated(const Prefix& prefix) {
    constexpr int kShortest = 20;
    constexpr int kLongest = 64;
    static const Prefix kRanges[] = {*ParsePrefix(AF_INET6, "2000::/3", HostBits::kRefused),
                                     *ParsePrefix(AF_INET6, "fc00::/7", HostBits::kRefused)};
    return prefix.Length() >= kShortest && prefix.Length() <= kLongest
           && std::ranges::any_of(kRanges,
                                  [&](const Prefix& range) { return range.Contains(prefix); });
}

}  // namespace

std::string Router6FileOf(const std::string& ifname) {
    return "/etc/sysconfig/networking/ipv6-" + ifname.substr(IsTunnel(ifname) ? kTunnel.size() : 0);
}

std::vector<Prefix> DelegatedPrefixes(const std::string& ifname) {
    const auto file = SectionFile::Read(Router6FileOf(ifname));
    if (!file) {
        return {};
    }
    const auto conf = std::ranges::find(file->sections, "conf", &Section::Name);
    if (conf == file->sections.end()
        || (conf->VerbatimValue("type") == "native") == IsTunnel(ifname)) {
        return {};
    }
    const auto prefix = ParsePrefix(AF_INET6, conf->VerbatimValue("prefix"), HostBits::kMasked);
    return prefix && CanBeDelegated(*prefix) ? std::vector{*prefix} : std::vector<Prefix>();
}

}  // namespace vexonetwork::network
