#include "network/routing/connection_marks.h"

#include <array>
#include <cstdio>

namespace vexonetwork::network {
namespace {

const nftables::OwnTable& Table() {
    static const nftables::OwnTable table("uplinks");
    return table;
}

std::string Hex(std::uint32_t number) {
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08x", number);
    return text.data();
}

/// "MARK set with our bits replaced", as nft writes it.
std::string Setting(const std::string& mark, std::uint32_t ours) {
    return mark + " set " + mark + " & " + Hex(~kMarkMask) + " | " + Hex(ours) + "\n";
}

}  // namespace

std::string ConnectionMarkRules(const std::vector<Uplink>& uplinks) {
    const std::string ourBits = "ct mark & " + Hex(kMarkMask) + " == ";
    std::string rules;
    for (const Uplink& uplink : uplinks) {
        const auto ifname = nftables::Quoted(uplink.ifname);
        const std::uint32_t mark = MarkOf(uplink);
        if (ifname && mark != 0) {
            rules += "iifname " + *ifname + " ct state new " + Setting("ct mark", mark);
            rules += "ct direction reply " + ourBits + Hex(mark) + " " + Setting("meta mark", mark);
        }
    }
    // After connections are known, before destinations are translated.
    return rules.empty() ? ""
                         : "chain answers {\ntype filter hook prerouting priority mangle; "
                           "policy accept;\n"
                               + rules + "}\n";
}

nftables::Complaint ConnectionMarks::Synchronise(const std::vector<Uplink>& uplinks) {
    const std::string wanted = ConnectionMarkRules(uplinks);
    if (standing == wanted) {
        return std::nullopt;
    }
    nftables::Complaint complaint = wanted.empty()          ? Table().Delete()
                                    : Table().Holds(wanted) ? std::nullopt
                                                            : Table().Write(wanted);
    if (!complaint) {
        standing = wanted;
    }
    return complaint;
}

bool ConnectionMarks::Stand(const std::vector<Uplink>& uplinks) {
    const std::string wanted = ConnectionMarkRules(uplinks);
    return wanted.empty() || Table().Holds(wanted);
}

}  // namespace vexonetwork::network
