#include "vexo/hook_report.h"

#include <json/value.h>
#include <json/writer.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include <vexobase/unique_fd.h>

#include "vexo/hooks/hook_end.h"

namespace {

/// Bytes of keys and values that a report tells. Each may become six as JSON text.
constexpr std::size_t kMaxEnvironment = 4096;

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
    header.nlmsg_type = VEXO_HOOK_REPORT_TYPE;
    std::string message(NLMSG_HDRLEN, '\0');
    std::memcpy(message.data(), &header, sizeof header);
    return message + text + '\0';
}

}  // namespace

namespace vexoplatform {

void SendHookReport(const std::string& hook, const std::string& path,
                    const HookEnvironment& environment, const HookEnd& end) {
    const vexobase::UniqueFd socket(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK));
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
    sockaddr_nl group{};
    group.nl_family = AF_NETLINK;
    group.nl_groups = 1U << (VEXO_HOOK_REPORT_GROUP - 1);
    // Always fails: it is also meant for the kernel, which has no ear for this family.
    [[maybe_unused]] const ssize_t sent =
        ::sendto(socket.Get(), message.data(), message.size(), MSG_DONTWAIT,
                 reinterpret_cast<const sockaddr*>(&group), sizeof group);
}

}  // namespace vexoplatform
