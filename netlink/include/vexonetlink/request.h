#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <vexonetlink/message.h>

namespace vexonetlink {

/// One message to the kernel in the making: header, fixed header, attributes.
class Request {
  public:
    /// @param type   RTM_…
    /// @param flags  NLM_F_… beside NLM_F_REQUEST
    template <typename Header>
    Request(std::uint16_t type, int flags, const Header& fixedHeader)
        : Request(type, flags, Bytes(std::as_bytes(std::span(&fixedHeader, 1)))) {}

    void Put(std::uint16_t type, Bytes payload);
    void PutU8(std::uint16_t type, std::uint8_t value);
    void PutU32(std::uint16_t type, std::uint32_t value);
    /// With its terminating zero.
    void PutText(std::uint16_t type, const std::string& text);

    /// Appends attributes that are whole, padding included.
    void PutAll(Bytes attributes);

    void SetSequence(std::uint32_t sequence);
    void AddFlags(int flags);

    /// The message, padded; none when an attribute was too long for its length.
    Bytes Message() const;

  private:
    Request(std::uint16_t type, int flags, Bytes fixedHeader);
    std::byte* Append(std::size_t length);
    nlmsghdr& Header() { return *reinterpret_cast<nlmsghdr*>(buffer.data()); }

    std::vector<std::byte> buffer;
    bool fits = true;
};

}  // namespace vexonetlink
