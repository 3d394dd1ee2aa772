#include "vexonetlink/request.h"

#include <limits>

namespace vexonetlink {

Request::Request(std::uint16_t type, int flags, Bytes fixedHeader) {
    constexpr std::size_t kUsualSize = 128;
    buffer.reserve(kUsualSize);
    Append(sizeof(nlmsghdr));
    Header().nlmsg_type = type;
    Header().nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    std::memcpy(Append(fixedHeader.size()), fixedHeader.data(), fixedHeader.size());
}

/// Room for that many bytes, padded with zeros.
std::byte* Request::Append(std::size_t length) {
    const std::size_t place = buffer.size();
    buffer.resize(place + NLMSG_ALIGN(length));
    Header().nlmsg_len = static_cast<std::uint32_t>(buffer.size());
    return buffer.data() + place;
}

void Request::Put(std::uint16_t type, Bytes payload) {
    const std::size_t length = sizeof(nlattr) + payload.size();
    if (length > std::numeric_limits<std::uint16_t>::max()) {
        fits = false;
        return;
    }
    const nlattr header{static_cast<std::uint16_t>(length), type};
    std::byte* const place = Append(length);
    std::memcpy(place, &header, sizeof header);
    if (!payload.empty()) {
        std::memcpy(place + sizeof header, payload.data(), payload.size());
    }
}

void Request::PutU8(std::uint16_t type, std::uint8_t value) {
    Put(type, std::as_bytes(std::span(&value, 1)));
}

void Request::PutU32(std::uint16_t type, std::uint32_t value) {
    Put(type, std::as_bytes(std::span(&value, 1)));
}

void Request::PutText(std::uint16_t type, const std::string& text) {
    Put(type, std::as_bytes(std::span(text.c_str(), text.size() + 1)));
}

void Request::PutAll(Bytes attributes) {
    if (!attributes.empty()) {
        std::memcpy(Append(attributes.size()), attributes.data(), attributes.size());
    }
}

void Request::SetSequence(std::uint32_t sequence) {
    Header().nlmsg_seq = sequence;
}

void Request::AddFlags(int flags) {
    Header().nlmsg_flags = static_cast<std::uint16_t>(Header().nlmsg_flags | flags);
}

Bytes Request::Message() const {
    return fits ? Bytes(buffer) : Bytes();
}

}  // namespace vexonetlink
