#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>

/// rtnetlink(7) as values. Bytes become a value or nothing in pure functions; sockets are in
/// socket.h. Whatever the bytes say, nothing is read outside of them.
namespace vexonetlink {

using Bytes = std::span<const std::byte>;

/// One message, cut to the length that it gives itself. It refers to the bytes it was found in.
struct Message {
    std::uint16_t type = 0;      ///< RTM_… or NLMSG_…
    std::uint16_t flags = 0;     ///< NLM_F_…
    std::uint32_t sequence = 0;  ///< that of the request it answers
    std::uint32_t port = 0;      ///< of the socket that asked
    Bytes payload;               ///< fixed header and attributes
};

/// The walk over the messages of a datagram. It ends at one that is too short for its header or
/// longer than what is left.
class Messages {
  public:
    Messages() = default;
    explicit Messages(Bytes datagram) : left(datagram) {}

    std::optional<Message> Next();

    /// What the walk has not passed: after its end empty, or bytes that are no message.
    Bytes Left() const { return left; }

  private:
    Bytes left;
};

/// The message behind a header whose nlmsg_len is known to be true; nothing when that is too short.
std::optional<Message> MessageAt(const nlmsghdr& header);

struct Attribute {
    std::uint16_t type = 0;  ///< without the flags NLA_F_…
    Bytes payload;
    Bytes whole;  ///< with its header, without padding
};

/// The walk over the attributes of a message or of a nest. It ends as Messages does; padding that
/// lacks behind the last one is no fault.
class Attributes {
  public:
    Attributes() = default;
    explicit Attributes(Bytes attributes) : left(attributes) {}

    std::optional<Attribute> Next();
    Bytes Left() const { return left; }

  private:
    Bytes left;
};

/// A copy of the fixed header of a message, or nothing when the message is too short for it.
template <typename Header>
std::optional<Header> FixedHeader(const Message& message) {
    Header header;
    if (message.payload.size() < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(&header, message.payload.data(), sizeof header);
    return header;
}

/// The bytes from an aligned offset on; none when there are not so many.
Bytes BytesFrom(Bytes bytes, std::size_t offset);

/// The attributes behind the fixed header.
template <typename Header>
Attributes AttributesBehind(const Message& message) {
    return Attributes(BytesFrom(message.payload, sizeof(Header)));
}

/// The number that a payload is; nothing when it has another size.
template <typename Number>
std::optional<Number> ToNumber(Bytes payload) {
    Number number{};
    if (payload.size() != sizeof number) {
        return std::nullopt;
    }
    std::memcpy(&number, payload.data(), sizeof number);
    return number;
}

/// The text up to its terminating zero, or to the payload's end where that is missing.
std::string ToText(Bytes payload);

}  // namespace vexonetlink
