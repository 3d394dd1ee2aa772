#include "network/advertisements/router_status.h"

#include <json/value.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include <vexobase/log.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/utils/json_reader.h>

namespace vexonetwork::network::module {
namespace {

constexpr char kFolder[] = "/run/vexo";
constexpr char kFile[] = "/run/vexo/ipv6_routers.json";

}  // namespace

void PublishRouters(const std::map<std::string, RaRecord>& records) {
    Json::Value routers(Json::objectValue);
    for (const auto& [ifname, record] : records) {
        Json::Value& router = routers[ifname];
        router["gateway"] = record.gateway;
        router["last_ra_time"] = Json::Int64(record.last_ra_time);
        router["state"] = record.state;
    }
    ::mkdir(kFolder, 0755);
    if (vexobase::ReplaceFile(kFile, utils::ToCompactText(routers), vexobase::FolderSync::kLater)
        != 0) {
        VEXO_LOG(LOG_ERR, "Failed to write [%s]: %s", kFile, std::strerror(errno));
    }
}

}  // namespace vexonetwork::network::module
