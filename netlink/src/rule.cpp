#include "vexonetlink/rule.h"

#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>

namespace vexonetlink {
namespace {

/// What only the kernel reports, of the interfaces that a rule names.
constexpr std::uint32_t kReportedFlags =
    FIB_RULE_PERMANENT | FIB_RULE_UNRESOLVED | FIB_RULE_IIF_DETACHED | FIB_RULE_OIF_DETACHED;

void ReadAttribute(const Attribute& attribute, Rule& rule) {
    const Bytes payload = attribute.payload;
    const auto number = [payload](std::uint32_t fallback) {
        return ToNumber<std::uint32_t>(payload).value_or(fallback);
    };
    switch (attribute.type) {
        case FRA_PRIORITY:
            rule.priority = number(0);
            break;
        case FRA_SRC:
            rule.source = WithNetwork(rule.source, payload);
            break;
        case FRA_DST:
            rule.destination = WithNetwork(rule.destination, payload);
            break;
        case FRA_TABLE:
            rule.table = number(rule.table);
            break;
        case FRA_SUPPRESS_PREFIXLEN:
            rule.suppressedLength = ToNumber<std::int32_t>(payload).value_or(-1);
            break;
        case FRA_PROTOCOL:
            rule.protocol = ToNumber<std::uint8_t>(payload).value_or(0);
            break;
        case FRA_IIFNAME:
            rule.iif = ToText(payload);
            break;
        case FRA_OIFNAME:
            rule.oif = ToText(payload);
            break;
        case FRA_FWMARK:
            rule.mark = number(0);
            break;
        case FRA_FWMASK:
            rule.markMask = number(0);
            break;
        case FRA_GOTO:
            rule.target = number(0);
            break;
        default:
            rule.others.insert(rule.others.end(), attribute.whole.begin(), attribute.whole.end());
            rule.others.resize(NLMSG_ALIGN(rule.others.size()));
            break;
    }
}

void PutPrefix(Request& request, std::uint16_t type, const IpPrefix& prefix) {
    if (prefix.Length() != 0) {
        request.Put(type, BytesOf(prefix.Network()));
    }
}

void PutName(Request& request, std::uint16_t type, const std::string& ifname) {
    if (!ifname.empty()) {
        request.PutText(type, ifname);
    }
}

void PutUnlessZero(Request& request, std::uint16_t type, std::uint32_t value) {
    if (value != 0) {
        request.PutU32(type, value);
    }
}

fib_rule_hdr HeaderOf(const Rule& rule) {
    fib_rule_hdr header{};
    header.family = static_cast<std::uint8_t>(rule.Family());
    header.src_len = rule.source.Length();
    header.dst_len = rule.destination.Length();
    header.tos = rule.tos;
    header.action = rule.action;
    header.flags = rule.flags & ~kReportedFlags;
    return header;
}

}  // namespace

std::optional<Rule> ReadRule(const Message& message) {
    const auto header = FixedHeader<fib_rule_hdr>(message);
    if (!header || (message.type != RTM_NEWRULE && message.type != RTM_DELRULE)
        || !IsIpFamily(header->family) || header->src_len > AddressBits(header->family)
        || header->dst_len > AddressBits(header->family)) {
        return std::nullopt;
    }
    Rule rule;
    rule.isNew = message.type == RTM_NEWRULE;
    const IpAddress any{header->family, {}};
    rule.source = {any, header->src_len};
    rule.destination = header->dst_len == 0 ? IpPrefix() : IpPrefix(any, header->dst_len);
    rule.table = header->table;
    rule.tos = header->tos;
    rule.action = header->action;
    rule.flags = header->flags;
    for (auto attributes = AttributesBehind<fib_rule_hdr>(message);
         const auto attribute = attributes.Next();) {
        ReadAttribute(*attribute, rule);
    }
    return rule;
}

Request RulesRequest(int family) {
    fib_rule_hdr header{};
    header.family = static_cast<std::uint8_t>(family);
    return {RTM_GETRULE, NLM_F_DUMP, header};
}

Request RuleRequest(std::uint16_t type, int flags, const Rule& rule) {
    Request request(type, flags, HeaderOf(rule));
    request.PutU32(FRA_PRIORITY, rule.priority);
    request.PutU32(FRA_TABLE, rule.table);
    request.PutU8(FRA_PROTOCOL, rule.protocol);
    PutPrefix(request, FRA_SRC, rule.source);
    PutPrefix(request, FRA_DST, rule.destination);
    PutName(request, FRA_IIFNAME, rule.iif);
    PutName(request, FRA_OIFNAME, rule.oif);
    PutUnlessZero(request, FRA_FWMARK, rule.mark);
    PutUnlessZero(request, FRA_FWMASK, rule.markMask);
    PutUnlessZero(request, FRA_GOTO, rule.target);
    if (rule.suppressedLength >= 0) {
        request.PutU32(FRA_SUPPRESS_PREFIXLEN, static_cast<std::uint32_t>(rule.suppressedLength));
    }
    request.PutAll(rule.others);
    return request;
}

}  // namespace vexonetlink
