#include <sstream>
#include <string>

#include <vexonetwork/utils/get_default_route.h>
#include <vexonetwork/utils/json_reader.h>

#include "fuzz.h"
#include "network/routing/table_number.h"
#include "vexo/interfaces/ifcfg.h"

// Text that the kernel, people and earlier runs left in files. The first byte chooses: lines of
// the kernel's route tables of one family, numbers of routing tables, an interface's ifcfg file, or
// JSON.

namespace {

using namespace vexonetwork;

template <typename Parser>
void ReadRoutes(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::vector<utils::routeparse::Route> routes;
        Parser()(line.c_str(), routes);
        Require(routes.size() <= 1);
        for (const utils::routeparse::Route& route : routes) {
            Require(!route.ifname.empty() && route.ifname != "tun1000");
            Require(route.gateway.find_first_not_of("0123456789abcdef.:") == std::string::npos);
        }
    }
}

void ReadTableNumbers(const std::string& text) {
    for (const auto& [name, number] : network::ParseTableNumbers(text)) {
        Require(!name.empty());
        // What is written down for a table is found again.
        const auto again = network::ParseTableNumbers(std::to_string(number) + "\t" + name + "\n");
        Require(again == network::TableNumbers{{name, number}});
    }
}

void ReadInterface(const std::string& text) {
    const auto config = vexoplatform::ParseInterfaceConfig(text);
    Require(!config.address || (config.address->prefix >= 1 && config.address->prefix <= 32));
    Require(!config.mtu || (*config.mtu >= 68 && *config.mtu <= 65535));
    Require(!config.slave || (!config.dhcp && !config.address));
}

void ReadJson(const std::string& text) {
    Json::Value value("former");
    if (!utils::ParseJson(text, value)) {
        Require(value == "former");
        return;
    }
    utils::GetString(value, "ifname");
    utils::GetInt(value, "priority");
    utils::GetBool(value, "slave");
    utils::ToTabbedText(value);
    utils::ToCompactText(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    return Choose(bytes, size, ReadRoutes<utils::routeparse::ParseV4>,
                  ReadRoutes<utils::routeparse::ParseV6>, ReadTableNumbers, ReadInterface,
                  ReadJson);
}
