#include "facts/hook_reports.h"

#include <linux/netlink.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <string_view>

#include <vexo/hook_report.h>

namespace vexonetctl {

namespace {

using vexobase::UniqueFd;

/// The kernel itself fills in who sent a message.
bool IsFromRoot(msghdr& message) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_CREDENTIALS) {
            ucred sender{};
            std::memcpy(&sender, CMSG_DATA(part), sizeof sender);
            return sender.uid == 0;
        }
    }
    return false;
}

/// The text in a datagram, without its NUL; "" for what is no report.
std::string_view TextOf(std::string_view datagram) {
    nlmsghdr header{};
    if (datagram.size() <= NLMSG_HDRLEN) {
        return "";
    }
    std::memcpy(&header, datagram.data(), sizeof header);
    const bool isReport = header.nlmsg_type == VEXO_HOOK_REPORT_TYPE
                          && header.nlmsg_len == datagram.size() && datagram.back() == '\0';
    return isReport ? datagram.substr(NLMSG_HDRLEN).data() : "";
}

}  // namespace

UniqueFd OpenHookReports() {
    UniqueFd socket(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_USERSOCK));
    sockaddr_nl group{};
    group.nl_family = AF_NETLINK;
    group.nl_groups = 1U << (VEXO_HOOK_REPORT_GROUP - 1);
    const int on = 1;
    if (!socket
        || ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&group), sizeof group) != 0
        || ::setsockopt(socket.Get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) {
        return UniqueFd();
    }
    return socket;
}

std::optional<std::string> TakeHookReport(const UniqueFd& socket) {
    std::array<char, VEXO_HOOK_REPORT_MAX> buffer;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred)) + 64> control{};
    iovec part{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t length = ::recvmsg(socket.Get(), &message, MSG_DONTWAIT);
    if (length < 0) {
        return std::nullopt;
    }
    if ((message.msg_flags & MSG_TRUNC) != 0 || !IsFromRoot(message)) {
        return "";
    }
    return std::string(TextOf({buffer.data(), static_cast<std::size_t>(length)}));
}

}  // namespace vexonetctl
