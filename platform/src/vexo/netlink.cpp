#include "vexo/netlink.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <vexobase/unique_handle.h>

namespace vexoplatform {

namespace {

// The kernel fills its dump messages up to the room it was seen to get, at most this much.
constexpr std::size_t kBufferSize = 32768;

void CloseSocket(mnl_socket* socket) {
    mnl_socket_close(socket);
}
using Socket = vexobase::UniqueHandle<mnl_socket, CloseSocket>;

Socket OpenSocket() {
    Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
    if (!socket || mnl_socket_bind(socket.Get(), 0, MNL_SOCKET_AUTOPID) != 0) {
        return Socket();
    }
    // Kernels before 4.20 do not know it and dump more; the parsers filter again.
    int on = 1;
    mnl_socket_setsockopt(socket.Get(), NETLINK_GET_STRICT_CHK, &on, sizeof on);
    return socket;
}

int HandleMessage(const nlmsghdr* message, void* handler) {
    if (const auto& handle = *static_cast<const NetlinkHandler*>(handler)) {
        handle(*message);
    }
    return MNL_CB_OK;
}

/// Both the acknowledgement and the last message of a dump begin with an error number, negative
/// or 0. libmnl by itself does not look at the latter.
int HandleEnd(const nlmsghdr* message, void* /*handler*/) {
    const auto* error = FixedHeader<int>(*message);
    if (error == nullptr || *error > 0) {
        errno = EBADMSG;
        return MNL_CB_ERROR;
    }
    errno = -*error;
    return *error == 0 ? MNL_CB_STOP : MNL_CB_ERROR;
}

int Receive(const Socket& socket, unsigned int sequence, const NetlinkHandler& handler) {
    std::array<mnl_cb_t, NLMSG_DONE + 1> control{};
    // libmnl has no defaults for the types below the size of this table.
    control[NLMSG_ERROR] = HandleEnd;
    control[NLMSG_DONE] = HandleEnd;
    std::vector<char> buffer(kBufferSize);
    auto* data = const_cast<NetlinkHandler*>(&handler);

    int state = MNL_CB_OK;
    while (state == MNL_CB_OK) {
        const ssize_t length = mnl_socket_recvfrom(socket.Get(), buffer.data(), buffer.size());
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length < 0) {
            return -1;
        }
        state = mnl_cb_run2(buffer.data(), static_cast<std::size_t>(length), sequence,
                            mnl_socket_get_portid(socket.Get()), HandleMessage, data,
                            control.data(), control.size());
    }
    return state == MNL_CB_STOP ? 0 : -1;
}

}  // namespace

NetlinkRequest::NetlinkRequest(std::uint16_t type, std::uint16_t flags)
    : buffer(kBufferSize), message(mnl_nlmsg_put_header(buffer.data())) {
    message->nlmsg_type = type;
    message->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags);
    message->nlmsg_seq = 1;
}

void NetlinkRequest::Put(std::uint16_t type, std::span<const std::byte> payload) {
    fits = mnl_attr_put_check(message, buffer.size(), type, payload.size(), payload.data()) && fits;
}

void NetlinkRequest::PutText(std::uint16_t type, const std::string& text) {
    fits = mnl_attr_put_strz_check(message, buffer.size(), type, text.c_str()) && fits;
}

void NetlinkRequest::PutU32(std::uint16_t type, std::uint32_t value) {
    fits = mnl_attr_put_u32_check(message, buffer.size(), type, value) && fits;
}

void NetlinkRequest::PutAll(const NetlinkAttributes& attributes) {
    attributes.ForEach([this](const nlattr& attribute) {
        Put(attribute.nla_type, {static_cast<const std::byte*>(mnl_attr_get_payload(&attribute)),
                                 mnl_attr_get_payload_len(&attribute)});
    });
}

NetlinkAttributes::NetlinkAttributes(const nlmsghdr& message, std::size_t fixedHeaderSize) {
    const std::size_t length = mnl_nlmsg_get_payload_len(&message);
    const std::size_t offset = MNL_ALIGN(fixedHeaderSize);
    if (length > offset) {
        bytes = {static_cast<const std::byte*>(mnl_nlmsg_get_payload_offset(&message, offset)),
                 length - offset};
    }
}

void NetlinkAttributes::ForEach(const std::function<void(const nlattr&)>& visit) const {
    const auto* end = bytes.data() + bytes.size();
    const auto* attribute = reinterpret_cast<const nlattr*>(bytes.data());
    while (mnl_attr_ok(attribute,
                       static_cast<int>(end - reinterpret_cast<const std::byte*>(attribute)))) {
        visit(*attribute);
        attribute = mnl_attr_next(attribute);
    }
}

const nlattr* NetlinkAttributes::Find(std::uint16_t type) const {
    const nlattr* found = nullptr;
    ForEach([&](const nlattr& attribute) {
        if (found == nullptr && mnl_attr_get_type(&attribute) == type) {
            found = &attribute;
        }
    });
    return found;
}

std::span<const std::byte> NetlinkAttributes::Bytes(std::uint16_t type) const {
    const nlattr* attribute = Find(type);
    if (attribute == nullptr) {
        return {};
    }
    return {static_cast<const std::byte*>(mnl_attr_get_payload(attribute)),
            mnl_attr_get_payload_len(attribute)};
}

std::optional<std::uint32_t> NetlinkAttributes::U32(std::uint16_t type) const {
    const nlattr* attribute = Find(type);
    if (attribute == nullptr || mnl_attr_validate(attribute, MNL_TYPE_U32) != 0) {
        return std::nullopt;
    }
    return mnl_attr_get_u32(attribute);
}

std::optional<std::uint8_t> NetlinkAttributes::U8(std::uint16_t type) const {
    const nlattr* attribute = Find(type);
    if (attribute == nullptr || mnl_attr_validate(attribute, MNL_TYPE_U8) != 0) {
        return std::nullopt;
    }
    return mnl_attr_get_u8(attribute);
}

std::optional<std::string> NetlinkAttributes::Text(std::uint16_t type) const {
    const nlattr* attribute = Find(type);
    if (attribute == nullptr || mnl_attr_validate(attribute, MNL_TYPE_NUL_STRING) != 0) {
        return std::nullopt;
    }
    return mnl_attr_get_str(attribute);
}

int NetlinkExchange(NetlinkRequest& request, const NetlinkHandler& handler) {
    if (!request.Fits()) {
        errno = EMSGSIZE;
        return -1;
    }
    const Socket socket = OpenSocket();
    nlmsghdr* message = request.Message();
    if (!socket || mnl_socket_sendto(socket.Get(), message, message->nlmsg_len) < 0) {
        return -1;
    }
    return Receive(socket, message->nlmsg_seq, handler);
}

}  // namespace vexoplatform
