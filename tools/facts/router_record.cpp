#include "facts/router_record.h"

#include <algorithm>
#include <ctime>

#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/json_reader.h>

namespace vexonetctl {
namespace {

constexpr char kFile[] = "/run/vexo/ipv6_routers.json";

/// Seconds since 1970 outgrow an int.
std::optional<long> AgeOf(const Json::Value& record) {
    const Json::Value& time = record["last_ra_time"];
    if (!time.isInt64() || time.asInt64() == 0) {
        return std::nullopt;
    }
    return std::max<long>(0, std::time(nullptr) - time.asInt64());
}

}  // namespace

Json::Value ReadRouters() {
    Json::Value routers;
    const bool isObject =
        vexonetwork::utils::ParseJson(vexonetwork::utils::FileToStr(kFile), routers)
        && routers.isObject();
    return isObject ? routers : Json::Value(Json::objectValue);
}

RouterRecord RecordOf(const Json::Value& routers, const std::string& ifname) {
    const Json::Value& record = routers[ifname];
    if (!record.isObject()) {
        return {};
    }
    return {.gateway = vexonetwork::utils::GetString(record, "gateway").value_or(""),
            .state = vexonetwork::utils::GetInt(record, "state").value_or(0),
            .age = AgeOf(record)};
}

}  // namespace vexonetctl
