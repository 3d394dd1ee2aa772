#include <syslog.h>

#include <optional>
#include <string>
#include <vector>

#include <vexobase/key_value_text.h>
#include <vexonetwork/network/clientlist.h>
#include <vexonetwork/utils/config.h>
#include <vexonetwork/utils/file.h>
#include <vlib/file.h>

#include "fuzz.h"
#include "ipv6/lan/grants.h"
#include "network/devices/clientlist_file.h"
#include "network/gateway/dormant_file.h"
#include "network/gateway/gateway_section.h"

// What an earlier run or another program has left for the daemon. The first byte chooses: the
// dormant entries of a gateway list, the prefix that a DHCPv6 client holds, or the list of devices.
//
// Reading and writing files is defined here in place of the libraries' own.

namespace {

using namespace vexonetwork;

std::string text;
utils::SectionMap sections;
bool isThere = true;

}  // namespace

namespace vexonetwork::utils {

std::string FileToStr(const std::string& /*path*/) {
    return text;
}

}  // namespace vexonetwork::utils

namespace vexonetwork::network {

std::optional<std::string> ReadPlainFile(const std::string& /*path*/) {
    return text;
}

namespace module {

int LoadSections(utils::ConfigSection& file) {
    for (const auto& [name, pairs] : sections) {
        for (const auto& [key, value] : pairs) {
            file.AddKeyValue(name, key, value);
        }
    }
    return 0;
}

int StoreSections(utils::ConfigSection& file) {
    sections = file.GetKeyValues();
    return 0;
}

}  // namespace module
}  // namespace vexonetwork::network

namespace {

using network::module::GatewayInfo;
using network::module::GatewayList;

GatewayList WithDormant(network::module::GATEWAY_TYPE type) {
    GatewayList list;
    list.Append({.ifname = "wan0"});
    network::module::LoadDormant(type, list);
    Require(list.Size() == 1 && list.Slots().size() <= 1 + GatewayList::kMaxDormant);
    return list;
}

std::vector<std::string> Facts(const GatewayList& list) {
    std::vector<std::string> facts;
    for (const GatewayList::Slot& slot : list.Slots()) {
        const GatewayInfo& entry = slot.entry;
        facts.insert(facts.end(), {entry.ifname, entry.interfaceClass, entry.gateway.ToString(),
                                   entry.dns.ToString(), entry.slave ? "slave" : "",
                                   std::to_string(slot.boots)});
    }
    return facts;
}

/// What sleeps is the same after it was written and read.
void ReadDormant(const std::string& input) {
    text = input;
    for (const auto& [name, pairs] : vexobase::ParseSections(text)) {
        for (const auto& [key, value] : pairs) {
            sections[std::string(name)][std::string(key)] = value;
        }
    }
    const GatewayList list = WithDormant(network::module::GTYPE_V4);
    sections.clear();
    isThere = false;
    network::module::StoreDormant(network::module::GTYPE_V4, list);
    isThere = true;
    Require(Facts(WithDormant(network::module::GTYPE_V4)) == Facts(list));
    sections.clear();
}

/// Whatever is told, LANs get parts of what is told, each once.
void ReadDelegation(const std::string& input) {
    text = input;
    using namespace vexo::network::ipv6::router;
    Router6Attr router;
    router.type = "native";
    router.wan = "wan0";
    router.prefix = "2001:db8::/56";
    router.lans = {{"lan0", "2001:db8::"}, {"lan1", "2001:db8:0:1::"}, {"lan2", "none"}};
    RouterShare share;
    if (!BringInStep(router, share)) {
        Require(router.prefix == "2001:db8::/56");
    }
    Require(share.whole || router.prefix.empty());
    Require(!share.whole || share.whole.Length() <= 64);
    LanBook book;
    book.routers["wan0"] = share;
    const auto grants = GrantsOf(book);
    Require(grants.size() <= (share.whole ? 2 : 0));
    Require(grants.size() < 2 || grants[0].network != grants[1].network);
    for (const LanPrefix& grant : grants) {
        Require(share.whole.Contains(grant.network));
    }
}

void ReadDevices(const std::string& input) {
    text = input;
    constexpr char kMac[] = "02:00:00:00:00:01";
    network::ClientList list;
    if (!list.Load("")) {
        return;
    }
    unsigned place = 0;
    Json::Value keys;
    keys["ipAddr"] = "192.0.2.9";
    Json::Value entry;
    Require(list.GetObject(kMac, entry) == list.VerifyMacIsExist(kMac, place));
    // Behind an entry without a MAC nothing is found.
    if (list.UpdateKeysByMac(kMac, keys, true) && list.VerifyMacIsExist(kMac, place)) {
        Require(place < list.Size());
        Require(list.FindKey(kMac, "ipAddr") == "192.0.2.9");
        Require(list.EraseObject(kMac));
    }
    list.EraseList();
    Require(list.Size() == 0);
}

}  // namespace

extern "C" {

int VLIBCFileExist(const char* /*path*/) {
    return isThere ? 1 : 0;
}

void syslog(int /*priority*/, const char* /*format*/, ...) {}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    return Choose(bytes, size, ReadDormant, ReadDelegation, ReadDevices);
}
}
