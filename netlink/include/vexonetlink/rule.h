#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/ip.h>
#include <vexonetlink/message.h>
#include <vexonetlink/request.h>

namespace vexonetlink {

/// A rule that says in which table packets are looked up, as RTM_NEWRULE and RTM_DELRULE tell it.
struct Rule {
    std::uint32_t priority = 0;
    IpPrefix source = {};                ///< its family is that of the rule
    std::uint32_t table = 0;             ///< RT_TABLE_…, or beyond 255
    std::int32_t suppressedLength = -1;  ///< routes of this length and shorter do not count
    std::uint8_t protocol = 0;           ///< RTPROT_…: who has put it there
    std::uint8_t action = 1;             ///< FR_ACT_…; 1: to the table
    IpPrefix destination = {};           ///< none for all
    std::uint8_t tos = 0;
    std::uint32_t flags = 0;  ///< FIB_RULE_…
    std::string iif = {};     ///< "" for any
    std::string oif = {};     ///< "" for any
    std::uint32_t mark = 0;
    std::uint32_t markMask = 0;
    std::uint32_t target = 0;            ///< priority of the rule to go to
    bool isNew = true;                   ///< false when it is told to be gone
    std::vector<std::byte> others = {};  ///< attributes without a field here, to be written back

    int Family() const { return source.Family(); }
    auto operator<=>(const Rule&) const = default;
};

/// @return nothing for a message of another type or family, or with an impossible prefix length
std::optional<Rule> ReadRule(const Message& message);

Request RulesRequest(int family);

/// A change of one rule. @param type, flags  RTM_NEWRULE or RTM_DELRULE, NLM_F_…
Request RuleRequest(std::uint16_t type, int flags, const Rule& rule);

}  // namespace vexonetlink
