#include "vexonetlink/message.h"

#include <algorithm>

namespace vexonetlink {
namespace {

/// The last message of a datagram, and the last attribute of a message, may lack their padding.
Bytes After(Bytes bytes, std::size_t length) {
    return bytes.subspan(std::min<std::size_t>(NLMSG_ALIGN(length), bytes.size()));
}

template <typename Header>
std::optional<Header> HeaderOf(Bytes bytes) {
    return FixedHeader<Header>(Message{.payload = bytes});
}

}  // namespace

Bytes BytesFrom(Bytes bytes, std::size_t offset) {
    return After(bytes, offset);
}

std::optional<Message> Messages::Next() {
    const auto header = HeaderOf<nlmsghdr>(left);
    if (!header || header->nlmsg_len < sizeof *header || header->nlmsg_len > left.size()) {
        return std::nullopt;
    }
    const Bytes payload = left.subspan(sizeof *header, header->nlmsg_len - sizeof *header);
    left = After(left, header->nlmsg_len);
    return Message{.type = header->nlmsg_type,
                   .flags = header->nlmsg_flags,
                   .sequence = header->nlmsg_seq,
                   .port = header->nlmsg_pid,
                   .payload = payload};
}

std::optional<Message> MessageAt(const nlmsghdr& header) {
    return Messages({reinterpret_cast<const std::byte*>(&header), header.nlmsg_len}).Next();
}

std::optional<Attribute> Attributes::Next() {
    const auto header = HeaderOf<nlattr>(left);
    if (!header || header->nla_len < sizeof *header || header->nla_len > left.size()) {
        return std::nullopt;
    }
    const Bytes whole = left.first(header->nla_len);
    left = After(left, header->nla_len);
    return Attribute{.type = static_cast<std::uint16_t>(header->nla_type & NLA_TYPE_MASK),
                     .payload = whole.subspan(sizeof *header),
                     .whole = whole};
}

std::string ToText(Bytes payload) {
    const auto end = std::find(payload.begin(), payload.end(), std::byte{0});
    return {reinterpret_cast<const char*>(payload.data()),
            static_cast<std::size_t>(end - payload.begin())};
}

}  // namespace vexonetlink
