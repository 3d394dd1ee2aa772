#pragma once

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vexoplatform {

/// The attributes of a message or of a nest; none is read past the length it was given with.
class NetlinkAttributes {
  public:
    explicit NetlinkAttributes(std::span<const std::byte> attributeBytes) : bytes(attributeBytes) {}
    NetlinkAttributes(const nlmsghdr& message, std::size_t fixedHeaderSize);

    /// The first attribute of the type, or null.
    const nlattr* Find(std::uint16_t type) const;

    /// The payload; empty when there is no such attribute.
    std::span<const std::byte> Bytes(std::uint16_t type) const;
    NetlinkAttributes Nest(std::uint16_t type) const { return NetlinkAttributes(Bytes(type)); }

    /// Nothing when there is no such attribute or it has another length or form.
    std::optional<std::uint32_t> U32(std::uint16_t type) const;
    std::optional<std::uint8_t> U8(std::uint16_t type) const;
    std::optional<std::string> Text(std::uint16_t type) const;

    void ForEach(const std::function<void(const nlattr&)>& visit) const;

    /// The bytes, to outlive the message.
    std::vector<std::byte> Copy() const { return {bytes.begin(), bytes.end()}; }

  private:
    std::span<const std::byte> bytes;
};

/// One rtnetlink message in the making. What does not fit is remembered and refused on sending.
class NetlinkRequest {
  public:
    NetlinkRequest(std::uint16_t type, std::uint16_t flags);

    /// Appends the fixed header of the message type, all zero, before any attribute.
    template <typename Header>
    Header& PutHeader() {
        return *static_cast<Header*>(mnl_nlmsg_put_extra_header(message, sizeof(Header)));
    }
    void Put(std::uint16_t type, std::span<const std::byte> payload);
    void PutText(std::uint16_t type, const std::string& text);
    void PutU32(std::uint16_t type, std::uint32_t value);
    void PutAll(const NetlinkAttributes& attributes);

    nlmsghdr* Message() { return message; }
    bool Fits() const { return fits; }

  private:
    std::vector<char> buffer;
    nlmsghdr* message;
    bool fits = true;
};

/// The fixed header of a received message, or null when the message is too short for it.
template <typename Header>
const Header* FixedHeader(const nlmsghdr& message) {
    return mnl_nlmsg_get_payload_len(&message) < sizeof(Header)
               ? nullptr
               : static_cast<const Header*>(mnl_nlmsg_get_payload(&message));
}

using NetlinkHandler = std::function<void(const nlmsghdr&)>;

/// Sends a request over a socket of its own, hands each answer to `handler` and waits for the
/// acknowledgement, or for the end of the dump when the request has NLM_F_DUMP.
/// @return 0, or -1 with errno; EINTR says that what was dumped changed meanwhile
[[nodiscard]] int NetlinkExchange(NetlinkRequest& request, const NetlinkHandler& handler = {});

/// Dumps and parses; begins anew when what was dumped changed meanwhile.
/// @param parse  turns a message into a value, or into nothing to leave it out
/// @return the values in the kernel's order, or nothing with errno
template <typename Value>
std::optional<std::vector<Value>> NetlinkDump(NetlinkRequest& request,
                                              std::optional<Value> (*parse)(const nlmsghdr&)) {
    constexpr int kMostAttempts = 16;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        std::vector<Value> values;
        const auto collect = [&](const nlmsghdr& message) {
            if (auto value = parse(message)) {
                values.push_back(std::move(*value));
            }
        };
        if (NetlinkExchange(request, collect) == 0) {
            return values;
        }
        if (errno != EINTR) {
            break;
        }
    }
    return std::nullopt;
}

}  // namespace vexoplatform
