#include "ipv6/lan/lan_book.h"

#include <cerrno>
#include <cstring>

#include <vexobase/log.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/json_reader.h>

#include "network/interface_name.h"

namespace vexo::network::ipv6::router {

namespace {

using vexobase::HostBits;
using vexobase::IpPrefix;
using vexonetwork::utils::GetInt;
using vexonetwork::utils::GetString;

constexpr char kFile[] = "/etc/sysconfig/networking/lan_places.json";

IpPrefix PrefixIn(const Json::Value& object) {
    const std::string text = GetString(object, "prefix").value_or("");
    return vexobase::ParsePrefix(AF_INET6, text, HostBits::kMasked).value_or(IpPrefix());
}

RouterShare ShareIn(const Json::Value& object) {
    RouterShare share{.whole = PrefixIn(object), .lans = {}};
    for (const Json::Value& each : object["lans"]) {
        if (const auto lan = GetString(each, "lan")) {
            share.lans.push_back(
                {*lan, GetInt(each, "place").value_or(LanShare::kNoPlace), PrefixIn(each)});
        }
    }
    return share;
}

Json::Value ToJson(const RouterShare& share) {
    Json::Value lans(Json::arrayValue);
    for (const LanShare& each : share.lans) {
        Json::Value entry;
        entry["lan"] = each.lan;
        entry["place"] = each.place;
        entry["prefix"] = ToText(each.network);
        lans.append(entry);
    }
    Json::Value object;
    object["prefix"] = ToText(share.whole);
    object["lans"] = lans;
    return object;
}

}  // namespace

LanBook ReadLanBook() {
    LanBook book;
    Json::Value all;
    const std::string text = vexonetwork::utils::FileToStr(kFile);
    if (text.empty()) {
        return book;
    }
    if (!vexonetwork::utils::ParseJson(text, all) || !all.isObject() || !all["routers"].isObject()
        || !all["marked"].isArray()) {
        VEXO_LOG(LOG_ERR, "Who had which place of a prefix is forgotten: %s is damaged", kFile);
        return book;
    }
    for (const std::string& ifname : all["routers"].getMemberNames()) {
        if (all["routers"][ifname].isObject()) {
            book.routers[ifname] = ShareIn(all["routers"][ifname]);
        }
    }
    for (const Json::Value& lan : all["marked"]) {
        if (lan.isString() && vexonetwork::network::IsInterfaceName(lan.asString())) {
            book.marked.insert(lan.asString());
        }
    }
    return book;
}

int WriteLanBook(const LanBook& book) {
    Json::Value all;
    all["routers"] = Json::Value(Json::objectValue);
    all["marked"] = Json::Value(Json::arrayValue);
    for (const auto& [ifname, share] : book.routers) {
        all["routers"][ifname] = ToJson(share);
    }
    for (const std::string& lan : book.marked) {
        all["marked"].append(lan);
    }
    if (vexobase::ReplaceFile(kFile, vexonetwork::utils::ToTabbedText(all)) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to write %s: %s", kFile, std::strerror(errno));
        return -1;
    }
    return 0;
}

}  // namespace vexo::network::ipv6::router
