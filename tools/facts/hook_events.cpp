#include "facts/hook_events.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <vexonetwork/utils/json_reader.h>

#include "facts/hook_reports.h"
#include "failure.h"

namespace vexonetctl {
namespace {

using vexonetwork::utils::GetBool;
using vexonetwork::utils::GetInt;
using vexonetwork::utils::GetString;

std::string EndOf(const Json::Value& report) {
    const std::string after =
        " after " + std::to_string(GetInt(report, "duration_ms").value_or(0)) + " ms";
    if (GetBool(report, "killed").value_or(false)) {
        return "killed" + after;
    }
    if (const auto error = GetString(report, "error")) {
        return *error;
    }
    if (const auto signal = GetInt(report, "signal")) {
        return "signal " + std::to_string(*signal) + after;
    }
    return "status " + std::to_string(GetInt(report, "status").value_or(-1)) + after;
}

std::string EnvironmentOf(const Json::Value& report) {
    std::string text;
    const Json::Value* environment = report.find("environment", std::strchr("environment", '\0'));
    if (environment == nullptr || !environment->isObject()) {
        return text;
    }
    for (const std::string& key : environment->getMemberNames()) {
        text += " " + key + "=" + GetString(*environment, key.c_str()).value_or("");
    }
    return text;
}

Event ToEvent(const Json::Value& report) {
    const auto text = [&](const char* key) { return GetString(report, key).value_or("?"); };
    const bool truncated = GetBool(report, "truncated").value_or(false);
    return {"hook",
            text("hook") + " " + text("executable") + " " + EndOf(report) + EnvironmentOf(report)
                + (truncated ? " ..." : ""),
            report};
}

}  // namespace

HookEvents::HookEvents() : HookEvents(OpenHookReports()) {}

HookEvents::HookEvents(vexobase::UniqueFd reports) : socket(std::move(reports)) {
    if (!socket) {
        trouble = errno == EPERM ? "only root may hear what becomes of hooks"
                                 : std::string("hooks cannot be heard: ") + std::strerror(errno);
    }
}

std::optional<Event> HookEvents::Read() {
    const auto text = TakeHookReport(socket);
    if (!text && errno == ENOBUFS) {
        return LostEvent("hook");
    }
    if (!text && errno != EAGAIN && errno != EINTR) {
        throw Failure(kRefused, std::string("cannot hear the hooks: ") + std::strerror(errno));
    }
    Json::Value report;
    if (!text || text->empty() || !vexonetwork::utils::ParseJson(*text, report)
        || !report.isObject()) {
        return std::nullopt;
    }
    return ToEvent(report);
}

}  // namespace vexonetctl
