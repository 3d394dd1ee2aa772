#include "vexo/hook_report.h"

#include <json/value.h>
#include <json/writer.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include <vexobase/unique_fd.h>

#include "vexo/hooks/hook_end.h"

namespace {

using vexobase::UniqueFd;

constexpr unsigned kGroup = 24;

/// Others may use the group too; theirs are other types.
constexpr std::uint16_t kType = 0x7678;

/// Bytes of keys and values that a report tells. Each may become six as JSON text.
constexpr std::size_t kMaxEnvironment = 4096;

sockaddr_nl GroupAddress() {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1U << (kGroup - 1);
    return address;
}

UniqueFd OpenSocket() {
    return UniqueFd(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_USERSOCK));
}

void PutEnvironment(Json::Value& report, const vexoplatform::HookEnvironment& environment) {
    Json::Value& told = report["environment"] = Json::Value(Json::objectValue);
    std::size_t left = kMaxEnvironment;
    for (const auto& [key, value] : environment) {
        if (key.size() >= left) {
            report["truncated"] = true;
            return;
        }
        left -= key.size();
        told[key] = value.substr(0, left);
        report["truncated"] = report["truncated"].asBool() || value.size() > left;
        left -= std::min(left, value.size());
    }
}

void PutEnd(Json::Value& report, const vexoplatform::HookEnd& end) {
    report["killed"] = end.killed != vexoplatform::HookLimit::kNone;
    if (!end.error.empty() || !end.status) {
        report["error"] = end.error;
    } else if (WIFSIGNALED(*end.status)) {
        report["signal"] = WTERMSIG(*end.status);
    } else {
        report["status"] = WEXITSTATUS(*end.status);
    }
}

/// A netlink message with the report's text and a NUL.
std::string ToMessage(const Json::Value& report) {
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    const std::string text = Json::writeString(compact, report);
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(NLMSG_HDRLEN + text.size() + 1);
    header.nlmsg_type = kType;
    std::string message(NLMSG_HDRLEN, '\0');
    std::memcpy(message.data(), &header, sizeof header);
    return message + text + '\0';
}

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

/// @param length  of what was received
/// @return the text, which ends with a NUL within the message; null for what is no report
const char* TextOf(const char* message, std::size_t length) {
    nlmsghdr header{};
    if (length <= NLMSG_HDRLEN) {
        return nullptr;
    }
    std::memcpy(&header, message, sizeof header);
    const bool isReport =
        header.nlmsg_type == kType && header.nlmsg_len == length && message[length - 1] == '\0';
    return isReport ? message + NLMSG_HDRLEN : nullptr;
}

}  // namespace

namespace vexoplatform {

void SendHookReport(const std::string& hook, const std::string& path,
                    const HookEnvironment& environment, const HookEnd& end) {
    const UniqueFd socket = OpenSocket();
    if (!socket) {
        return;
    }
    Json::Value report(Json::objectValue);
    report["hook"] = hook;
    report["executable"] = path.substr(path.rfind('/') + 1);
    report["truncated"] = false;
    report["duration_ms"] = Json::Int64(end.duration.count());
    PutEnvironment(report, environment);
    PutEnd(report, end);
    const std::string message = ToMessage(report);
    const sockaddr_nl group = GroupAddress();
    // Always fails: it is also meant for the kernel, which has no ear for this family.
    [[maybe_unused]] const ssize_t sent =
        ::sendto(socket.Get(), message.data(), message.size(), MSG_DONTWAIT,
                 reinterpret_cast<const sockaddr*>(&group), sizeof group);
}

}  // namespace vexoplatform

int VEXOHookReportOpen(void) {
    UniqueFd socket = OpenSocket();
    const sockaddr_nl group = GroupAddress();
    const int on = 1;
    if (!socket
        || ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&group), sizeof group) != 0
        || ::setsockopt(socket.Get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) {
        return -1;
    }
    return socket.Release();
}

int VEXOHookReportRead(int fd, char* report, int size) {
    if (size < VEXO_HOOK_REPORT_MAX) {
        errno = EINVAL;
        return -1;
    }
    std::array<char, VEXO_HOOK_REPORT_MAX> buffer;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred)) + 64> control{};
    iovec part{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t length = ::recvmsg(fd, &message, MSG_DONTWAIT);
    if (length < 0) {
        return errno == EAGAIN || errno == EINTR ? 0 : -1;
    }
    const char* text = TextOf(buffer.data(), static_cast<std::size_t>(length));
    if (text == nullptr || (message.msg_flags & MSG_TRUNC) != 0 || !IsFromRoot(message)) {
        return 0;
    }
    std::strcpy(report, text);
    return 1;
}
