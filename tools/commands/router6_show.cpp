#include <iostream>

#include <vexonetwork/ipv6/router/router6_prefix.h>

#include "commands/router6_session.h"
#include "commands/router6_work.h"
#include "failure.h"
#include "print/printable.h"
#include "print/table.h"

namespace vexonetctl {
namespace {

using namespace vexo::network::ipv6::router;

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

std::string LansOf(const Router6Attr& router) {
    std::string lans;
    for (const auto& [lan, prefix] : router.lans) {
        lans += (lans.empty() ? "" : " ") + lan;
    }
    return lans;
}

Json::Value ToJson(const Router6Attr& router) {
    Json::Value entry(Json::objectValue);
    entry["wan"] = router.wan;
    entry["type"] = router.type;
    entry["prefix"] = router.prefix;
    entry["default_gateway"] = router.is_default_gateway;
    entry["open"] = router.is_open;
    entry["local_addr_v4"] = router.local_addr_v4;
    entry["remote_addr_v4"] = router.remote_addr_v4;
    entry["local_addr_v6"] = router.local_addr_v6;
    entry["lans"] = Json::Value(Json::arrayValue);
    for (const auto& [lan, prefix] : router.lans) {
        Json::Value grant(Json::objectValue);
        grant["lan"] = lan;
        grant["prefix"] = prefix;
        entry["lans"].append(grant);
    }
    return entry;
}

void Print(const Router6Attr& router) {
    const auto line = [](const char* name, const std::string& text) {
        std::cout << name << OrDash(Printable(text)) << '\n';
    };
    line("wan              ", router.wan);
    line("type             ", router.type);
    line("prefix           ", router.prefix);
    line("default gateway  ", router.is_default_gateway ? "yes" : "no");
    line("from outside     ", router.is_open ? "open" : "answers only");
    line("tunnel from      ", router.local_addr_v4);
    line("tunnel to        ", router.remote_addr_v4);
    line("tunnel address   ", router.local_addr_v6);
    for (const auto& [lan, prefix] : router.lans) {
        line("lan              ", lan + " " + prefix + "/64");
    }
}

}  // namespace

void ListRouters(const Router6Options& options) {
    const Router6Prefix all;
    Json::Value root(Json::arrayValue);
    Table table({"WAN", "TYPE", "PREFIX", "DEFAULT", "LANS"});
    for (const Router6Attr& router : all.routers) {
        root.append(ToJson(router));
        table.Add({router.wan, router.type, OrDash(router.prefix),
                   router.is_default_gateway ? "yes" : "no", OrDash(LansOf(router))});
    }
    if (options.json) {
        std::cout << root.toStyledString();
    } else {
        table.Print(std::cout);
    }
}

void ShowRouter(const Router6Options& options) {
    const auto router = ConfiguredRouter(options.wan);
    if (!router) {
        throw Failure(kRefused,
                      options.wan + " is the WAN of no router; see: vexonetctl router6 list");
    }
    if (options.json) {
        std::cout << ToJson(*router).toStyledString();
    } else {
        Print(*router);
    }
}

}  // namespace vexonetctl
